// When a route machine works while its VRF does not route: deferred routing
// (routes handed over before routing first comes on, skipped with it off),
// and the review held back while a uRPF start has routing switched off
// (skipRouteReview / skipRoute6Review). Both families, one fixture.
#include <gtest/gtest.h>

#include <cstdlib>
#include <set>

#include "kor/adj/AdjSm.h"
#include "kor/adj/L2AdjHelper.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/l3/RouteSmT.h"
#include "softchip/SoftChip.h"
#include "vix/ActivityLoop.h"
#include "vix/Trace.h"

namespace {

using namespace Kor;
using KorHelper::RouteUpdateAnswer;
using Quill::Fib::FecId;

// The chip's route table: the prefixes handed over and not removed.
template <class AF>
class ChipRoutes : public KorHelper::RouteSmHelperT<AF> {
 public:
  using Prefix = Nollo::IpPrefixT<AF>;
  explicit ChipRoutes(Vix::Ptr<L3Status> l3) : l3_(std::move(l3)) {}
  RouteUpdateAnswer handleRouteUpdate(VrfId vrfId, Prefix const& p, uint64_t) override {
    bool present;
    if constexpr (AF::version == 4) present = bool(l3_->adjInfoList({vrfId, p}));
    else present = bool(l3_->adjInfo6List({vrfId, p}));
    if (present) routes.insert(p);
    else routes.erase(p);
    return RouteUpdateAnswer::programmed;
  }
  void forEachHardwareRoute(VrfId, typename KorHelper::RouteSmHelperT<AF>::HardwareRouteVisitor const& v) const override {
    for (auto const& p : routes) v(p, 0);
  }
  void deleteHardwareRoute(VrfId, Prefix const& p) override { routes.erase(p); }
  void handleEndOfSync(VrfName const&) override {}
  Vix::Ptr<L3Status> l3_;
  std::set<Prefix> routes;
};

template <class AF>
class RoutingOffTest : public ::testing::Test {
 protected:
  using Prefix = Nollo::IpPrefixT<AF>;
  using Sm = RouteSmT<AF>;
  static constexpr bool v4 = AF::version == 4;

  void SetUp() override {
    unsetenv("KOR_YIELD_REVIEW_AFTER_EACH_ROUTE");
    unsetenv("KOR_ROUTES_REVIEW_INTERVAL");
    trace_ = Vix::makePtr<Vix::MemoryTraceSink>();
    Vix::traceSinkIs(trace_);
    loop_ = Vix::makePtr<Vix::ActivityLoop>(Vix::makePtr<Vix::ManualTimeSource>(0.0));
    acsd_ = korCommonSmDataFactory("acsd", loop_);
    l3_ = Vix::makePtr<L3Status>("l3Status");
    l3_->vrfIdPairIs(VrfName("default"), VrfId(0));
    vrf_ = l3_->newVrfL3Status(VrfName("default"));
    fwd4_ = Vix::makePtr<Quill::Fib::ForwardingStatus>("default");
    fwd6_ = Vix::makePtr<Quill::Fib6::ForwardingStatus>("default");
    routes_ = Vix::makePtr<Quill::Fib::RouteStatusT<AF>>("default");
    hw_ = Vix::makePtr<Routing::Hardware::Status>("hw");
    l3Config_ = Vix::makePtr<Routing::L3Config>("l3Config");
    chip_ = Vix::makePtr<SoftChip::SoftChip>();
    l2_ = Vix::makePtr<L2AdjHelper>(acsd_, l3_, Vix::makePtr<Routing::Hardware::Config>("hwConfig"),
                                    Vix::makePtr<Interface::AllIntfStatusDir>("intfs"), chip_->adj().adjSmHelper());
    l2_->initializedIs(true);
    adj_ = Vix::makePtr<AdjSm>(VrfId(0), VrfName("default"), acsd_, nullptr, l3_, fwd4_, fwd6_, hw_, l2_, nullptr,
                               nullptr, nullptr, nullptr, nullptr);
    adj_->initializedIs(true);
    helper_ = Vix::makePtr<ChipRoutes<AF>>(l3_);
    // FEC 1: one next hop on Ethernet1.
    using Via = typename Quill::Fib::FecT<AF>::Via;
    typename AF::Addr a;
    if constexpr (v4) a = Nollo::IpAddr4(0x0a000001u);
    else a = Nollo::IpAddr6("2001:db8::1");
    std::vector<Via> via{Via(a, Nollo::IntfId::ethernet(1))};
    if constexpr (v4) fwd4_->fecIs(Quill::Fib::Fec(fec_, Quill::Fib::FecType::forward, via));
    else fwd6_->fecIs(Quill::Fib6::Fec(fec_, Quill::Fib::FecType::forward, via));
  }
  void TearDown() override {
    sm_ = nullptr;
    adj_ = nullptr;
    Vix::traceSinkIs(nullptr);
    acsd_->doCleanup();
  }
  void start() {
    Vix::Ptr<Quill::Fib::ForwardingStatusT<AF> const> fwd;
    if constexpr (v4) fwd = fwd4_;
    else fwd = fwd6_;
    sm_ = Vix::makePtr<Sm>(acsd_, nullptr, VrfId(0),
                           typename Sm::Inputs{l3Config_, l3_, vrf_, routes_, fwd, hw_, nullptr, adj_, helper_});
    sm_->tf().levelsIs("*");
    sm_->initializedIs(true);
    run();
  }
  void run() { loop_->runUntilIdle(100); }
  static Prefix pfx(int n) {
    if constexpr (v4) return Prefix(Nollo::IpAddr4(0x0b000000u + (uint32_t(n) << 8)), 24);
    else return Prefix("2001:db8:" + std::to_string(n) + "::/48");
  }
  void route(int n) { routes_->routeIs(Quill::Fib::RouteT<AF>(pfx(n), fec_)); }
  void routingIs(bool on) {
    if constexpr (v4) vrf_->routingEnabledIs(on);
    else vrf_->routing6EnabledIs(on);
    run();
  }
  void waitForRoutingDisabledIs(bool on) {
    if constexpr (v4) vrf_->waitForRoutingDisabledIs(on);
    else vrf_->waitForRouting6DisabledIs(on);
  }
  bool waitingForRoutingDisabled() const {
    return v4 ? vrf_->waitForRoutingDisabled() : vrf_->waitForRouting6Disabled();
  }
  void skipReviewIs(bool on) {
    if constexpr (v4) vrf_->skipRouteReviewIs(on);
    else vrf_->skipRoute6ReviewIs(on);
    run();
  }
  std::set<Prefix> const& chipRoutes() const { return helper_->routes; }

