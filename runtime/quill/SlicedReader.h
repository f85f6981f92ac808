#pragma once
// Reads one shared-memory table without holding the activity loop: per-key
// notifications of the table are coalesced in a Vix::ReviewQueue (a key that
// changes ten times before it is read is delivered once), and a clock delivers
// the queued keys to the consumer in passes of at most `yieldTime` seconds,
// re-arming itself for the next turn of the loop until the queue is drained.
// The consumer reads the key's current value from the table itself (an absent
// value means the entry was deleted). On construction every key already in
// the table is queued, so the consumer sees the initial contents through the
// same path as later changes.
//
// Table is any Quill table entity that declares `Key`, a `KeyNotifiee` and
// `forEachKey(f)` (RouteStatusT, ForwardingStatusT, ArpTableT, VrfIdMap).
// The consumer must not destroy the reader while it is being called.
#include <cstdint>
#include <functional>
#include <utility>

#include "vix/ActivityLoop.h"
#include "vix/Clock.h"
#include "vix/ReviewQueue.h"
#include "vix/Time.h"

namespace Quill {

template <class Table>
class SlicedReader : public Table::KeyNotifiee {
 public:
  using Key = typename Table::Key;
  using Consumer = std::function<void(Key const&)>;

  SlicedReader(Vix::Ptr<Table const> const& table, Vix::ActivityLoop* loop, Consumer consumer,
               Vix::Seconds yieldTime = 0.05)
      : Table::KeyNotifiee(table), loop_(loop), consumer_(std::move(consumer)),
        yieldTime_(yieldTime), clock_(loop, [this] { doPass(); }) {
    table->forEachKey([this](Key const& k) { queue_.enqueue(k); });
    if (!queue_.empty()) clock_.timeMinIs(loop_->now());
  }

  Vix::Seconds yieldTime() const { return yieldTime_; }
  void yieldTimeIs(Vix::Seconds s) { yieldTime_ = s; }
  // Called once each time the queue drains after a pass (end of initial sync
  // and of every later burst).
  void drainedHandlerIs(std::function<void()> h) { drainedHandler_ = std::move(h); }
  // Called for a key a few places before it is delivered, so the consumer
  // can start loading what it will read for it (see ReviewQueue::runPass).
  void aheadHandlerIs(std::function<void(Key const&)> h) { aheadHandler_ = std::move(h); }

  // True when every notified key has been delivered.
  bool drained() const { return queue_.empty(); }
  size_t pending() const { return queue_.size(); }
  bool queued(Key const& k) const { return queue_.contains(k); }
  Vix::Clock const& clock() const { return clock_; }
  uint64_t passes() const { return passes_; }
  uint64_t yields() const { return yields_; }
  uint64_t delivered() const { return delivered_; }

  void handleKey(Key const& k) override {
    queue_.enqueue(k);
    if (!clock_.armed()) clock_.timeMinIs(loop_->now());
  }

 private:
  void doPass() {
    ++passes_;
    Vix::PassDeadline deadline(loop_->timeSource(), yieldTime_);
    auto deliver = [this](Key const& k, bool&) {
      // Dequeued before the consumer runs, so that a change the consumer
      // itself causes to this key is queued again rather than lost.
      queue_.erase(k);
      ++delivered_;
      consumer_(k);
      return Vix::ReviewAction::done;
    };
    auto result = aheadHandler_ ? queue_.runPass(deadline, deliver, [this](Key const& k) { aheadHandler_(k); })
                                : queue_.runPass(deadline, deliver);
    if (result == Vix::PassResult::yielded) ++yields_;
    if (!queue_.empty()) {
      clock_.timeMinIs(loop_->now());
    } else if (drainedHandler_) {
      drainedHandler_();
    }
  }

  Vix::ActivityLoop* loop_;
  Consumer consumer_;
  Vix::Seconds yieldTime_;
  std::function<void()> drainedHandler_;
  std::function<void(Key const&)> aheadHandler_;
  Vix::ReviewQueue<Key, bool> queue_;
  Vix::Clock clock_;
  uint64_t passes_ = 0;
  uint64_t yields_ = 0;
  uint64_t delivered_ = 0;
};

}  // namespace Quill
