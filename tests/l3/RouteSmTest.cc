// The route machines (one template, both families, over RouteSmFixture):
// the hand-over list, deletion delay, review order and batches,
// unprogrammed routes and their recovery, end of sync, restart
// reconciliation, prefix walks, and the IPv6 overflow, aggregate and
// table-move paths. Routing switched off is DeferredRoutingTest's.
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <set>
#include <vector>

#include "tests/l3/RouteSmFixture.h"
#include "vix/Log.h"
#include "vix/SteppingTimeSource.h"
#include "vix/Trace.h"

namespace {

using namespace Kor;
using KorHelper::RouteUpdateAnswer;
using Nollo::IntfId;
using Quill::Fib::FecId;
using Quill::Fib::FecType;

FecId fecId(uint64_t i) { return FecId::make(Quill::Fib::nexthopAdj(), i); }
FecId nhgFecId(uint64_t i) { return FecId::make(Quill::Fib::nextHopGroupAdj(), i); }

template <class AF>
using RouteSmTest = KorTest::RouteSmFixture<AF>;

using Families = ::testing::Types<Nollo::Ipv4, Nollo::Ipv6>;
TYPED_TEST_SUITE(RouteSmTest, Families);

TYPED_TEST(RouteSmTest, RouteIsHandedOverWithItsFecAndL2AdjacencyAndSyncEndsOnce) {
  this->fec(1, 2);
  this->fec(2, 1);
  this->route(this->pfx(1), fecId(1));
  this->route(this->pfx(2), fecId(1));
  this->route(this->pfx(3), fecId(2));
  this->start();
  this->run();
  auto a = this->handed(this->pfx(1));
  ASSERT_TRUE(a);
  EXPECT_EQ(a->fibAdjIndex(), fecId(1).value());
  EXPECT_EQ(a->routeType(), RouteType::forwardRoute);
  auto entry = this->sm_->adjEntry(fecId(1).value());
  ASSERT_TRUE(entry && entry->l2Adj());
  EXPECT_EQ(a->l2AdjIndex(), entry->l2Adj()->index());
  // Routes with the same statement share one record.
  EXPECT_EQ(this->handed(this->pfx(2)).ptr(), a.ptr());
  EXPECT_NE(this->handed(this->pfx(3)).ptr(), a.ptr());
  EXPECT_EQ(this->rh_->chip.size(), 3u);
  EXPECT_TRUE(this->endOfSync());
  EXPECT_EQ(this->rh_->endOfSyncs, 1);
  // Later routes do not end the sync again.
  this->route(this->pfx(4), fecId(2));
  this->run();
  EXPECT_EQ(this->rh_->endOfSyncs, 1);
  EXPECT_EQ(this->rh_->chip.size(), 4u);
  // Moving a route to another FEC moves it between adjacencies.
  this->route(this->pfx(4), fecId(1));
  this->run();
  EXPECT_EQ(this->handed(this->pfx(4)).ptr(), a.ptr());
  EXPECT_TRUE(entry->prefixs() + entry->prefix6s() == 3u);
  this->unroute(this->pfx(4));
  this->run();
  EXPECT_FALSE(this->handed(this->pfx(4)));
  EXPECT_EQ(this->rh_->chip.size(), 3u);
  EXPECT_EQ(this->rsm_->fibRoutes(), 3u);
}

TYPED_TEST(RouteSmTest, DeletedAndReAddedBeforeTheDeletionTimeNeverLeavesTheChip) {
  this->fec(1);
  this->route(this->pfx(1), fecId(1));
  this->start();
  this->rsm_->handleDeletionDelay(1.0);
  this->run();
  ASSERT_EQ(this->rh_->chip.size(), 1u);
  this->unroute(this->pfx(1));
  this->loop_->runFor(0.5);
  EXPECT_TRUE(this->handed(this->pfx(1)));
  this->route(this->pfx(1), fecId(1));
  this->loop_->runFor(2.0);
  EXPECT_EQ(this->rh_->deletes, 0);
  EXPECT_TRUE(this->handed(this->pfx(1)));
  EXPECT_EQ(this->rsm_->pendingDeletions(), 0u);
  // A deletion that stays goes once its time has come, not before.
  this->unroute(this->pfx(1));
  this->loop_->runFor(0.9);
  EXPECT_EQ(this->rh_->deletes, 0);
  this->loop_->runFor(0.2);
  EXPECT_EQ(this->rh_->deletes, 1);
  EXPECT_FALSE(this->handed(this->pfx(1)));
  EXPECT_EQ(this->rsm_->fibRoutes(), 0u);
}

TYPED_TEST(RouteSmTest, ReviewTakesTheDefaultRouteFirstAndNextHopGroupRoutesLast) {
  this->fec(1);
  this->fec(2, 1, FecType::nexthopGroup, nhgFecId(2));
  this->start();
  this->run();
  this->suspend(true);
  this->route(this->pfx(5), nhgFecId(2));
  this->route(this->pfx(1), fecId(1));
  this->route(this->pfx(6), nhgFecId(2));
  this->route(this->pfx(2), fecId(1));
  this->route(this->pfx(0), fecId(1));
  this->run();
  EXPECT_EQ(this->rsm_->routesForReviews(), 5u);
  EXPECT_TRUE(this->reviewed_.empty());
  this->suspend(false);
  this->run();
  using P = typename TestFixture::Prefix;
  std::vector<P> want{this->pfx(0), this->pfx(1), this->pfx(2), this->pfx(5), this->pfx(6)};
  EXPECT_EQ(this->reviewed_, want);
  EXPECT_EQ(this->rh_->chip.size(), 5u);
}

TYPED_TEST(RouteSmTest, PassesStopAtTheQuantumAndResumeAtTheBookmark) {
  this->fec(1);
  this->start();
  this->run();
  this->suspend(true);
  for (int i = 1; i <= 10; ++i) this->route(this->pfx(i), fecId(1));
  this->run();
  this->reviewCost_ = 0.02;  // 0.05 s quantum: three routes a pass
  this->suspend(false);
  this->loop_->runDue();
  EXPECT_EQ(this->reviewed_.size(), 3u);
  ASSERT_TRUE(this->rsm_->routesForReviewBookmark());
  EXPECT_EQ(*this->rsm_->routesForReviewBookmark(), this->pfx(4));
  this->run();
  EXPECT_EQ(this->reviewed_.size(), 10u);
  EXPECT_EQ(this->reviewed_.back(), this->pfx(10));
  EXPECT_EQ(this->rsm_->yieldBeforeFinishingCount(), 3u);
}

TYPED_TEST(RouteSmTest, YieldAfterEachRouteMakesEveryBatchOneRoute) {
  setenv("KOR_YIELD_REVIEW_AFTER_EACH_ROUTE", "1", 1);
  this->fec(1);
  this->start();
  this->run();
  this->suspend(true);
  for (int i = 1; i <= 4; ++i) this->route(this->pfx(i), fecId(1));
  this->run();
  std::vector<uint64_t> pass;  // the review pass each route was handled in
  this->rsm_->reviewHookIs([&](auto const&) { pass.push_back(this->rsm_->reviewClock().firings()); });
  this->suspend(false);
  this->run();
  EXPECT_EQ(pass.size(), 4u);
  EXPECT_EQ(std::set<uint64_t>(pass.begin(), pass.end()).size(), 4u);
  EXPECT_EQ(this->rsm_->yieldBeforeFinishingCount(), 3u);
  EXPECT_EQ(this->rsm_->routesForReviews(), 0u);
  unsetenv("KOR_YIELD_REVIEW_AFTER_EACH_ROUTE");
}

TYPED_TEST(RouteSmTest, FullTableKeepsRoutesUnprogrammedUntilRoomComesBack) {
  this->fec(1);
  this->rh_->capacity = 2;
  for (int i = 1; i <= 5; ++i) this->route(this->pfx(i), fecId(1));
  this->start();
  this->run();
  EXPECT_EQ(this->rh_->chip.size(), 2u);
  EXPECT_EQ(this->rsm_->unprogrammedRoutes(), 3u);
  EXPECT_EQ(this->unprogrammedCount(), 3u);
  EXPECT_EQ(this->rsm_->fibRoutes(), 5u);
  // Every route keeps its hand-over entry: nothing is lost.
  for (int i = 1; i <= 5; ++i) EXPECT_TRUE(this->handed(this->pfx(i)));
  // Room for one more: the platform clears the flag, the retry is at once.
  this->rh_->capacity = 3;
  this->resourceFullIs(false);
  this->loop_->runFor(0.01);
  EXPECT_EQ(this->rh_->chip.size(), 3u);
  EXPECT_EQ(this->rsm_->unprogrammedRoutes(), 2u);
  this->rh_->capacity = 100;
  this->resourceFullIs(false);
  this->run();
  EXPECT_EQ(this->rh_->chip.size(), 5u);
  EXPECT_EQ(this->unprogrammedCount(), 0u);
  std::ostringstream out;
  this->rsm_->doShowRoutesUnprogrammedInVrf(out, VrfName("default"));
  EXPECT_EQ(out.str(), "Vrf: default\nNo unprogrammed routes\n");
}

TYPED_TEST(RouteSmTest, RefusedRouteIsRetriedAfterTheRetryPeriodAndADeletedOneLeavesTheList) {
  this->fec(1);
  this->rh_->failing = {this->pfx(1), this->pfx(2)};
  this->route(this->pfx(1), fecId(1));
  this->route(this->pfx(2), fecId(1));
  this->start();
  this->loop_->runFor(1);
  EXPECT_EQ(this->unprogrammedCount(), 2u);
  std::ostringstream out;
  this->rsm_->doShowRoutesUnprogrammedInVrf(out, VrfName("default"));
  EXPECT_NE(out.str().find("Num unprogrammed routes: 2\nNum parent drop routes: 0\n\n"), std::string::npos);
  this->rh_->failing.clear();
  this->unroute(this->pfx(2));
  this->loop_->runFor(5);
  EXPECT_EQ(this->unprogrammedCount(), 1u);  // the deleted one left at once
  EXPECT_EQ(this->rh_->chip.size(), 0u);  // the other waits for the period
  this->loop_->runFor(6);
  EXPECT_EQ(this->unprogrammedCount(), 0u);
  EXPECT_EQ(this->rh_->chip.size(), 1u);
}

TYPED_TEST(RouteSmTest, ParentDropsWhileAChildCannotBeProgrammed) {
  this->fec(1);
  this->rh_->capacity = 1;
  using P = typename TestFixture::Prefix;
  P parent = TestFixture::v4 ? P("11.0.0.0/8") : P("2001:db8::/32");
  this->route(parent, fecId(1));
  this->start();
  this->rsm_->handleParentDropRoute(true);
  this->run();
  this->route(this->pfx(1), fecId(1));
  this->run();
  EXPECT_TRUE(this->rsm_->unprogrammed(this->pfx(1)));
  EXPECT_EQ(this->rsm_->parentDropRoutes(), 1u);
  EXPECT_EQ(this->handed(parent)->routeType(), RouteType::dropRoute);
  this->rh_->capacity = 10;
  this->resourceFullIs(false);
  this->run();
  EXPECT_EQ(this->rsm_->parentDropRoutes(), 0u);
  EXPECT_EQ(this->handed(parent)->routeType(), RouteType::forwardRoute);
  EXPECT_EQ(this->rh_->chip.size(), 2u);
}

TYPED_TEST(RouteSmTest, RouteWaitsUnprogrammedForItsFec) {
  this->route(this->pfx(1), fecId(7));
  this->start();
  this->run();
  EXPECT_EQ(this->unprogrammedCount(), 1u);
  this->fec(7);
  this->run();
  EXPECT_EQ(this->unprogrammedCount(), 0u);
  EXPECT_EQ(this->rh_->chip.size(), 1u);
}

// Routes come and go on FEC 1 (most move to FEC 2, some come back, some are
// deleted), so its prefix list holds stale entries and repeats and is
// compacted; then FEC 1's L2 adjacency changes: exactly its routes follow.
TYPED_TEST(RouteSmTest, RoutesFollowTheL2AdjacencyOfTheirFec) {
  constexpr int n = 120;
  this->fec(1, 1);
  this->fec(2, 2);
  for (int i = 1; i <= n; ++i) this->route(this->pfx(i), fecId(1));
  this->start();
  this->run();
  for (int i = 1; i <= n; ++i)
    if (i % 4) this->route(this->pfx(i), fecId(2));
  this->run();
  for (int i = 1; i <= n; ++i)
    if (i % 4 == 1) this->route(this->pfx(i), fecId(1));
  for (int i = 1; i <= n; i += 8) this->unroute(this->pfx(i));
  this->run();
  auto onFec1 = [](int i) { return i % 8 != 1 && (i % 4 == 0 || i % 4 == 1); };
  int count1 = 0;
  for (int i = 1; i <= n; ++i) count1 += onFec1(i);
  auto entry1 = this->sm_->adjEntry(fecId(1).value());
  auto entry2 = this->sm_->adjEntry(fecId(2).value());
  ASSERT_TRUE(entry1 && entry2);
  EXPECT_EQ(entry1->prefixs() + entry1->prefix6s(), size_t(count1));
  EXPECT_EQ(entry2->prefixs() + entry2->prefix6s(), size_t(n - n / 8 - count1));
  uint64_t own2 = entry2->l2Adj()->index();
  // FEC 1 takes FEC 2's next hops: it shares FEC 2's L2 adjacency now.
  this->fec(1, 2, FecType::forward, FecId(), 2);
  this->run();
  ASSERT_TRUE(entry1->l2Adj());
  uint64_t shared = entry1->l2Adj()->index();
  for (int i = 1; i <= n; ++i) {
    if (i % 8 == 1) {
      EXPECT_FALSE(this->handed(this->pfx(i))) << i;
      continue;
    }
    uint64_t want = onFec1(i) ? shared : own2;
    EXPECT_EQ(this->handed(this->pfx(i))->l2AdjIndex(), want) << i;
    EXPECT_EQ(this->rh_->chip[this->pfx(i)], want) << i;
  }
}

TYPED_TEST(RouteSmTest, RestartKeepsTheChipsRoutesAndRemovesOnlyStaleOnes) {
  this->fec(1);
  this->route(this->pfx(1), fecId(1));
  this->route(this->pfx(2), fecId(1));
  this->start();
  this->run();
  uint64_t l2 = this->handed(this->pfx(1))->l2AdjIndex();
  // A new run: the chip keeps its routes, the FIB lost one meanwhile.
  this->rsm_ = nullptr;
  this->rh_->chip[this->pfx(1)] = l2;
  this->rh_->chip[this->pfx(2)] = l2;
  this->rh_->creates = this->rh_->updates = this->rh_->deletes = 0;
  this->unroute(this->pfx(2));
  this->start();
  this->run();
  EXPECT_EQ(this->rh_->creates, 0);
  EXPECT_EQ(this->rh_->updates, 0);
  EXPECT_EQ(this->rh_->deletes, 1);
  EXPECT_EQ(this->rh_->chip.count(this->pfx(2)), 0u);
  EXPECT_TRUE(this->handed(this->pfx(1)));
}

// The hardware configuration reaches the machine through its entity: read
// when handed over, and on each change. The platform settings and the
// deletion delay as the chip sees them are the routing_inputs scenario's.
TYPED_TEST(RouteSmTest, HardwareConfigurationSetsTheLimitAndTheParentDrop) {
  auto cfg = Vix::makePtr<Routing::Hardware::Config>("hwConfig");
  cfg->maxNumRoutesIs(2);
  this->fec(1);
  for (int n = 1; n <= 3; ++n) this->route(this->pfx(n), fecId(1));
  this->start();
  this->rsm_->hwConfigIs(cfg);
  this->run();
  EXPECT_EQ(this->rsm_->maxRoutes(), 2u);
  EXPECT_EQ(this->rh_->chip.size(), 2u);
  EXPECT_EQ(this->unprogrammedCount(), 1u);
  cfg->parentDropRouteIs(true);
  EXPECT_TRUE(this->rsm_->parentDropRoute());
}

// A chip that refuses to take a route out still holds it: the removal is
// announced again until the chip takes it, and routing is not off before.
TYPED_TEST(RouteSmTest, RefusedDeletionIsRetriedUntilTheChipTakesIt) {
  this->fec(1);
  this->route(this->pfx(1), fecId(1));
  this->route(this->pfx(2), fecId(1));
  this->start();
  this->run();
  ASSERT_EQ(this->rh_->chip.size(), 2u);
  this->rh_->refuseDeletes = true;
  this->unroute(this->pfx(1));
  this->run();
  EXPECT_FALSE(this->handed(this->pfx(1)));
  EXPECT_EQ(this->rsm_->refusedDeletions(), 1u);
  EXPECT_TRUE(this->trace_->contains("Deleting the route since platformRouteUpdateFail is set "));
  this->loop_->runFor(20);
  EXPECT_EQ(this->rh_->chip.count(this->pfx(1)), 1u);
  this->rh_->refuseDeletes = false;
  this->loop_->runFor(20);
  EXPECT_EQ(this->rh_->chip.count(this->pfx(1)), 0u);
  EXPECT_EQ(this->rsm_->refusedDeletions(), 0u);
  // A route back before the chip took its removal is simply handed over.
  this->rh_->refuseDeletes = true;
  this->unroute(this->pfx(2));
  this->run();
  EXPECT_EQ(this->rsm_->refusedDeletions(), 1u);
  this->route(this->pfx(2), fecId(1));
  this->run();
  EXPECT_EQ(this->rsm_->refusedDeletions(), 0u);
  EXPECT_TRUE(this->handed(this->pfx(2)));
}

// A mass withdraw under a deletion delay, on a clock that moves a fixed
// step per read: the deletions come due together and are worked off in
// passes, none of which holds the loop past a quantum plus one route.
class RouteDeletionTest : public RouteSmTest<Nollo::Ipv4> {
 protected:
  static constexpr Vix::Seconds kStep = 1e-6;
  Vix::Ptr<Vix::TimeSource> newTimeSource() override { return Vix::makePtr<Vix::SteppingTimeSource>(kStep, 0.0); }
};

TEST_F(RouteDeletionTest, MassWithdrawIsDeletedInPassesOfOneQuantum) {
  constexpr int kRoutes = 200000;
  fec(1);
  for (int i = 1; i <= kRoutes; ++i) route(pfx(i), fecId(1));
  start();
  rsm_->tf().levelsIs("");  // 200,000 routes: no trace lines
  rsm_->handleDeletionDelay(1.0);
  run();
  ASSERT_EQ(rh_->chip.size(), size_t(kRoutes));

  for (int i = 1; i <= kRoutes; ++i) unroute(pfx(i));
  loop_->longestHandlerTimeReset();
  run();
  EXPECT_TRUE(rh_->chip.empty());
  EXPECT_EQ(rsm_->fibRoutes(), 0u);
  EXPECT_EQ(rsm_->pendingDeletions(), 0u);
  // A route reads the clock a few times; a thousand reads is far more than
  // one route's share and far less than a pass that ran on.
  Vix::Seconds const quantum = rsm_->routeReviewQuanta();
  Vix::Seconds const oneRoute = 1000 * kStep;
  EXPECT_LE(loop_->longestHandlerTime(), quantum + oneRoute);
  auto const& deletions = rsm_->deletions();
  EXPECT_LE(deletions.longestPass(), quantum + oneRoute);
  // Each route reads the clock at least once, to check the deadline.
  EXPECT_LE(deletions.longestPassItems(), size_t(quantum / kStep) + 1);
  EXPECT_GE(deletions.items(), uint64_t(kRoutes));
  EXPECT_GE(deletions.yields(), uint64_t(kRoutes) / (size_t(quantum / kStep) + 1));
}

// --- IPv6 only ---

using Route6SmTest = RouteSmTest<Nollo::Ipv6>;

TEST_F(Route6SmTest, OverflowedPrefixIsUnprogrammedExactlyOnce) {
  fec(1);
  rh_->capacity = 1;
  rh_->overflow = true;
  route(pfx(1), fecId(1));
  route(pfx(2), fecId(1));
  start();
  run();
  EXPECT_EQ(rsm_->unprogrammedRoutes(), 1u);
  EXPECT_EQ(vrf_->numUnprogrammedV6Routes(), 1u);
  EXPECT_EQ(l3Status_->numUnprogrammedV6Routes(), 1u);
  EXPECT_EQ(rsm_->overflowRoutesForReview(), 0u);
  EXPECT_EQ(l3Status_->ip6OverflowRouteSize(), 0u);
}

// A FEC refused over maxEcmp is logged once however many routes ask for it,
// and the routes waiting for it follow the review that finally makes its
// adjacency (adjEntryReviewCnt), even when the FEC itself did not change.
TEST_F(Route6SmTest, RoutesOverARefusedFecFollowItsAdjacencyReview) {
  auto logs = Vix::makePtr<Vix::MemoryLogSink>();
  Vix::logSinkIs(logs);
  hw_->maxEcmpIs(2);
  fec(1, 3);
  route(pfx(1), fecId(1));
  route(pfx(2), fecId(1));
  start();
  run();
  EXPECT_EQ(logs->records().size(), 1u);
  EXPECT_FALSE(handed(pfx(1)));
  EXPECT_EQ(unprogrammedCount(), 2u);
  // The limit is raised; a review of the FEC's adjacency is asked for (as
  // an interface event would) and creates it.
  hw_->maxEcmpIs(4);
  vrf_->adjEntryReviewListIs(fecId(1), AdjReviewType::adjReviewUpdate);
  run();
  Vix::logSinkIs(Vix::makePtr<Vix::StderrLogSink>());
  auto entry = sm_->adjEntry(fecId(1).value());
  ASSERT_TRUE(entry && entry->l2Adj());
  for (int n : {1, 2}) {
    ASSERT_TRUE(handed(pfx(n))) << n;
    EXPECT_EQ(handed(pfx(n))->l2AdjIndex(), entry->l2Adj()->index());
    EXPECT_EQ(rh_->chip.at(pfx(n)), entry->l2Adj()->index());
  }
  EXPECT_EQ(unprogrammedCount(), 0u);
  EXPECT_EQ(logs->records().size(), 1u);
}

TEST_F(Route6SmTest, RoutesUnderAnAggregateAreNotHandedOverAlone) {
  fec(1);
  l3Config_->deferredRoutingIs(true);
  Nollo::Ip6Prefix aggregate("2001:db8::/32");
  route(aggregate, fecId(1));
  for (int i = 1; i <= 3; ++i) route(pfx(i), fecId(1));
  start();
  run();
  l3Config_->aggregateRoute6Is(aggregate, true);
  run();
  EXPECT_TRUE(handed(aggregate));
  for (int i = 1; i <= 3; ++i) EXPECT_FALSE(handed(pfx(i)));
  EXPECT_EQ(rh_->chip.size(), 1u);
  route(pfx(4), fecId(1));
  run();
  EXPECT_FALSE(handed(pfx(4)));
  l3Config_->aggregateRoute6Del(aggregate);
  run();
  for (int i = 1; i <= 4; ++i) EXPECT_TRUE(handed(pfx(i)));
  EXPECT_EQ(rh_->chip.size(), 5u);
}

TEST_F(Route6SmTest, AFailedTableMoveLeavesTheRouteUnprogrammedNotLost) {
  fec(1);
  route(pfx(1), fecId(1));
  route(pfx(2), fecId(1));
  start();
  run();
  rh_->failing = {pfx(1)};
  hw_->prefixLenInExactMatchIs(Routing::RoutesInExactMatch(12), true);  // /48
  run();
  EXPECT_TRUE(rsm_->unprogrammed(pfx(1)));
  EXPECT_FALSE(rsm_->unprogrammed(pfx(2)));
  EXPECT_TRUE(handed(pfx(1)));
  EXPECT_EQ(rsm_->fibRoutes(), 2u);
  rh_->failing.clear();
  loop_->runFor(11);
  EXPECT_EQ(rsm_->unprogrammedRoutes(), 0u);
  EXPECT_EQ(rh_->chip.size(), 2u);
}

}  // namespace
