// The MAC event rate limiter: admission, refill arithmetic, backlog coalescing
// and draining, on a manual clock.
#include <gtest/gtest.h>

#include <memory>

#include "kor/common/KorCommonSmData.h"
#include "kor/mac/MacAddrCodef.h"
#include "vix/ActivityLoop.h"
#include "vix/ManualTimeSource.h"
#include "vix/MemoryTraceSink.h"
#include "vix/SteppingTimeSource.h"
#include "vix/Trace.h"

using KorTypes::MacAddressTableEntry;
using KorTypes::MacTable;
using Key = MacAddressTableEntry::Key;

namespace {

Key key(uint32_t n, int vlan = 10) { return Key(Nollo::EthAddr::fromUint64(0x020000000000ULL + n), vlan); }

// Counts the output table's notifications per key.
struct OutWatch : MacTable::Notifiee {
  using Notifiee::Notifiee;
  std::map<Key, int> changes;
  size_t total = 0;
  void handleMacEntry(Key const& k) override {
    ++changes[k];
    ++total;
  }
};

class MacAddrCodefTest : public ::testing::Test {
 protected:
  void SetUp() override { Vix::traceSinkIs(trace_); }
  void TearDown() override {
    codef_.reset();
    acsd_->doCleanup();
    Vix::traceSinkIs(nullptr);
  }
  void start(Vix::Ptr<Vix::TimeSource> ts = nullptr) {
    ts_ = ts ? ts : Vix::Ptr<Vix::TimeSource>(manual_);
    loop_ = Vix::makePtr<Vix::ActivityLoop>(ts_);
    acsd_ = Kor::korCommonSmDataFactory("kor", loop_);
    codef_ = std::make_unique<Kor::MacAddrCodef>(acsd_, loop_.ptr(), in_, out_, bucket_);
    codef_->tf().levelsIs("*");
    codef_->initializedIs(true);
  }
  void learn(uint32_t n, uint32_t port = 1) {
    in_->macEntryIs(Vix::makePtr<MacAddressTableEntry>(key(n), Nollo::IntfId::ethernet(port)));
  }
  size_t backlog() const { return codef_->macTableHwSm()->backlog().size(); }

  Vix::Ptr<Vix::MemoryTraceSink> trace_ = Vix::makePtr<Vix::MemoryTraceSink>();
  Vix::Ptr<Vix::ManualTimeSource> manual_ = Vix::makePtr<Vix::ManualTimeSource>(100.0);
  Vix::Ptr<Vix::TimeSource> ts_;
  Vix::Ptr<Vix::ActivityLoop> loop_;
  Vix::Ptr<Kor::KorCommonSmData> acsd_;
  Vix::Ptr<MacTable> in_ = Vix::makePtr<MacTable>("hw");
  Vix::Ptr<MacTable> out_ = Vix::makePtr<MacTable>("learned");
  Vix::Ptr<Kor::MacAddrCodefBucketStatus> bucket_ = Vix::makePtr<Kor::MacAddrCodefBucketStatus>("bucket");
  OutWatch watch_{out_};
  std::unique_ptr<Kor::MacAddrCodef> codef_;
};

}  // namespace

// 1500 learns at once: a full bucket copies 1000, 500 wait; 0.1 s later about
// 100 more are in; with nothing else arriving the tail still drains, the
// bucket refills to full and the clock stops.
TEST_F(MacAddrCodefTest, BurstCopiesABucketThenDrainsAtTheRefillRate) {
  start();
  EXPECT_DOUBLE_EQ(codef_->bucketRefillQuantum(), 0.01);
  for (uint32_t i = 0; i < 1500; ++i) learn(i);
  EXPECT_EQ(out_->macEntrySize(), 1000u);
  EXPECT_EQ(backlog(), 500u);
  EXPECT_EQ(bucket_->tokensRemaining(), 0u);
  EXPECT_EQ(trace_->count("Rate limit reached, subsequent mac address events will be deferred"), 1u);
  EXPECT_TRUE(trace_->contains("Tokens exhausted, queueing job for later processing: addr=02:00:00:00:03:e8/10, deletion=0"));

  loop_->runFor(0.1005);
  EXPECT_GE(out_->macEntrySize(), 1099u);
  EXPECT_LE(out_->macEntrySize(), 1101u);

  EXPECT_TRUE(loop_->runUntilIdle(10.0));  // never stranded: the clock runs until the backlog is gone
  EXPECT_EQ(out_->macEntrySize(), 1500u);
  EXPECT_EQ(backlog(), 0u);
  EXPECT_EQ(bucket_->tokensRemaining(), 1000u);
  EXPECT_EQ(trace_->count("Backlog has been cleared, subsequent mac address events will run immediately"), 1u);
  EXPECT_EQ(watch_.total, 1500u);  // each learn copied once
  learn(5000);  // the next event is copied at once again
  EXPECT_TRUE(out_->macEntryHas(key(5000)));
}

