#pragma once
// The one review loop of time-sliced work. A ReviewLoop owns everything a
// review loop needs around its ReviewQueues: the clock that runs its passes,
// the queues ("lanes") in priority order with the visitor of each, the
// quantum of a pass, the re-arm on yield and the retry period of items that
// wait on a resource. Its owner queues keys (enqueue), asks for a pass
// (schedule, scheduleAt, scheduleRetry, retryNow) and, in the pass handler
// the clock calls, walks the lanes (runPass) and does whatever else its pass
// does (counters, end-of-sync checks).
//
// A pass walks the lanes in the order they were added, under one
// PassDeadline: a lane is reached only when the lanes before it completed
// their walk (a `last` lane only when they are empty). Each lane resumes at
// its own bookmark. A pass that yields re-arms the clock for the next turn of
// the loop, so no pass holds the loop past one quantum plus one item.
//
// Lanes of kind `work` hold requests: `done` removes an item, `requeue` moves
// it to the tail for the next pass, `keep` parks it until the owner queues
// something or calls wake() (an item that cannot be handled before some
// outside change). A complete pass that left queued or requeued items
// re-arms after `interval`. Lanes of kind `retry` hold items refused by a
// resource (unprogrammed routes, uninstalled adjacencies): a round walks the
// lane from its head, `keep` leaves an item for the next round, and a round
// starts no sooner than `retryPeriod` after the last one started; the owner
// asks for the next round (scheduleRetry) when a timed retry is worth it, or
// at once (retryNow) when the resource came back.
//
// Invariant: the clock is armed iff a pass is due: after a yield, for queued
// work that is not parked, or for a retry the owner asked for. The owner
// must not destroy the loop from inside its own pass.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include "vix/ActivityLoop.h"
#include "vix/Clock.h"
#include "vix/PassDeadline.h"
#include "vix/ReviewQueue.h"
#include "vix/Time.h"

namespace Vix {

enum class LaneKind { work, last, retry };

template <class K, class V = bool, class Hash = std::hash<K>>
class ReviewLoop {
 public:
  using Queue = ReviewQueue<K, V, Hash>;
  using Visit = std::function<ReviewAction(K const&, V&)>;
  using Ahead = std::function<void(K const&)>;

  // `passHandler` runs when the clock fires; it calls runPass().
  ReviewLoop(ActivityLoop* loop, std::function<void()> passHandler, Seconds quantum = 0.05)
      : loop_(loop), quantum_(quantum), clock_(loop, std::move(passHandler)) {}
  ReviewLoop(ReviewLoop const&) = delete;
  ReviewLoop& operator=(ReviewLoop const&) = delete;

  // Adds a lane after those already there; returns its number.
  size_t laneAdd(Visit visit, LaneKind kind = LaneKind::work) {
    lanes_.push_back(Lane{Queue{}, std::move(visit), kind, -std::numeric_limits<double>::infinity()});
    return lanes_.size() - 1;
  }
  Queue const& lane(size_t i) const { return lanes_[i].queue; }
  // Called for an item a few places before it is visited (a prefetch hint,
  // see ReviewQueue::runPass).
  void aheadIs(Ahead a) { ahead_ = std::move(a); }

  // Tunables (seconds).
  Seconds quantum() const { return quantum_; }
  void quantumIs(Seconds s) { quantum_ = s; }
  bool yieldEachItem() const { return yieldEach_; }
  void yieldEachItemIs(bool on) { yieldEach_ = on; }
  Seconds interval() const { return interval_; }
  void intervalIs(Seconds s) { interval_ = s; }
  Seconds retryInterval() const { return retryInterval_; }
  void retryIntervalIs(Seconds s) { retryInterval_ = s; }
  Seconds retryPeriod() const { return retryPeriod_; }
  void retryPeriodIs(Seconds s) { retryPeriod_ = s; }

  // Queueing. enqueue updates the value of a queued key in place and
  // returns true when the key was not queued in that lane before.
  bool enqueue(size_t lane, K const& key, V const& value = V{}) {
    if (lanes_[lane].kind != LaneKind::retry) {
      parked_ = false;
      woken_ = true;
    }
    return lanes_[lane].queue.enqueue(key, value);
  }
  bool erase(size_t lane, K const& key) { return lanes_[lane].queue.erase(key); }
  // Erases the key from every lane; true when one held it.
  bool erase(K const& key) {
    bool any = false;
    for (auto& l : lanes_)
      if (!l.queue.empty() && l.queue.erase(key)) any = true;
    return any;
  }
  V* find(size_t lane, K const& key) { return lanes_[lane].queue.find(key); }
  bool contains(size_t lane, K const& key) const { return lanes_[lane].queue.contains(key); }
  bool contains(K const& key) const {
    for (auto const& l : lanes_)
      if (l.queue.contains(key)) return true;
    return false;
  }
  void clear(size_t lane) { lanes_[lane].queue.clear(); }
  size_t size(size_t lane) const { return lanes_[lane].queue.size(); }
  // Items in every lane.
  size_t size() const {
    size_t n = 0;
    for (auto const& l : lanes_) n += l.queue.size();
    return n;
  }
  bool empty() const { return size() == 0; }
  // Work lanes hold items a pass would handle (not only parked ones).
  bool pending() const { return !parked_ && workItems() != 0; }
  bool parked() const { return parked_ && workItems() != 0; }

