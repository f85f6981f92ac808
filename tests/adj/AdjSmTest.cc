// The adjacency machine over the software chip on a manual clock: review
// queues and their order, the pass quantum and its bookmark, the timer that
// only moves earlier, the routing switch-off hand-off, the drop adjacencies,
// on-the-spot reviews, resource-full recovery and routing switched off; FECs
// of more paths than an adjacency can index. The ECMP limit as a user sees
// it is the adj_max_ecmp scenario's.
#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>
#include <vector>

#include "AdjChipFixture.h"
#include "kor/common/MplsStackEntryIndex.h"
#include "vix/Log.h"
#include "vix/SteppingTimeSource.h"
#include "vix/Trace.h"

namespace {

using namespace Kor;
using Nollo::IntfId;
using Nollo::IpAddr4;
using Nollo::IpAddr6;
using Quill::Fib::FecId;
using Quill::Fib::FecType;

class AdjSmTest : public KorTest::AdjChipFixture {
 protected:
  void SetUp() override {
    trace_ = Vix::makePtr<Vix::MemoryTraceSink>();
    Vix::traceSinkIs(trace_);
    log_ = Vix::makePtr<Vix::MemoryLogSink>();
    Vix::logSinkIs(log_);
    ROUTING_MAX_PATHS_EXCEEDED.reset();
    IP6ROUTING_MAX_PATHS_EXCEEDED.reset();
    AdjChipFixture::SetUp();
  }
  void TearDown() override {
    AdjChipFixture::TearDown();
    Vix::traceSinkIs(nullptr);
    Vix::logSinkIs(Vix::makePtr<Vix::StderrLogSink>());
  }
  void adjSmBuilt() override {
    sm_->tf().levelsIs("*");
    sm_->reviewHookIs([this](FecId f) {
      reviewed_.push_back(f.index());
      ts_->advance(reviewCost_);
    });
  }
  void start() { startAdj(); }

  void fec(uint64_t i, int vias = 1, FecType type = FecType::forward) {
    std::vector<Quill::Fib::Via> v;
    for (int n = 0; n < vias; ++n) v.emplace_back(IpAddr4(0x0a000001u + n), IntfId::ethernet(1 + n));
    fwd_->fecIs(Quill::Fib::Fec(fecId(i), type, v));
  }
  void fec6(uint64_t i, int vias = 1, FecType type = FecType::forward) {
    std::vector<Quill::Fib6::Via> v;
    for (int n = 0; n < vias; ++n) v.emplace_back(IpAddr6("2001:db8::" + std::to_string(n + 1)), IntfId::ethernet(1));
    fwd6_->fecIs(Quill::Fib6::Fec(fecId(i), type, v));
  }
  size_t traced(std::string const& text) const { return trace_->count(text); }

