// The time-sliced work primitive: coalescing, bookmarks across yields,
// requeue on "not ready", and erasures from inside a visit.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "vix/ReviewQueue.h"

namespace {

struct Tick : Vix::ManualTimeSource {
  // Each visit costs `cost` seconds of manual time.
};

TEST(ReviewQueueTest, CoalescesAndKeepsOrder) {
  Vix::ReviewQueue<int, int> q;
  EXPECT_TRUE(q.enqueue(3, 1));
  EXPECT_TRUE(q.enqueue(1, 1));
  EXPECT_FALSE(q.enqueue(3, 9));  // updated in place, not moved
  EXPECT_EQ(*q.find(3), 9);
  std::vector<int> order;
  Vix::ManualTimeSource ts;
  Vix::PassDeadline d(&ts, 1.0);
  EXPECT_EQ(q.runPass(d, [&](int k, int) { order.push_back(k); return Vix::ReviewAction::done; }),
            Vix::PassResult::complete);
  EXPECT_EQ(order, (std::vector<int>{3, 1}));
  EXPECT_TRUE(q.empty());
}

TEST(ReviewQueueTest, YieldsAtDeadlineAndResumesAtBookmark) {
  Vix::ReviewQueue<int> q;
  for (int i = 0; i < 10; ++i) q.enqueue(i);
  Vix::ManualTimeSource ts;
  std::vector<int> seen;
  auto visit = [&](int k, bool) {
    seen.push_back(k);
    ts.advance(0.02);  // each item takes 20 ms
    return Vix::ReviewAction::done;
  };
  Vix::PassDeadline d1(&ts, 0.05);
  EXPECT_EQ(q.runPass(d1, visit), Vix::PassResult::yielded);
  // 0.05 quantum: the third item crosses the deadline; the pass stops after it.
  EXPECT_EQ(seen, (std::vector<int>{0, 1, 2}));
  ASSERT_TRUE(q.bookmark());
  EXPECT_EQ(*q.bookmark(), 3);
  Vix::PassDeadline d2(&ts, 1.0);
  EXPECT_EQ(q.runPass(d2, visit), Vix::PassResult::complete);
  EXPECT_EQ(seen.size(), 10u);
  EXPECT_EQ(seen.back(), 9);
}

TEST(ReviewQueueTest, RequeueWaitsForNextPassAndKeepStaysInPlace) {
  Vix::ReviewQueue<int> q;
  for (int i = 0; i < 4; ++i) q.enqueue(i);
  Vix::ManualTimeSource ts;
  std::vector<int> seen;
  Vix::PassDeadline d(&ts, 1.0);
  q.runPass(d, [&](int k, bool) {
    seen.push_back(k);
    if (k == 1) return Vix::ReviewAction::requeue;
    if (k == 2) return Vix::ReviewAction::keep;
    return Vix::ReviewAction::done;
  });
  EXPECT_EQ(seen, (std::vector<int>{0, 1, 2, 3}));  // 1 not visited twice
  std::vector<int> left;
  q.forEach([&](int k, bool) { left.push_back(k); });
  EXPECT_EQ(left, (std::vector<int>{2, 1}));
}

TEST(ReviewQueueTest, VisitorMayEraseAndQueueOtherKeys) {
  Vix::ReviewQueue<int> q;
  for (int i = 0; i < 5; ++i) q.enqueue(i);
  Vix::ManualTimeSource ts;
  std::vector<int> seen;
  Vix::PassDeadline d(&ts, 1.0);
  q.runPass(d, [&](int k, bool) {
    seen.push_back(k);
    if (k == 0) {
      q.erase(1);     // the next item: the walk must skip it
      q.enqueue(10);  // queued during the pass: waits for the next one
    }
    if (k == 2) {
      q.erase(2);     // erases itself, then asks to be kept: stays erased
      return Vix::ReviewAction::keep;
    }
    if (k == 3) {
      q.erase(3);     // erases and queues itself again (reusing its node):
      q.enqueue(3);   // the new item outlives this visit's "done"
    }
    if (k == 4) {
      q.erase(4);     // erases itself, then asks to be requeued: stays erased
      return Vix::ReviewAction::requeue;
    }
    return Vix::ReviewAction::done;
  });
  EXPECT_EQ(seen, (std::vector<int>{0, 2, 3, 4}));
  std::vector<int> left;
  q.forEach([&](int k, bool) { left.push_back(k); });
  EXPECT_EQ(left, (std::vector<int>{10, 3}));
}

TEST(ReviewQueueTest, LookaheadAnnouncesEachItemBeforeItsVisit) {
  Vix::ReviewQueue<int> q;
  for (int i = 0; i < 20; ++i) q.enqueue(i);
  Vix::ManualTimeSource ts;
  Vix::PassDeadline d(&ts, 1.0);
  std::vector<int> announced, seen;
  q.runPass(
      d,
      [&](int k, bool) {
        // Each visit comes after its announcement, and a few items behind.
        EXPECT_NE(std::find(announced.begin(), announced.end(), k), announced.end()) << k;
        EXPECT_LE(announced.size(), seen.size() + 1 + Vix::ReviewQueue<int>::kLookahead);
        seen.push_back(k);
        // Erasing items already announced, and draining the queue, must
        // not trip the walk ahead.
        if (k == 5) q.erase(7);
        if (k == 15) {
          for (int j = 16; j < 20; ++j) q.erase(j);
        }
        return Vix::ReviewAction::done;
      },
      [&](int k) { announced.push_back(k); });
  EXPECT_EQ(seen.size(), 15u);  // 0..15 without 7
  EXPECT_TRUE(q.empty());
}

}  // namespace