// Events for one key while backlogged coalesce, and the copy reads the input
// as it is then: a learn followed by an age gives one deletion.
TEST_F(MacAddrCodefTest, BackloggedLearnThenAgeGivesOneDeletion) {
  start();
  learn(7, 1);
  for (uint32_t i = 100; i < 1099; ++i) learn(i);
  ASSERT_EQ(bucket_->tokensRemaining(), 0u);
  ASSERT_EQ(watch_.changes[key(7)], 1);
  learn(7, 2);              // a move, deferred
  in_->macEntryDel(key(7));  // then aged, deferred too
  EXPECT_EQ(backlog(), 1u);
  std::string queued;
  codef_->macTableHwSm()->backlog().forEach([&](Key const&, Kor::MacAddressBacklogEntry const& e) { queued = e.str(); });
  EXPECT_EQ(queued, "Value('Kor::MacAddressBacklogEntry', ** {'entry': 02:00:00:00:00:07/10, 'deleted': True})");
  EXPECT_TRUE(loop_->runUntilIdle(10.0));
  EXPECT_EQ(watch_.changes[key(7)], 2);  // the first copy, then one deletion
  EXPECT_FALSE(out_->macEntryHas(key(7)));
  EXPECT_TRUE(trace_->contains("Deletion request for address 02:00:00:00:00:07/10 on interface Ethernet1 is ready to process"));
  EXPECT_FALSE(trace_->contains("Insertion request for address 02:00:00:00:00:07/10 on interface Ethernet2"));
}

// A clock that stalls for 10 s earns one interval's tokens, not ten; the part
// of a token not yet earned carries over to the next tick.
TEST_F(MacAddrCodefTest, StalledClockEarnsAtMostOneBucket) {
  start();
  for (uint32_t i = 0; i < 5000; ++i) learn(i);
  ASSERT_EQ(backlog(), 4000u);
  manual_->advance(10.0);
  loop_->runDue();
  EXPECT_EQ(out_->macEntrySize(), 2000u);
  EXPECT_TRUE(trace_->contains("Able to add up to 1000 tokens to the bucket"));
  EXPECT_FALSE(trace_->contains("Able to add up to 10000"));
  // 0.0155 s earns 15 tokens; the half token waits for the next tick.
  manual_->advance(0.0155);
  loop_->runDue();
  EXPECT_EQ(out_->macEntrySize(), 2015u);
  EXPECT_NEAR(codef_->lastBucketRefillTime(), loop_->now() - 0.0005, 1e-9);
  manual_->advance(0.0105);
  loop_->runDue();
  EXPECT_EQ(out_->macEntrySize(), 2026u);
}

// The backlog walk holds the loop no longer than its share (counted in reads
// of a stepping clock), yet every token it did not spend is used at the next
// turn: the backlog drains as fast as on a clock that stands still.
TEST_F(MacAddrCodefTest, BacklogWalkYieldsWithoutLosingTokens) {
  auto stepping = Vix::makePtr<Vix::SteppingTimeSource>(0.0001, 100.0);
  start(stepping);
  codef_->copyQuantumIs(0.001);
  for (uint32_t i = 0; i < 3000; ++i) learn(i);
  ASSERT_EQ(backlog(), 2000u);
  codef_->handleBucketSettings();  // the refill arithmetic starts now, not before the learns
  loop_->longestHandlerTimeReset();
  // 2000 tokens take 2 s to earn: drained sooner means stolen tokens, later lost ones.
  loop_->runFor(1.9);
  EXPECT_LT(out_->macEntrySize(), 3000u);
  EXPECT_GT(out_->macEntrySize(), 2850u);
  loop_->runFor(0.2);
  EXPECT_EQ(out_->macEntrySize(), 3000u);
  EXPECT_LT(loop_->longestHandlerTime(), 0.005);
  EXPECT_TRUE(loop_->runUntilIdle(10.0));
}

// A disabled worker copies nothing and gets no tokens until it is enabled.
TEST_F(MacAddrCodefTest, DisabledWorkerQueuesUntilEnabled) {
  start();
  codef_->macTableHwSm()->enabledIs(false);
  learn(1);
  EXPECT_FALSE(out_->macEntryHas(key(1)));
  loop_->runFor(0.05);
  EXPECT_TRUE(trace_->contains("Mac Table sm not present or disabled"));
  EXPECT_EQ(backlog(), 1u);
  codef_->macTableHwSm()->enabledIs(true);
  EXPECT_TRUE(loop_->runUntilIdle(10.0));
  EXPECT_TRUE(out_->macEntryHas(key(1)));
}