  Vix::Ptr<Vix::MemoryTraceSink> trace_;
  Vix::Ptr<Vix::MemoryLogSink> log_;
  std::vector<uint64_t> reviewed_;
  Vix::Seconds reviewCost_ = 0;
};

TEST_F(AdjSmTest, LinkRequestsKeepOnlyTheLastStateAndLinkDownGoesFirst) {
  start();
  fec(1);
  fec(2);
  loop_->runUntilIdle();
  ASSERT_EQ(reviewCnt(1), 1u);
  reviewed_.clear();
  trace_->clear();

  // Down then up before the pass: one review, from adjForReview, as a link-up.
  vrf_->adjEntryReviewListIs(fecId(1), AdjReviewType::adjReviewLinkDown);
  vrf_->adjEntryReviewListIs(fecId(1), AdjReviewType::adjReviewLinkUp);
  EXPECT_FALSE(vrf_->adjEntryReviewListHas(fecId(1)));
  EXPECT_FALSE(sm_->linkDownAdjForReview().contains(fecId(1)));
  ASSERT_TRUE(sm_->adjForReview().contains(fecId(1)));
  // Up then down: the link-down queue holds it.
  vrf_->adjEntryReviewListIs(fecId(2), AdjReviewType::adjReviewLinkUp);
  vrf_->adjEntryReviewListIs(fecId(2), AdjReviewType::adjReviewLinkDown);
  EXPECT_FALSE(sm_->adjForReview().contains(fecId(2)));
  EXPECT_TRUE(sm_->linkDownAdjForReview().contains(fecId(2)));

  loop_->runUntilIdle();
  EXPECT_EQ(reviewed_, (std::vector<uint64_t>{2, 1}));
  EXPECT_EQ(reviewCnt(1), 2u);
  EXPECT_EQ(reviewCnt(2), 2u);
  EXPECT_EQ(traced("Remove adjForReview after update " + fecId(1).str()), 1u);
  EXPECT_EQ(traced("Remove linkDownAdjForReview after update " + fecId(1).str()), 0u);
  EXPECT_EQ(traced("fecId: " + fecId(1).str() + ", updateType: linkUpAdjUpdate"), 1u);
  EXPECT_EQ(traced("fecId: " + fecId(2).str() + ", updateType: linkDownAdjUpdate"), 1u);
  EXPECT_EQ(sm_->adjsForReview(), 0u);
}

TEST_F(AdjSmTest, PassYieldsAtItsQuantumAndResumesAtTheBookmark) {
  start();
  sm_->adjReviewQuantaIs(0.05);
  reviewCost_ = 0.03;  // the second review of a pass runs past the quantum
  for (uint64_t i = 1; i <= 5; ++i) fec(i);
  // Notified, not yet read: already counted as queued work.
  EXPECT_EQ(sm_->adjForReview().size(), 0u);
  ASSERT_EQ(sm_->adjsForReview(), 5u);

  loop_->runDue();
  EXPECT_EQ(reviewed_, (std::vector<uint64_t>{1, 2}));
  EXPECT_EQ(traced("Time's up, adj review yielding"), 1u);
  EXPECT_EQ(sm_->adjForReview().size(), 3u);
  EXPECT_TRUE(sm_->clock().armed());

  // A request arriving between passes does not jump the bookmark.
  fec(6);
  loop_->runDue();
  EXPECT_EQ(reviewed_, (std::vector<uint64_t>{1, 2, 3, 4}));
  loop_->runUntilIdle();
  EXPECT_EQ(reviewed_, (std::vector<uint64_t>{1, 2, 3, 4, 5, 6}));
  for (uint64_t i = 1; i <= 6; ++i) EXPECT_EQ(reviewCnt(i), 1u) << i;
  EXPECT_FALSE(sm_->clock().armed());
}

TEST_F(AdjSmTest, TimerIsOnlyMovedEarlier) {
  setenv("KOR_ADJ_REVIEW_INTERVAL", "2", 1);
  start();
  unsetenv("KOR_ADJ_REVIEW_INTERVAL");
  EXPECT_DOUBLE_EQ(sm_->adjReviewInterval(), 2.0);
  // Each FEC is read on the next turn of the loop, then queued.
  fec(1);
  loop_->runDue();
  EXPECT_DOUBLE_EQ(sm_->clock().timeMin(), 2.0);
  sm_->adjReviewIntervalIs(5.0);
  fec(2);
  loop_->runDue();
  EXPECT_DOUBLE_EQ(sm_->clock().timeMin(), 2.0);
  EXPECT_GE(traced("Adj review timer already set"), 1u);
  sm_->adjReviewIntervalIs(0.5);
  fec(3);
  loop_->runDue();
  EXPECT_DOUBLE_EQ(sm_->clock().timeMin(), 0.5);
  loop_->runUntilIdle();
  EXPECT_DOUBLE_EQ(ts_->now(), 0.5);
  EXPECT_EQ(reviewed_.size(), 3u);
}

TEST_F(AdjSmTest, EmptyQueuesWhileRoutingGoesOffAskForRouteReviews) {
  start();
  loop_->runUntilIdle();
  trace_->clear();
  event_->reviewRequestInc();
  EXPECT_EQ(l3Status_->unicastReviewPending(), 0u);
  EXPECT_EQ(l3Status_->unicast6ReviewPending(), 0u);
  EXPECT_EQ(traced("No routes or adjs to be reviewed"), 1u);

  vrf_->waitForRoutingDisabledIs(true);
  EXPECT_EQ(l3Status_->unicastReviewPending(), 1u);
  EXPECT_EQ(l3Status_->unicast6ReviewPending(), 0u);
  vrf_->waitForRouting6DisabledIs(true);
  EXPECT_EQ(l3Status_->unicastReviewPending(), 2u);
  EXPECT_EQ(l3Status_->unicast6ReviewPending(), 1u);
  EXPECT_FALSE(sm_->clock().armed());

  // With work queued the hand-off waits for the pass that drains it; a FEC
  // not yet read is such work.
  fec(1);
  EXPECT_EQ(sm_->fecsUnread(), 1u);
  EXPECT_TRUE(sm_->fecReader()->clock().armed());
  event_->reviewRequestInc();
  EXPECT_EQ(l3Status_->unicastReviewPending(), 2u);
  loop_->runUntilIdle();
  EXPECT_EQ(reviewCnt(1), 1u);
  EXPECT_EQ(l3Status_->unicastReviewPending(), 3u);
  EXPECT_EQ(l3Status_->unicast6ReviewPending(), 2u);
  EXPECT_FALSE(sm_->clock().armed());
}

// More paths than ViaIndex can number (a via of weight w is w paths) is an
// ECMP limit of the library's own, whatever maxEcmp says: logged like the
// hardware's, IPv4 cut to the first kMaxPaths paths, IPv6 refused - never
// an adjacency-less FEC that routes would point at unseen.
TEST_F(AdjSmTest, PathsBeyondTheViaIndexAreCutForIpv4AndRefusedForIpv6) {
  start();
  constexpr int kOver = AdjSm::kMaxPaths + 44;
  fec(5, kOver);
  // Two vias of weight 600: 1200 paths, the second cut to 456.
  fwd_->fecIs(Quill::Fib::Fec(fecId(6), FecType::forward,
                              {Quill::Fib::Via(IpAddr4("10.9.0.1"), IntfId::ethernet(1), 600),
                               Quill::Fib::Via(IpAddr4("10.9.0.2"), IntfId::ethernet(2), 600)}));
  fec6(7, kOver);
  loop_->runUntilIdle();

  ASSERT_EQ(log_->records().size(), 3u);
  std::string const limit = " higher than max supported value (" + std::to_string(AdjSm::kMaxPaths) + ")";
  EXPECT_EQ(log_->records()[0].name, "ROUTING_MAX_PATHS_EXCEEDED");
  EXPECT_EQ(log_->records()[0].text, "Number of paths (" + std::to_string(kOver) + ") for adj " +
                                         std::to_string(int(fecId(5).value())) + limit);
  EXPECT_EQ(log_->records()[1].text,
            "Number of paths (1200) for adj " + std::to_string(int(fecId(6).value())) + limit);
  EXPECT_EQ(log_->records()[2].name, "IP6ROUTING_MAX_PATHS_EXCEEDED");

  auto e5 = sm_->adjEntry(fecId(5).value());
  ASSERT_TRUE(e5 && e5->adjVia());
  EXPECT_EQ(e5->adjVia()->vias(), AdjSm::kMaxPaths);
  EXPECT_EQ(e5->adjVia()->viaList().back().nextHop(), IpAddr4(0x0a000001u + AdjSm::kMaxPaths - 1));
  EXPECT_NE(sm_->getL2AdjIndex(fecId(5), FecId(), 4), 0u);
  auto e6 = sm_->adjEntry(fecId(6).value());
  ASSERT_TRUE(e6 && e6->adjVia());
  EXPECT_EQ(e6->adjVia()->weight(e6->adjVia()->viaList().front()), 600u);
  EXPECT_EQ(e6->adjVia()->weight(e6->adjVia()->viaList().back()), AdjSm::kMaxPaths - 600);
  EXPECT_EQ(e6->l2Adj()->state(), L2AdjState::installed);

  // The refused IPv6 FEC has no adjacency, and says so to the route machines
  // until a review finds it within the limit.
  EXPECT_FALSE(sm_->adjEntry(fecId(7).value()));
  EXPECT_TRUE(sm_->isAdjRefused(fecId(7).value()));
  EXPECT_FALSE(sm_->isAdjRefused(fecId(5).value()));
  fec6(7, 2);
  loop_->runUntilIdle();
  EXPECT_FALSE(sm_->isAdjRefused(fecId(7).value()));
  EXPECT_NE(sm_->getL2AdjIndex(fecId(7), FecId(), 6), 0u);
  // Over the limit again, it keeps the vias it has.
  fec6(7, kOver);
  loop_->runUntilIdle();
  EXPECT_FALSE(sm_->isAdjRefused(fecId(7).value()));
  ASSERT_TRUE(sm_->adjEntry(fecId(7).value()));
  EXPECT_EQ(sm_->adjEntry(fecId(7).value())->adjVia6()->vias(), 2u);
}

// A label stack deeper than an adjacency pushes refuses the FEC: no
// adjacency is made from a cut stack. The deepest stack allowed is taken.
TEST_F(AdjSmTest, LabelStackDeeperThanAnAdjacencyPushesIsRefused) {
  start();
  auto labelled = [&](uint64_t i, size_t depth) {
    Quill::Fib::Via v(IpAddr4("10.0.0.1"), IntfId::ethernet(1));
    v.mplsLabelsIs(std::vector<uint32_t>(depth, 100));
    fwd_->fecIs(Quill::Fib::Fec(fecId(i), FecType::forward, {v}));
  };
  labelled(5, Kor::MplsStackEntryIndex::kMaxDepth);
  labelled(6, Kor::MplsStackEntryIndex::kMaxDepth + 1);
  loop_->runUntilIdle();
  auto e5 = sm_->adjEntry(fecId(5).value());
  ASSERT_TRUE(e5 && e5->adjVia());
  EXPECT_EQ(e5->adjVia()->viaList()[0].labels().size(), Kor::MplsStackEntryIndex::kMaxDepth);
  EXPECT_FALSE(sm_->adjEntry(fecId(6).value()));
  EXPECT_EQ(traced("MplsStackEntryIndex::value < MplsStackEntryIndex::min or > MplsStackEntryIndex::max not allowed"), 1u);
}

TEST_F(AdjSmTest, DropAdjacenciesSurviveEveryRoute) {
  start();
  fec(1, 0, FecType::drop);
  fec6(2, 0, FecType::drop);
  fec(3);
  loop_->runUntilIdle();
  ASSERT_EQ(sm_->dropAdjIndex(4), fecId(1).value());
  ASSERT_EQ(sm_->dropAdjIndex(6), fecId(2).value());
  uint64_t l2Drop = sm_->getL2AdjIndex(fecId(1), FecId(), 4);
  EXPECT_NE(l2Drop, 0u);
  // Another drop FEC of the same version resolves to the one drop adjacency.
  fec(9, 0, FecType::drop);
  EXPECT_EQ(sm_->getL2AdjIndex(fecId(9), FecId(), 4), l2Drop);

  auto p = *Nollo::IpPrefix::parse("10.1.0.0/16");
  auto p6 = *Nollo::Ip6Prefix::parse("2001:db8:1::/48");
  sm_->addPrefixToAdjEntry(fecId(1).value(), p);
  sm_->addPrefixToAdjEntry(fecId(2).value(), p6);
  sm_->addPrefixToAdjEntry(fecId(3).value(), p);
  for (uint64_t i : {1, 2, 3, 9}) (i == 2 ? fwd6_->fecDel(fecId(i)) : fwd_->fecDel(fecId(i)));
  loop_->runUntilIdle();
  EXPECT_TRUE(sm_->adjEntry(fecId(3).value()));  // still used by its prefix
  sm_->deletePrefixFromAdjEntry(fecId(1).value(), p);
  sm_->deletePrefixFromAdjEntry(fecId(2).value(), p6);
  sm_->deletePrefixFromAdjEntry(fecId(3).value(), p);
  loop_->runUntilIdle();

  EXPECT_FALSE(sm_->adjEntry(fecId(3).value()));
  auto drop = sm_->adjEntry(fecId(1).value());
  auto drop6 = sm_->adjEntry(fecId(2).value());
  ASSERT_TRUE(drop && drop6);
  ASSERT_TRUE(drop->l2Adj());
  EXPECT_EQ(drop->l2Adj()->index(), l2Drop);
  EXPECT_TRUE(drop6->l2Adj());
  EXPECT_GE(traced("Not deleting v4 drop adjacency"), 1u);
  EXPECT_GE(traced("Not deleting v6 drop adjacency"), 1u);
}

TEST_F(AdjSmTest, GetL2AdjIndexReviewsOnTheSpot) {
  start();
  fec(4);
  ASSERT_EQ(sm_->fecsUnread(), 1u);
  EXPECT_FALSE(sm_->adjEntry(fecId(4).value()));
  uint64_t l2 = sm_->getL2AdjIndex(fecId(4), FecId(), 4);
  EXPECT_NE(l2, 0u);
  EXPECT_EQ(reviewCnt(4), 1u);
  // The review read the FEC's current value: its change is not read again.
  EXPECT_EQ(sm_->fecsUnread(), 0u);
  EXPECT_EQ(sm_->adjsForReview(), 0u);
  loop_->runUntilIdle();
  EXPECT_EQ(reviewCnt(4), 1u);
  EXPECT_FALSE(sm_->adjForReview().contains(fecId(4)));
  EXPECT_EQ(sm_->getL2AdjIndex(fecId(4), FecId(), 4), l2);
  EXPECT_EQ(reviewCnt(4), 1u);  // found, not reviewed again
  EXPECT_EQ(sm_->getL2AdjIndex(fecId(77), FecId(), 4), 0u);
  EXPECT_EQ(traced("L2 adjIndex not found"), 1u);
}

TEST_F(AdjSmTest, ResourceFullAdjacencyIsInstalledWhenItClears) {
  start();
  l3Status_->adjResourceFullIs(true);
  fec(1);
  loop_->runFor(1.0);
  auto e = sm_->adjEntry(fecId(1).value());
  ASSERT_TRUE(e && e->l2Adj());
  EXPECT_EQ(e->l2Adj()->state(), L2AdjState::installFailed);
  EXPECT_TRUE(sm_->unprogrammedAdjList().contains(fecId(1)));
  // Retried by the slower unprogrammed passes, never faster.
  EXPECT_DOUBLE_EQ(sm_->clock().timeMin() - ts_->now(), sm_->unprogrammedAdjReviewInterval());

  Vix::Seconds before = ts_->now();
  l3Status_->adjResourceFullIs(false);
  EXPECT_DOUBLE_EQ(sm_->clock().timeMin(), before);
  loop_->runUntilIdle();
  EXPECT_DOUBLE_EQ(ts_->now(), before);
  EXPECT_EQ(e->l2Adj()->state(), L2AdjState::installed);
  EXPECT_TRUE(sm_->unprogrammedAdjList().empty());
  EXPECT_EQ(l3Status_->adjUpdateList(e), 1u);
  EXPECT_TRUE(vrf_->adjEntryPrefixWalkList(fecId(1)));
}

TEST_F(AdjSmTest, RoutingOffParksEntriesUntilItComesBack) {
  vrf_->routing6EnabledIs(false);
  start();
  fec6(1);
  fec(2);
  EXPECT_TRUE(loop_->runUntilIdle(10.0));
  EXPECT_EQ(reviewed_, (std::vector<uint64_t>{2}));
  EXPECT_TRUE(sm_->adjForReview().contains(fecId(1)));
  EXPECT_FALSE(sm_->clock().armed());
  vrf_->routing6EnabledIs(true);
  loop_->runUntilIdle();
  EXPECT_EQ(reviewed_, (std::vector<uint64_t>{2, 1}));
  EXPECT_EQ(sm_->adjEntry(fecId(1).value())->ipVersion(), 6);
}

TEST_F(AdjSmTest, DumpsShowFecsAndAdjacencies) {
  start();
  fec(1, 2);
  loop_->runUntilIdle();
  sm_->addPrefixToAdjEntry(fecId(1).value(), *Nollo::IpPrefix::parse("10.1.0.0/16"));
  std::ostringstream ff, aa;
  sm_->showFibFecs(ff, false, std::nullopt);
  sm_->showAdjEntries(aa, fecId(1).value());
  uint64_t l2 = sm_->adjEntry(fecId(1).value())->l2Adj()->index();
  EXPECT_NE(ff.str().find(fecId(1).str() + "               forward" +
                          std::string(10 - std::to_string(l2).size(), ' ') + std::to_string(l2) + "          1   10.0.0.1"),
            std::string::npos)
      << ff.str();
  EXPECT_EQ(aa.str(), "FecId: " + std::to_string(fecId(1).value()) + ", type: forwardRoute, l2Adj: " +
                          std::to_string(l2) +
                          ", prefixes: 1\n"
                          "  Via   Next hop                        Weight Vlan   Intf\n"
                          "    0   10.0.0.1                             1 -      Ethernet1\n"
                          "    1   10.0.0.2                             1 -      Ethernet2\n");
}

}  // namespace

