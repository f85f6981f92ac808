// The review loop around the review queues: lanes walked in priority order
// under one deadline, the re-arm on yield, parked work, the retry period of
// a retry lane, and a stop that waits for its item's time.
#include <gtest/gtest.h>

#include <vector>

#include "vix/ActivityLoop.h"
#include "vix/ReviewLoop.h"

namespace {

class ReviewLoopTest : public ::testing::Test {
 protected:
  ReviewLoopTest() : ts_(Vix::makePtr<Vix::ManualTimeSource>(0.0)), loop_(ts_), review_(&loop_, [this] { review_.runPass(); }) {}
  // A visitor of lane `lane` that records the key, costs `cost_` and answers `action_`.
  Vix::ReviewLoop<int>::Visit visitor(int lane) {
    return [this, lane](int const& k, bool&) {
      seen_.push_back(lane * 100 + k);
      ts_->advance(cost_);
      return action_;
    };
  }

  Vix::Ptr<Vix::ManualTimeSource> ts_;
  Vix::ActivityLoop loop_;
  Vix::ReviewLoop<int> review_;
  std::vector<int> seen_;
  Vix::Seconds cost_ = 0;
  Vix::ReviewAction action_ = Vix::ReviewAction::done;
};

TEST_F(ReviewLoopTest, LanesGoInOrderUnderOneQuantumAndAYieldResumesNextTurn) {
  size_t first = review_.laneAdd(visitor(1));
  size_t second = review_.laneAdd(visitor(2));
  size_t last = review_.laneAdd(visitor(3), Vix::LaneKind::last);
  review_.quantumIs(0.05);
  cost_ = 0.02;
  review_.enqueue(last, 1);
  review_.enqueue(second, 1);
  review_.enqueue(second, 2);
  review_.enqueue(first, 1);
  review_.schedule();
  ASSERT_TRUE(review_.armed());
  loop_.runDue();
  // The third item crosses the quantum: the pass yields and re-arms for now.
  EXPECT_EQ(seen_, (std::vector<int>{101, 201, 202}));
  EXPECT_EQ(review_.yields(), 1u);
  EXPECT_DOUBLE_EQ(review_.due(), ts_->now());
  loop_.runUntilIdle();
  EXPECT_EQ(seen_, (std::vector<int>{101, 201, 202, 301}));
  EXPECT_TRUE(review_.empty());
  EXPECT_FALSE(review_.armed());
  EXPECT_EQ(review_.longestPassItems(), 3u);
}

TEST_F(ReviewLoopTest, LastLaneWaitsUntilTheLanesBeforeItAreEmpty) {
  size_t work = review_.laneAdd([this](int const& k, bool&) {
    seen_.push_back(k);
    // The first item asks for one more in its own lane, in this pass.
    if (k == 1) review_.enqueue(0, 2);
    return Vix::ReviewAction::done;
  });
  size_t last = review_.laneAdd(visitor(3), Vix::LaneKind::last);
  review_.enqueue(last, 7);
  review_.enqueue(work, 1);
  review_.schedule();
  loop_.runDue();
  EXPECT_EQ(seen_, (std::vector<int>{1, 2, 307}));
  EXPECT_EQ(review_.passes(), 2u);
}

TEST_F(ReviewLoopTest, KeptWorkIsParkedUntilWokenAndRequeuedWorkRunsAgain) {
  size_t lane = review_.laneAdd(visitor(0));
  action_ = Vix::ReviewAction::keep;
  review_.enqueue(lane, 1);
  review_.schedule();
  loop_.runUntilIdle();
  EXPECT_EQ(seen_, (std::vector<int>{1}));
  EXPECT_TRUE(review_.parked());
  EXPECT_FALSE(review_.armed());
  review_.schedule();  // nothing new: stays parked
  EXPECT_FALSE(review_.armed());

  action_ = Vix::ReviewAction::requeue;
  review_.intervalIs(1.0);
  review_.wake();
  EXPECT_DOUBLE_EQ(review_.due(), 1.0);
  loop_.runFor(1.0);
  EXPECT_EQ(seen_, (std::vector<int>{1, 1}));
  // Not ready: tried again by a pass after the interval.
  EXPECT_TRUE(review_.pending());
  EXPECT_DOUBLE_EQ(review_.due(), 2.0);
  action_ = Vix::ReviewAction::done;
  loop_.runUntilIdle();
  EXPECT_EQ(seen_, (std::vector<int>{1, 1, 1}));
  EXPECT_TRUE(review_.empty());
}

TEST_F(ReviewLoopTest, RetryRoundsKeepTheirPeriodUnlessTheResourceComesBack) {
  size_t retry = review_.laneAdd(visitor(0), Vix::LaneKind::retry);
  review_.retryIntervalIs(0.1);
  review_.retryPeriodIs(10);
  action_ = Vix::ReviewAction::keep;
  review_.enqueue(retry, 5);
  EXPECT_FALSE(review_.armed());  // a retry waits to be asked for
  review_.scheduleRetry();
  EXPECT_DOUBLE_EQ(review_.due(), 0.1);
  loop_.runUntilIdle();
  EXPECT_EQ(seen_.size(), 1u);
  EXPECT_DOUBLE_EQ(review_.roundStart(retry), 0.1);
  // The next round comes no sooner than the period after this one started.
  review_.scheduleRetry();
  EXPECT_DOUBLE_EQ(review_.due(), 10.1);
  // A pass that comes earlier (for other work) leaves the round alone.
  review_.cancel();
  review_.scheduleAt(1.0);
  loop_.runUntilIdle();
  EXPECT_EQ(seen_.size(), 1u);
  // The resource came back: a round now.
  review_.retryNow();
  EXPECT_DOUBLE_EQ(review_.due(), ts_->now());
  action_ = Vix::ReviewAction::done;
  loop_.runUntilIdle();
  EXPECT_EQ(seen_.size(), 2u);
  EXPECT_TRUE(review_.empty());
}

TEST_F(ReviewLoopTest, StopEndsThePassAtAnItemThatIsNotDue) {
  Vix::ReviewLoop<int, Vix::Seconds> due(&loop_, [&] {
    if (due.runPass() == Vix::PassResult::stopped) due.scheduleAt(*due.find(0, *due.lane(0).bookmark()));
  });
  due.laneAdd([&](int const& k, Vix::Seconds& at) {
    if (at > ts_->now()) return Vix::ReviewAction::stop;
    seen_.push_back(k);
    return Vix::ReviewAction::done;
  });
  due.enqueue(0, 1, 1.0);
  due.enqueue(0, 2, 2.0);
  due.scheduleAt(1.0);
  loop_.runFor(1.5);
  EXPECT_EQ(seen_, (std::vector<int>{1}));
  EXPECT_DOUBLE_EQ(due.due(), 2.0);
  loop_.runUntilIdle();
  EXPECT_EQ(seen_, (std::vector<int>{1, 2}));
  EXPECT_DOUBLE_EQ(ts_->now(), 2.0);
}

// A clock that does not move gives every pass the same length: the largest
// pass still names its items, and a reset starts the count again.
TEST_F(ReviewLoopTest, LongestPassItemsFollowTheLargestPassWhenTimeStands) {
  size_t lane = review_.laneAdd(visitor(0));
  review_.enqueue(lane, 1);
  review_.schedule();
  loop_.runUntilIdle();
  for (int k = 2; k <= 4; ++k) review_.enqueue(lane, k);
  review_.schedule();
  loop_.runUntilIdle();
  review_.enqueue(lane, 5);
  review_.schedule();
  loop_.runUntilIdle();
  EXPECT_EQ(review_.passes(), 3u);
  EXPECT_EQ(review_.longestPass(), 0.0);
  EXPECT_EQ(review_.longestPassItems(), 3u);
  review_.longestPassReset();
  review_.enqueue(lane, 6);
  review_.schedule();
  loop_.runUntilIdle();
  EXPECT_EQ(review_.longestPassItems(), 1u);
}

}  // namespace
