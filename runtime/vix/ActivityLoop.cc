#include "vix/ActivityLoop.h"

#include <poll.h>

#include <cmath>
#include <vector>

namespace Vix {

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

size_t ActivityLoop::runDue() {
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
      c->handler_();
      Seconds held = this->now() - start;
      if (held > longestHandler_) longestHandler_ = held;
    }
  }
  return n;
}

void ActivityLoop::runFor(Seconds d) {
  Seconds end = now() + d;
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

void ActivityLoop::fdIs(int fd, FdHandler h) { fds_[fd] = std::move(h); }
void ActivityLoop::fdDel(int fd) { fds_.erase(fd); }

void ActivityLoop::pollFds(Seconds timeout) {
  std::vector<pollfd> p;
  p.reserve(fds_.size());
  for (auto const& [fd, h] : fds_) p.push_back({fd, POLLIN, 0});
  int ms = timeout <= 0 ? 0 : static_cast<int>(std::min(timeout, 1.0) * 1000.0 + 0.999);
  int r = ::poll(p.data(), p.size(), ms);
  if (r <= 0) return;
  for (auto const& e : p) {
    if (!(e.revents & (POLLIN | POLLHUP | POLLERR))) continue;
    auto it = fds_.find(e.fd);
    if (it == fds_.end()) continue;
    FdHandler h = it->second;  // the handler may remove itself
    h();
  }
}

}  // namespace Vix
