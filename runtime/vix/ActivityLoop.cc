#include "vix/ActivityLoop.h"

#include <poll.h>

#include <cmath>
#include <stdexcept>
#include <string>
#include <vector>

namespace Vix {

namespace {

// Counts the handlers of the loop on the stack, also when one throws.
class HandlerScope {
 public:
  explicit HandlerScope(int* depth) : depth_(depth) { ++*depth_; }
  HandlerScope(HandlerScope const&) = delete;
  HandlerScope& operator=(HandlerScope const&) = delete;
  ~HandlerScope() { --*depth_; }

 private:
  int* depth_;
};

}  // namespace

Clock::Clock(ActivityLoop* loop, Handler h) : loop_(loop), handler_(std::move(h)) {}

Clock::~Clock() { if (armed()) loop_->unschedule(this); }

void Clock::timeMinIs(Seconds t) {
  if (t == timeMin_) return;
  if (armed()) loop_->unschedule(this);
  timeMin_ = t;
  if (armed()) loop_->schedule(this);
}

Seconds Clock::now() const { return loop_->now(); }

ActivityLoop::ActivityLoop(Ptr<TimeSource> ts) : time_(std::move(ts)) {}

ActivityLoop::~ActivityLoop() {
  for (auto& [k, c] : timers_) c->timeMin_ = kNever;
}

void ActivityLoop::schedule(Clock* c) {
  c->key_ = {c->timeMin_, ++seq_};
  timers_.emplace(c->key_, c);
}

void ActivityLoop::unschedule(Clock* c) { timers_.erase(c->key_); }

Seconds ActivityLoop::nextDue() const { return timers_.empty() ? kNever : timers_.begin()->first.first; }

void ActivityLoop::doRefuseNestedRun(char const* what) const {
  if (handlerDepth_ > 0)
    throw std::logic_error(std::string("ActivityLoop::") + what +
                           " called from inside one of the loop's own handlers: a handler never runs its loop");
}

size_t ActivityLoop::runDue() {
  doRefuseNestedRun("runDue");
  size_t n = 0;
  Seconds now = this->now();
  // A handler that re-arms for "now" runs again in this round; the bound keeps
  // a handler that always re-arms itself for now from spinning forever.
  for (size_t guard = 0; !timers_.empty() && guard < 1000000; ++guard) {
    auto it = timers_.begin();
    if (it->first.first > now) break;
    Clock* c = it->second;
    timers_.erase(it);
    c->timeMin_ = kNever;
    ++c->firings_;
    ++fired_;
    ++n;
    if (c->handler_) {
      Seconds start = this->now();
      HandlerScope scope(&handlerDepth_);
      c->handler_();
      Seconds held = this->now() - start;
      if (held > longestHandler_) longestHandler_ = held;
    }
  }
  return n;
}

void ActivityLoop::runFor(Seconds d) {
  doRefuseNestedRun("runFor");
  Seconds end = now() + d;
  // An end at infinity (or NaN) would move a manual clock there, where every
  // "now + delay" is now again and a retry timer fires forever.
  if (!(d >= 0) || !std::isfinite(end)) throw std::invalid_argument("ActivityLoop::runFor: duration not finite");
  if (time_->isManual()) {
    for (;;) {
      runDue();
      Seconds next = nextDue();
      if (next > end) break;
      time_->advanceTo(next);
    }
    time_->advanceTo(end);
    runDue();
    return;
  }
  stopped_ = false;
  while (!stopped_) {
    runDue();
    Seconds t = now();
    if (t >= end) break;
    pollFds(std::min(nextDue(), end) - t);
  }
}

bool ActivityLoop::runUntilIdle(Seconds limit) {
  doRefuseNestedRun("runUntilIdle");
  Seconds end = now() + limit;
  for (;;) {
    runDue();
    Seconds next = nextDue();
    if (next == kNever) return true;
    if (next > end) return false;
    if (time_->isManual()) {
      time_->advanceTo(next);
    } else {
      Seconds t = now();
      if (next > t) pollFds(next - t);
    }
  }
}

void ActivityLoop::run() {
  doRefuseNestedRun("run");
  stopped_ = false;
  while (!stopped_) {
    runDue();
    if (stopped_) break;
    Seconds next = nextDue();
    if (time_->isManual()) {
      if (next == kNever) break;
      time_->advanceTo(next);
      continue;
    }
    Seconds t = now();
    pollFds(next == kNever ? 1.0 : std::max(0.0, next - t));
  }
}

void ActivityLoop::fdIs(int fd, FdHandler h) {
  FdWatch& w = fds_[fd];
  if (!w.id) w.id = ++watchSeq_;
  w.read = std::move(h);
}

void ActivityLoop::fdWriteIs(int fd, FdHandler h) {
  FdWatch& w = fds_[fd];
  if (!w.id) w.id = ++watchSeq_;
  w.write = std::move(h);
}

void ActivityLoop::fdDel(int fd) {
  auto it = fds_.find(fd);
  if (it == fds_.end()) return;
  it->second.read = nullptr;
  doForgetEmptyWatch(fd);
}

void ActivityLoop::fdWriteDel(int fd) {
  auto it = fds_.find(fd);
  if (it == fds_.end()) return;
  it->second.write = nullptr;
  doForgetEmptyWatch(fd);
}

void ActivityLoop::doForgetEmptyWatch(int fd) {
  auto it = fds_.find(fd);
  if (it != fds_.end() && !it->second.read && !it->second.write) fds_.erase(it);
}

void ActivityLoop::pollFds(Seconds timeout) {
  std::vector<pollfd> p;
  std::vector<uint64_t> ids;
  p.reserve(fds_.size());
  ids.reserve(fds_.size());
  for (auto const& [fd, w] : fds_) {
    short events = static_cast<short>((w.read ? POLLIN : 0) | (w.write ? POLLOUT : 0));
    p.push_back({fd, events, 0});
    ids.push_back(w.id);
  }
  int ms = timeout <= 0 ? 0 : static_cast<int>(std::min(timeout, 1.0) * 1000.0 + 0.999);
  int r = ::poll(p.data(), p.size(), ms);
  if (r <= 0) return;
  for (size_t i = 0; i < p.size(); ++i) {
    auto const& e = p[i];
    if (!e.revents) continue;
    // A handler may remove any watch, close its descriptor and open another
    // under the same number: each call looks the watch up again.
    auto current = [&]() -> FdWatch* {
      auto it = fds_.find(e.fd);
      return it == fds_.end() || it->second.id != ids[i] ? nullptr : &it->second;
    };
    if (e.revents & POLLNVAL) {
      // Closed while watched: polling it again would report it at once,
      // forever.
      if (current()) fds_.erase(e.fd);
      continue;
    }
    bool const ended = e.revents & (POLLHUP | POLLERR);
    if ((e.revents & POLLIN) || ended) {
      if (FdWatch* w = current(); w && w->read) {
        FdHandler h = w->read;  // the handler may remove itself
        HandlerScope scope(&handlerDepth_);
        h();
      }
    }
    if ((e.revents & POLLOUT) || ended) {
      if (FdWatch* w = current(); w && w->write) {
        FdHandler h = w->write;
        HandlerScope scope(&handlerDepth_);
        h();
      }
    }
  }
}

}  // namespace Vix
