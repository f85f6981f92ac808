// When a route machine works while its VRF does not route: deferred routing
// (routes handed over before routing first comes on, skipped with it off),
// and the review held back while a uRPF start has routing switched off
// (skipRouteReview / skipRoute6Review). Both families, one fixture.
#include <gtest/gtest.h>

#include <map>

#include "tests/l3/RouteSmFixture.h"

namespace {

using namespace Kor;

// RouteSmFixture with the VRF's routing off for both families and FEC 1
// published (one next hop on Ethernet1).
template <class AF>
class RoutingOffTest : public KorTest::RouteSmFixture<AF> {
 protected:
  void adjSmBuilt() override {
    this->vrf_->routingEnabledIs(false);
    this->vrf_->routing6EnabledIs(false);
  }
  void SetUp() override {
    KorTest::RouteSmFixture<AF>::SetUp();
    this->fec(1);
  }
  void start() {
    KorTest::RouteSmFixture<AF>::start();
    this->run();
  }
  void route(int n) { KorTest::RouteSmFixture<AF>::route(this->pfx(n), this->fecId(1)); }
  void routingIs(bool on) {
    if constexpr (AF::version == 4) this->vrf_->routingEnabledIs(on);
    else this->vrf_->routing6EnabledIs(on);
    this->run();
  }
  void waitForRoutingDisabledIs(bool on) {
    if constexpr (AF::version == 4) this->vrf_->waitForRoutingDisabledIs(on);
    else this->vrf_->waitForRouting6DisabledIs(on);
  }
  bool waitingForRoutingDisabled() const {
    return AF::version == 4 ? this->vrf_->waitForRoutingDisabled() : this->vrf_->waitForRouting6Disabled();
  }
  void skipReviewIs(bool on) {
    if constexpr (AF::version == 4) this->vrf_->skipRouteReviewIs(on);
    else this->vrf_->skipRoute6ReviewIs(on);
    this->run();
  }
  std::map<Nollo::IpPrefixT<AF>, uint64_t> const& chipRoutes() const { return this->rh_->chip; }
};

using Families = ::testing::Types<Nollo::Ipv4, Nollo::Ipv6>;
TYPED_TEST_SUITE(RoutingOffTest, Families);

// Without deferred routing a VRF that does not route yet skips its routes
// and takes them all when routing comes on.
TYPED_TEST(RoutingOffTest, RoutesWaitForRoutingWithoutDeferredRouting) {
  this->start();
  this->route(1);
  this->run();
  EXPECT_TRUE(this->trace_->contains("Deferred routing not enabled - Returning"));
  EXPECT_EQ(this->rsm_->fibRoutes(), 0u);
  EXPECT_TRUE(this->chipRoutes().empty());
  this->routingIs(true);
  EXPECT_EQ(this->chipRoutes().size(), 1u);
}

// With deferred routing the chip fills before routing first comes on, for
// routes present at start and routes arriving later, each handed over once
// with its FEC's L2 adjacency: routing coming on writes nothing.
TYPED_TEST(RoutingOffTest, DeferredRoutingFillsTheChipBeforeRoutingComesOn) {
  this->l3Config_->deferredRoutingIs(true);
  this->route(1);
  this->start();
  this->route(2);
  this->run();
  EXPECT_FALSE(this->rsm_->routingEnabled());
  EXPECT_TRUE(this->rsm_->deferredRoutingEnabled());
  ASSERT_EQ(this->chipRoutes().size(), 2u);
  for (auto const& [p, l2] : this->chipRoutes()) EXPECT_NE(l2, 0u) << p;
  EXPECT_TRUE(this->rsm_->endOfSyncDone());
  this->routingIs(true);
  EXPECT_EQ(this->chipRoutes().size(), 2u);
  EXPECT_EQ(this->rh_->creates + this->rh_->updates, 2);
  EXPECT_EQ(this->rsm_->fibRoutes(), 2u);
}

// Deferred routing switched on while routing is still off takes the routes
// in; switched off again, they leave the chip.
TYPED_TEST(RoutingOffTest, DeferredRoutingFollowsItsConfiguration) {
  this->route(1);
  this->start();
  EXPECT_TRUE(this->chipRoutes().empty());
  this->l3Config_->deferredRoutingIs(true);
  this->run();
  EXPECT_EQ(this->chipRoutes().size(), 1u);
  this->l3Config_->deferredRoutingIs(false);
  this->run();
  EXPECT_TRUE(this->chipRoutes().empty());
  EXPECT_EQ(this->rsm_->fibRoutes(), 0u);
}

// Deferral ends with routing's first start: switched off afterwards, the
// VRF's routes go as without it, and a uRPF start's wait ends.
TYPED_TEST(RoutingOffTest, RoutingOffAfterItWasOnRemovesDeferredRoutes) {
  this->l3Config_->deferredRoutingIs(true);
  this->route(1);
  this->start();
  this->routingIs(true);
  this->waitForRoutingDisabledIs(true);
  this->routingIs(false);
  EXPECT_TRUE(this->chipRoutes().empty());
  EXPECT_FALSE(this->waitingForRoutingDisabled());
}

// A uRPF start that asks a VRF still deferring its routes to switch routing
// off gets it: the deferred routes leave, and the wait ends.
TYPED_TEST(RoutingOffTest, WaitForRoutingDisabledEndsDeferral) {
  this->l3Config_->deferredRoutingIs(true);
  this->route(1);
  this->start();
  ASSERT_EQ(this->chipRoutes().size(), 1u);
  this->waitForRoutingDisabledIs(true);
  this->run();
  EXPECT_TRUE(this->chipRoutes().empty());
  EXPECT_FALSE(this->waitingForRoutingDisabled());
}

// A uRPF start switches routing off: every route leaves and the wait is
// reported done. While it holds routing off (skip route review), routing
// coming back on hands nothing over; the held review runs when the flag
// clears. Removals are not held: the start waits for them.
TYPED_TEST(RoutingOffTest, SkipRouteReviewHoldsTheReviewUntilCleared) {
  this->route(1);
  this->routingIs(true);
  this->start();
  ASSERT_EQ(this->chipRoutes().size(), 1u);
  uint32_t refs = this->l3Status_->waitForRoutingDisabledRefCnt();
  this->waitForRoutingDisabledIs(true);
  this->skipReviewIs(true);
  this->routingIs(false);
  EXPECT_TRUE(this->chipRoutes().empty());
  EXPECT_EQ(this->rsm_->fibRoutes(), 0u);
  EXPECT_FALSE(this->waitingForRoutingDisabled());
  EXPECT_EQ(this->l3Status_->waitForRoutingDisabledRefCnt(), refs + 1);
  this->routingIs(true);
  EXPECT_TRUE(this->chipRoutes().empty());
  EXPECT_EQ(this->rsm_->routesForReviews(), 1u);
  this->skipReviewIs(false);
  EXPECT_EQ(this->chipRoutes().size(), 1u);
  EXPECT_EQ(this->rsm_->routesForReviews(), 0u);
}

// Verification looks behind the records: a hand-over entry of the VRF that
// neither a record nor a FIB route explains has leaked.
TYPED_TEST(RoutingOffTest, VerifyNamesAHandOverEntryWithNothingBehindIt) {
  this->route(1);
  this->routingIs(true);
  this->start();
  this->rsm_->verifyAllRoutes();
  EXPECT_FALSE(this->trace_->contains("Route not in trie"));
  auto info = this->handed(this->pfx(1));
  ASSERT_TRUE(info);
  if constexpr (TestFixture::v4) this->l3Status_->adjInfoListIs({VrfId(0), this->pfx(9)}, info);
  else this->l3Status_->adjInfo6ListIs({VrfId(0), this->pfx(9)}, info);
  this->rsm_->verifyAllRoutes();
  EXPECT_TRUE(this->trace_->contains("Route not in trie and shmem: " + this->pfx(9).str()));
}

}  // namespace