  FecId fec_ = FecId::make(Quill::Fib::nexthopAdj(), 1);
  Vix::Ptr<Vix::MemoryTraceSink> trace_;
  Vix::Ptr<Vix::ActivityLoop> loop_;
  Vix::Ptr<KorCommonSmData> acsd_;
  Vix::Ptr<L3Status> l3_;
  Vix::Ptr<VrfL3Status> vrf_;
  Vix::Ptr<Quill::Fib::ForwardingStatus> fwd4_;
  Vix::Ptr<Quill::Fib6::ForwardingStatus> fwd6_;
  Vix::Ptr<Quill::Fib::RouteStatusT<AF>> routes_;
  Vix::Ptr<Routing::Hardware::Status> hw_;
  Vix::Ptr<Routing::L3Config> l3Config_;
  Vix::Ptr<SoftChip::SoftChip> chip_;
  Vix::Ptr<L2AdjHelper> l2_;
  Vix::Ptr<AdjSm> adj_;
  Vix::Ptr<ChipRoutes<AF>> helper_;
  Vix::Ptr<Sm> sm_;
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
  EXPECT_EQ(this->sm_->fibRoutes(), 0u);
  EXPECT_TRUE(this->chipRoutes().empty());
  this->routingIs(true);
  EXPECT_EQ(this->chipRoutes().size(), 1u);
}

// With deferred routing the chip fills before routing first comes on, for
// routes present at start and routes arriving later; they stay when routing
// comes on.
TYPED_TEST(RoutingOffTest, DeferredRoutingFillsTheChipBeforeRoutingComesOn) {
  this->l3Config_->deferredRoutingIs(true);
  this->route(1);
  this->start();
  this->route(2);
  this->run();
  EXPECT_FALSE(this->sm_->routingEnabled());
  EXPECT_TRUE(this->sm_->deferredRoutingEnabled());
  EXPECT_EQ(this->chipRoutes().size(), 2u);
  EXPECT_TRUE(this->sm_->endOfSyncDone());
  this->routingIs(true);
  EXPECT_EQ(this->chipRoutes().size(), 2u);
  EXPECT_EQ(this->sm_->fibRoutes(), 2u);
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
  EXPECT_EQ(this->sm_->fibRoutes(), 0u);
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

// While a uRPF start holds routing off (skip route review), routing coming
// back on hands nothing over; the held review runs when the flag clears.
// Removals are not held: the start waits for them.
TYPED_TEST(RoutingOffTest, SkipRouteReviewHoldsTheReviewUntilCleared) {
  this->route(1);
  this->routingIs(true);
  this->start();
  ASSERT_EQ(this->chipRoutes().size(), 1u);
  this->waitForRoutingDisabledIs(true);
  this->skipReviewIs(true);
  this->routingIs(false);
  EXPECT_TRUE(this->chipRoutes().empty());
  EXPECT_FALSE(this->waitingForRoutingDisabled());
  this->routingIs(true);
  EXPECT_TRUE(this->chipRoutes().empty());
  EXPECT_EQ(this->sm_->routesForReviews(), 1u);
  this->skipReviewIs(false);
  EXPECT_EQ(this->chipRoutes().size(), 1u);
  EXPECT_EQ(this->sm_->routesForReviews(), 0u);
}

// Verification looks behind the records: a hand-over entry of the VRF that
// neither a record nor a FIB route explains has leaked.
TYPED_TEST(RoutingOffTest, VerifyNamesAHandOverEntryWithNothingBehindIt) {
  this->route(1);
  this->routingIs(true);
  this->start();
  this->sm_->verifyAllRoutes();
  EXPECT_FALSE(this->trace_->contains("Route not in trie"));
  auto const p = this->pfx(1);
  Vix::Ptr<AdjInfo> info;
  if constexpr (TestFixture::v4) info = this->l3_->adjInfoList({VrfId(0), p});
  else info = this->l3_->adjInfo6List({VrfId(0), p});
  ASSERT_TRUE(info);
  if constexpr (TestFixture::v4) this->l3_->adjInfoListIs({VrfId(0), this->pfx(9)}, info);
  else this->l3_->adjInfo6ListIs({VrfId(0), this->pfx(9)}, info);
  this->sm_->verifyAllRoutes();
  EXPECT_TRUE(this->trace_->contains("Route not in trie and shmem: " + this->pfx(9).str()));
}

}  // namespace