  // Scheduling; the clock only ever moves earlier.
  // A pass after `interval`, when work lanes hold items that are not parked.
  void schedule() {
    if (pending()) scheduleAt(loop_->now() + interval_);
  }
  // Work that was parked may go on now (the outside change came).
  void wake() {
    parked_ = false;
    schedule();
  }
  void scheduleAt(Seconds t) { clock_.timeMinEarlierIs(t); }
  // The next retry round, no sooner than retryInterval from now and
  // retryPeriod after the last round started.
  void scheduleRetry() {
    if (!retryItems()) return;
    Seconds t = loop_->now() + retryInterval_;
    for (auto const& l : lanes_)
      if (l.kind == LaneKind::retry && !l.queue.empty()) t = std::max(t, l.roundStart + retryPeriod_);
    scheduleAt(t);
  }
  // The resource came back: a retry round now, whatever the period says.
  void retryNow() {
    for (auto& l : lanes_)
      if (l.kind == LaneKind::retry) l.roundStart = -std::numeric_limits<double>::infinity();
    if (retryItems()) scheduleAt(loop_->now());
  }
  void cancel() { clock_.timeMinIs(kNever); }
  bool armed() const { return clock_.armed(); }
  Seconds due() const { return clock_.timeMin(); }
  Clock const& clock() const { return clock_; }
  // When the retry lanes' current (or last) round started.
  Seconds roundStart(size_t lane) const { return lanes_[lane].roundStart; }

  // One pass over the lanes (from the pass handler). Re-arms the clock for
  // the next turn when it yields, after `interval` when it completed with
  // new work left. Returns stopped when a visitor stopped it (the owner
  // arms the loop for the time that item is due).
  PassResult runPass() {
    ++passes_;
    Seconds start = loop_->now();
    PassDeadline deadline(loop_->timeSource(), quantum_, yieldEach_);
    woken_ = false;
    PassResult result = PassResult::complete;
    for (size_t i = 0; i < lanes_.size() && result == PassResult::complete; ++i) {
      Lane& l = lanes_[i];
      if (l.queue.empty()) continue;
      if (l.kind == LaneKind::last && doEarlierLanesHoldItems(i)) continue;
      if (l.kind == LaneKind::retry && !l.queue.bookmark()) {
        Seconds now = loop_->now();
        if (now < l.roundStart + retryPeriod_) continue;  // not due: scheduleRetry says when
        l.roundStart = now;
      }
      if (deadline.items() && (yieldEach_ || loop_->now() > deadline.deadline())) {
        result = PassResult::yielded;
        break;
      }
      auto visit = [&](K const& k, V& v) {
        ReviewAction a = l.visit(k, v);
        if (a == ReviewAction::requeue && l.kind != LaneKind::retry) woken_ = true;
        return a;
      };
      result = ahead_ ? l.queue.runPass(deadline, visit, [this](K const& k) { ahead_(k); })
                      : l.queue.runPass(deadline, visit);
    }
    lastPassItems_ = deadline.items();
    items_ += lastPassItems_;
    Seconds held = loop_->now() - start;
    // Under a clock that does not move (a manual one, or passes quicker than
    // its resolution) every pass holds the loop for the same time: a tie goes
    // to the pass of more items, so the count reports the largest pass.
    if (held > longestPass_ || (held == longestPass_ && lastPassItems_ > longestPassItems_)) {
      longestPass_ = held;
      longestPassItems_ = lastPassItems_;
    }
    if (result == PassResult::yielded) {
      ++yields_;
      scheduleAt(loop_->now());
    } else if (result == PassResult::complete && workItems()) {
      // Left: items queued or requeued during the pass, and parked ones.
      parked_ = !woken_;
      schedule();
    }
    return result;
  }

  // Counters of the passes.
  uint64_t passes() const { return passes_; }
  uint64_t yields() const { return yields_; }
  uint64_t items() const { return items_; }
  size_t lastPassItems() const { return lastPassItems_; }
  // The longest a pass held the loop, and the items it handled.
  Seconds longestPass() const { return longestPass_; }
  size_t longestPassItems() const { return longestPassItems_; }
  void longestPassReset() {
    longestPass_ = 0;
    longestPassItems_ = 0;
  }

 private:
  struct Lane {
    Queue queue;
    Visit visit;
    LaneKind kind;
    Seconds roundStart;
  };

  size_t workItems() const {
    size_t n = 0;
    for (auto const& l : lanes_)
      if (l.kind != LaneKind::retry) n += l.queue.size();
    return n;
  }
  size_t retryItems() const {
    size_t n = 0;
    for (auto const& l : lanes_)
      if (l.kind == LaneKind::retry) n += l.queue.size();
    return n;
  }
  bool doEarlierLanesHoldItems(size_t i) const {
    for (size_t j = 0; j < i; ++j)
      if (!lanes_[j].queue.empty()) return true;
    return false;
  }

  ActivityLoop* loop_;
  Seconds quantum_;
  bool yieldEach_ = false;
  Seconds interval_ = 0;
  Seconds retryInterval_ = 0;
  Seconds retryPeriod_ = 0;
  std::vector<Lane> lanes_;
  Ahead ahead_;
  bool parked_ = false;
  bool woken_ = false;
  uint64_t passes_ = 0;
  uint64_t yields_ = 0;
  uint64_t items_ = 0;
  size_t lastPassItems_ = 0;
  Seconds longestPass_ = 0;
  size_t longestPassItems_ = 0;
  Clock clock_;
};

}  // namespace Vix
