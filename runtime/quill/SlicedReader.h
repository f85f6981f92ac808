#pragma once
// Reads one shared-memory table without holding the activity loop: per-key
// notifications of the table are coalesced in a Vix::ReviewLoop of one lane
// (a key that changes ten times before it is read is delivered once), which
// delivers the queued keys to the consumer in passes of at most `yieldTime`
// seconds, re-arming itself for the next turn of the loop until it is drained.
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
#include "vix/ReviewLoop.h"
#include "vix/Time.h"

namespace Quill {

template <class Table>
class SlicedReader : public Table::KeyNotifiee {
 public:
  using Key = typename Table::Key;
  using Consumer = std::function<void(Key const&)>;

  SlicedReader(Vix::Ptr<Table const> const& table, Vix::ActivityLoop* loop, Consumer consumer,
               Vix::Seconds yieldTime = 0.05)
      : Table::KeyNotifiee(table), consumer_(std::move(consumer)), review_(loop, [this] { doPass(); }, yieldTime) {
    review_.laneAdd([this](Key const& k, bool&) {
      // Dequeued before the consumer runs, so that a change the consumer
      // itself causes to this key is queued again rather than lost.
      review_.erase(0, k);
      ++delivered_;
      consumer_(k);
      return Vix::ReviewAction::done;
    });
    table->forEachKey([this](Key const& k) { review_.enqueue(0, k); });
    review_.schedule();
  }

  Vix::Seconds yieldTime() const { return review_.quantum(); }
  void yieldTimeIs(Vix::Seconds s) { review_.quantumIs(s); }
  // Called once each time the queue drains after a pass (end of initial sync
  // and of every later burst).
  void drainedHandlerIs(std::function<void()> h) { drainedHandler_ = std::move(h); }
  // Called for a key a few places before it is delivered, so the consumer
  // can start loading what it will read for it (see ReviewQueue::runPass).
  void aheadHandlerIs(std::function<void(Key const&)> h) { review_.aheadIs(std::move(h)); }

  // True when every notified key has been delivered.
  bool drained() const { return review_.empty(); }
  size_t pending() const { return review_.size(); }
  bool queued(Key const& k) const { return review_.contains(0, k); }
  Vix::Clock const& clock() const { return review_.clock(); }
  uint64_t passes() const { return review_.passes(); }
  uint64_t yields() const { return review_.yields(); }
  uint64_t delivered() const { return delivered_; }
  // The longest a pass held the loop, and the keys it delivered.
  Vix::Seconds longestPass() const { return review_.longestPass(); }
  size_t longestPassItems() const { return review_.longestPassItems(); }

  // Drops a queued key whose current value the consumer has read by other
  // means (a change already seen needs no delivery); true when it was queued.
  bool forget(Key const& k) { return review_.erase(0, k); }

  void handleKey(Key const& k) override {
    review_.enqueue(0, k);
    review_.schedule();
  }

 private:
  void doPass() {
    review_.runPass();
    if (review_.empty() && drainedHandler_) drainedHandler_();
  }

  Consumer consumer_;
  std::function<void()> drainedHandler_;
  uint64_t delivered_ = 0;
  Vix::ReviewLoop<Key, bool> review_;
};

}  // namespace Quill