namespace {

// Every read of the clock costs one step: how long a pass holds the loop is
// counted in clock reads, the same on every machine.
constexpr Vix::Seconds kStep = 1e-6;
class AdjSmSliceTest : public AdjSmTest {
 protected:
  Vix::Ptr<Vix::TimeSource> newTimeSource() override { return Vix::makePtr<Vix::SteppingTimeSource>(kStep, 0.0); }
};

// A table of many FECs changed at once is read in passes of quillYieldTime,
// never in the notification: until read, each FEC counts as queued work.
TEST_F(AdjSmSliceTest, ManyFecsChangedAtOnceAreReadInSlicesOfTheYieldTime) {
  constexpr uint64_t kFecs = 8000;
  constexpr Vix::Seconds kYield = 0.0005;  // 500 clock reads
  start();
  sm_->tf().levelsIs("");
  sm_->quillYieldTimeIs(kYield);
  loop_->runUntilIdle();
  for (uint64_t i = 1; i <= kFecs / 2; ++i) fec(i);
  for (uint64_t i = kFecs / 2 + 1; i <= kFecs; ++i) fec6(i);
  EXPECT_EQ(sm_->adjForReview().size(), 0u);  // nothing read in the notification
  EXPECT_EQ(sm_->fecsUnread(), size_t(kFecs));
  EXPECT_EQ(sm_->adjsForReview(), size_t(kFecs));

  ASSERT_TRUE(loop_->runUntilIdle());
  // One FEC reads the clock a few times; fifty reads is far more than one
  // FEC's share and far less than a pass that ran on.
  Vix::Seconds const oneFec = 50 * kStep;
  EXPECT_LE(sm_->fecReader()->longestPass(), kYield + oneFec);
  EXPECT_LE(sm_->fec6Reader()->longestPass(), kYield + oneFec);
  // Each FEC reads the clock at least once (the deadline check).
  EXPECT_LE(sm_->fecReader()->longestPassItems(), size_t(kYield / kStep) + 1);
  EXPECT_GE(sm_->fecReader()->yields(), kFecs / 2 / (size_t(kYield / kStep) + 1));
  EXPECT_GE(sm_->fec6Reader()->yields(), kFecs / 2 / (size_t(kYield / kStep) + 1));
  EXPECT_EQ(sm_->fecReader()->delivered() + sm_->fec6Reader()->delivered(), kFecs);
  // Every FEC was reviewed exactly once.
  EXPECT_EQ(sm_->adjsForReview(), 0u);
  for (uint64_t i = 1; i <= kFecs; i += 997) EXPECT_EQ(reviewCnt(i), 1u) << i;
  EXPECT_EQ(vrf_->adjEntryListMap().size(), size_t(kFecs));
}

}  // namespace
