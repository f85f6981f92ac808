// The routing status machines of several VRFs sharing one L3 status and the
// software chip's routing status hook: routing flags per VRF and address
// family, the switch-wide hardware flags, the router MAC while any VRF
// routes, the virtual / MLAG peer router MACs, the uRPF start in one or two
// stages, and per interface: the routing state of VLAN interfaces and routed
// ports, private VLANs, uRPF modes, MPLS, static multicast, verification.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "kor/common/KorCommonSmData.h"
#include "kor/l3/RoutingStatusSm.h"
#include "nollo/IntfId.h"
#include "softchip/SoftChip.h"
#include "softchip/l3/SoftRoutingStatusSmHelper.h"
#include "vix/ActivityLoop.h"
#include "vix/Log.h"
#include "vix/MemoryLogSink.h"
#include "vix/Trace.h"

namespace {

using namespace Kor;

Nollo::EthAddr const kRouterMac("00:1c:73:00:00:01");
Nollo::EthAddr const kVirtualMac("00:1c:73:00:00:99");
Nollo::EthAddr const kPeerMac("00:1c:73:00:00:42");

class RoutingStatusSmTest : public ::testing::Test {
 protected:
  struct Vrf {
    Vix::Ptr<Routing::RoutingInfo> info4;
    Vix::Ptr<Routing::RoutingInfo> info6;
    Vix::Ptr<VrfL3Status> status;
    Vix::Ptr<RoutingStatusSm> sm;
  };

  void SetUp() override {
    trace_ = Vix::makePtr<Vix::MemoryTraceSink>();
    Vix::traceSinkIs(trace_);
    logs_ = Vix::makePtr<Vix::MemoryLogSink>();
    Vix::logSinkIs(logs_);
    loop_ = Vix::makePtr<Vix::ActivityLoop>(Vix::makePtr<Vix::ManualTimeSource>(0.0));
    acsd_ = korCommonSmDataFactory("acsd", loop_);
    acsd_->virtualMacIs(kVirtualMac);
    acsd_->peerRouterMacIs(kPeerMac);
    l3Status_ = Vix::makePtr<L3Status>("l3Status");
    bridging_ = Vix::makePtr<Bridging::Config>("bridging");
    bridging_->routerMacIs(kRouterMac);
    mlag_ = Vix::makePtr<Mlag::Status>("mlag");
    urpf_ = Vix::makePtr<Urpf::Config>("urpf");
    ip_ = Vix::makePtr<Ip::Status>("ip");
    ip6_ = Vix::makePtr<Ip::Status>("ip6");
    vlans_ = Vix::makePtr<IntfVlanId::Table>("vlans");
    intfs_ = Vix::makePtr<Interface::AllIntfStatusDir>("intfs");
    hw_ = Vix::makePtr<Routing::Hardware::Status>("hw");
    mpls_ = Vix::makePtr<Mpls::RoutingInfo>("mpls");
    mcast_ = Vix::makePtr<Multicast::StaticRouteConfig>("mcast");
    acsd_->redundancyModeIs(Redundancy::modeActive);
    chip_ = Vix::makePtr<SoftChip::SoftChip>();
    helper_ = Vix::makePtr<SoftChip::SoftRoutingStatusSmHelper>(chip_.ptr());
  }
  void TearDown() override {
    vrfs_.clear();
    acsd_->doCleanup();
    Vix::traceSinkIs(nullptr);
    Vix::logSinkIs(nullptr);
  }

  Vrf& vrf(std::string const& name, bool v4 = false, bool v6 = false) {
    auto it = vrfs_.find(name);
    if (it != vrfs_.end()) return it->second;
    Vrf& v = vrfs_[name];
    v.info4 = Vix::makePtr<Routing::RoutingInfo>(name);
    v.info6 = Vix::makePtr<Routing::RoutingInfo>(name);
    v.info4->routingEnabledIs(v4);
    v.info6->routingEnabledIs(v6);
    v.status = l3Status_->newVrfL3Status(VrfName(name));
    v.sm = Vix::makePtr<RoutingStatusSm>(acsd_, VrfName(name), v.info4, v.info6, l3Status_, v.status, bridging_,
                                         mlag_, urpf_, ip_, ip6_, vlans_, helper_, intfs_, hw_, mpls_, mcast_);
    v.sm->tf().levelsIs("*");
    v.sm->initializedIs(true);
    return v;
  }

  // An interface bound to `vrf` in both families, with what the IP agent
  // switched on in each.
  void bind(Nollo::IntfId const& intf, std::string const& vrf, Ip::IntfRouting v4, Ip::IntfRouting v6 = {}) {
    ip_->intfRoutingIs(intf, v4);
    ip6_->intfRoutingIs(intf, v6);
    ip_->currentVrfIs(intf, vrf);
    ip6_->currentVrfIs(intf, vrf);
  }

  Vix::Ptr<Vix::MemoryTraceSink> trace_;
  Vix::Ptr<Vix::MemoryLogSink> logs_;
  Vix::Ptr<Vix::ActivityLoop> loop_;
  Vix::Ptr<KorCommonSmData> acsd_;
  Vix::Ptr<L3Status> l3Status_;
  Vix::Ptr<Bridging::Config> bridging_;
  Vix::Ptr<Mlag::Status> mlag_;
  Vix::Ptr<Urpf::Config> urpf_;
  Vix::Ptr<Ip::Status> ip_;
  Vix::Ptr<Ip::Status> ip6_;
  Vix::Ptr<IntfVlanId::Table> vlans_;
  Vix::Ptr<Interface::AllIntfStatusDir> intfs_;
  Vix::Ptr<Routing::Hardware::Status> hw_;
  Vix::Ptr<Mpls::RoutingInfo> mpls_;
  Vix::Ptr<Multicast::StaticRouteConfig> mcast_;
  Vix::Ptr<SoftChip::SoftChip> chip_;
  Vix::Ptr<SoftChip::SoftRoutingStatusSmHelper> helper_;
  std::map<std::string, Vrf> vrfs_;
};

TEST_F(RoutingStatusSmTest, EachFamilyFollowsItsOwnRoutingInfoAndRepeatsChangeNothing) {
  auto& a = vrf("a", true, false);
  EXPECT_TRUE(a.status->routingEnabled());
  EXPECT_FALSE(a.status->routing6Enabled());
  a.info6->routingEnabledIs(true);
  a.info4->routingEnabledIs(false);
  EXPECT_FALSE(a.status->routingEnabled());
  EXPECT_TRUE(a.status->routing6Enabled());

  uint32_t const writes = helper_->routerMac().writes;
  a.sm->doEnableRouting6(true);
  EXPECT_TRUE(trace_->contains("Routing is already set"));
  EXPECT_EQ(helper_->routerMac().writes, writes);
  EXPECT_EQ(l3Status_->numTimesRouting6Enabled(), 1u);
}

// No router MAC configured is no router MAC: the chip is never given
// 00:00:00:00:00:00, and a MAC configured (or changed) while routing is
// programmed at once.
TEST_F(RoutingStatusSmTest, AllZeroRouterMacIsNeverProgrammed) {
  bridging_->routerMacIs(Nollo::EthAddr());
  auto& a = vrf("a", true, false);
  EXPECT_TRUE(a.status->routingEnabled());
  EXPECT_FALSE(helper_->routerMac().enabled);
  EXPECT_FALSE(l3Status_->hardwareRouterMacProgrammed());
  bridging_->routerMacIs(kRouterMac);
  EXPECT_TRUE(helper_->routerMac().enabled);
  EXPECT_EQ(helper_->routerMac().mac, kRouterMac);
  EXPECT_EQ(l3Status_->routerMac(), kRouterMac);
  // Cleared while routing: the chip lets it go.
  bridging_->routerMacIs(Nollo::EthAddr());
  EXPECT_FALSE(helper_->routerMac().enabled);
  EXPECT_FALSE(l3Status_->hardwareRouterMacProgrammed());
}

TEST_F(RoutingStatusSmTest, HardwareFlagsFollowAnyVrf) {
  auto& a = vrf("a");
  auto& b = vrf("b");
  EXPECT_FALSE(l3Status_->hardwareV4RoutingEnabled());

  a.info4->routingEnabledIs(true);
  b.info6->routingEnabledIs(true);
  EXPECT_TRUE(l3Status_->hardwareV4RoutingEnabled());
  EXPECT_TRUE(l3Status_->hardwareV6RoutingEnabled());

  // b turning v4 on and off again must not switch off what a still needs.
  b.info4->routingEnabledIs(true);
  b.info4->routingEnabledIs(false);
  EXPECT_TRUE(l3Status_->hardwareV4RoutingEnabled());

  a.info4->routingEnabledIs(false);
  EXPECT_FALSE(l3Status_->hardwareV4RoutingEnabled());
  EXPECT_TRUE(l3Status_->hardwareV6RoutingEnabled());
  b.info6->routingEnabledIs(false);
  EXPECT_FALSE(l3Status_->hardwareV6RoutingEnabled());
}

TEST_F(RoutingStatusSmTest, RouterMacKeptWhileAnotherVrfRoutes) {
  auto& a = vrf("a", true);
  auto& b = vrf("b", false, true);
  EXPECT_EQ(l3Status_->routerMac(), kRouterMac);
  EXPECT_TRUE(l3Status_->hardwareRouterMacProgrammed());

  a.info4->routingEnabledIs(false);
  EXPECT_TRUE(trace_->contains(" Routing enabled in some other vrf"));
  EXPECT_EQ(l3Status_->routerMac(), kRouterMac);
  EXPECT_TRUE(l3Status_->hardwareRouterMacProgrammed());
  EXPECT_TRUE(helper_->routerMac().enabled);

  b.info6->routingEnabledIs(false);
  EXPECT_TRUE(l3Status_->routerMac().isZero());
  EXPECT_FALSE(l3Status_->hardwareRouterMacProgrammed());
  EXPECT_FALSE(helper_->routerMac().enabled);
  EXPECT_TRUE(trace_->contains("Router mac unprogrammed"));
}

TEST_F(RoutingStatusSmTest, VirtualRouterMacOnlyWithDefaultVrfRouting) {
  auto& red = vrf("red", true);
  EXPECT_FALSE(helper_->virtualRouterMac().enabled);

  auto& def = vrf("default", false, true);
  EXPECT_TRUE(helper_->virtualRouterMac().enabled);
  EXPECT_EQ(helper_->virtualRouterMac().mac, kVirtualMac);

  def.info6->routingEnabledIs(false);
  EXPECT_FALSE(helper_->virtualRouterMac().enabled);
  red.info4->routingEnabledIs(false);
  EXPECT_FALSE(helper_->virtualRouterMac().enabled);
}

TEST_F(RoutingStatusSmTest, PeerRouterMacNeedsMlagAndRoutingAnywhere) {
  auto& a = vrf("a", true);
  EXPECT_FALSE(helper_->peerRouterMac().enabled);

  mlag_->activeIs(true);
  EXPECT_TRUE(helper_->peerRouterMac().enabled);
  EXPECT_EQ(helper_->peerRouterMac().mac, kPeerMac);

  a.info4->routingEnabledIs(false);
  EXPECT_FALSE(helper_->peerRouterMac().enabled);
}

TEST_F(RoutingStatusSmTest, UrpfWithoutTwoStagePlatformKeepsRouting) {
  auto& def = vrf("default", true, true);
  auto& red = vrf("red", true);
  urpf_->enabledIs(true);
  EXPECT_TRUE(l3Status_->urpfEnabled());
  EXPECT_TRUE(helper_->urpfEnabled());
  EXPECT_TRUE(trace_->contains("Two stage init not required for this platform"));
  EXPECT_EQ(l3Status_->urpfRoutingDisable(), 0u);
  EXPECT_TRUE(def.status->routingEnabled());
  EXPECT_TRUE(red.status->routingEnabled());
}

TEST_F(RoutingStatusSmTest, UrpfTwoStageStartSwitchesRoutingOffEverywhereThenBackOn) {
  helper_->twoStageInitRequiredIs(true);
  auto& def = vrf("default", true, true);
  auto& red = vrf("red", true);
  urpf_->enabledIs(true);

  // Stage 1: every VRF stops routing and asks its route side for a pass.
  EXPECT_EQ(l3Status_->urpfRoutingDisable(), 1u);
  EXPECT_FALSE(def.status->routingEnabled());
  EXPECT_FALSE(def.status->routing6Enabled());
  EXPECT_FALSE(red.status->routingEnabled());
  EXPECT_TRUE(red.status->waitForRoutingDisabled());
  EXPECT_EQ(l3Status_->unicastReviewPending(), 2u);
  EXPECT_EQ(l3Status_->unicast6ReviewPending(), 1u);
  EXPECT_FALSE(l3Status_->urpfEnabled());
  EXPECT_FALSE(helper_->urpfEnabled());

  // A second change while waiting does not start another round.
  urpf_->enabledIs(false);
  urpf_->enabledIs(true);
  EXPECT_EQ(l3Status_->urpfRoutingDisable(), 1u);

  // Stage 2, once the route side reports routing off everywhere.
  l3Status_->urpfRoutingDisableDoneIs(true);
  EXPECT_TRUE(l3Status_->urpfEnabled());
  EXPECT_TRUE(helper_->urpfEnabled());
  EXPECT_FALSE(l3Status_->urpfRoutingDisableDone());
  EXPECT_EQ(l3Status_->urpfRoutingEnable(), 1u);
  EXPECT_TRUE(def.status->routingEnabled());
  EXPECT_TRUE(def.status->routing6Enabled());
  EXPECT_TRUE(red.status->routingEnabled());
  EXPECT_FALSE(red.status->waitForRoutingDisabled());
  EXPECT_FALSE(red.status->skipRouteReview());
}

TEST_F(RoutingStatusSmTest, UrpfWaitsForActiveModeAndForAReadyHelper) {
  helper_->twoStageInitRequiredIs(true);
  acsd_->redundancyModeIs(Redundancy::modeStandby);
  auto& def = vrf("default", true);
  urpf_->enabledIs(true);
  EXPECT_TRUE(trace_->contains("Not in active mode, returning"));
  EXPECT_EQ(l3Status_->urpfRoutingDisable(), 0u);
  EXPECT_TRUE(def.status->routingEnabled());

  acsd_->redundancyModeIs(Redundancy::modeActive);
  EXPECT_EQ(l3Status_->urpfRoutingDisable(), 1u);

  helper_->urpfReadyIs(false);
  l3Status_->urpfRoutingDisableDoneIs(true);
  EXPECT_TRUE(trace_->contains("StatusHelper not ready"));
  EXPECT_FALSE(l3Status_->urpfEnabled());
  EXPECT_FALSE(def.status->routingEnabled());

  // The next change retries the hardware switch without another round.
  helper_->urpfReadyIs(true);
  urpf_->enabledIs(false);
  urpf_->enabledIs(true);
  EXPECT_EQ(l3Status_->urpfRoutingDisable(), 1u);
  EXPECT_TRUE(l3Status_->urpfEnabled());
  EXPECT_TRUE(def.status->routingEnabled());
}

TEST_F(RoutingStatusSmTest, UrpfStageTwoRefusedWhileRoutingIsStillOn) {
  helper_->twoStageInitRequiredIs(true);
  auto& def = vrf("default", true);
  urpf_->enabledIs(true);
  def.sm->doEnableRouting(true);  // switched back on before the route side reported
  l3Status_->urpfRoutingDisableDoneIs(true);
  EXPECT_TRUE(trace_->contains("Urpf setting not modified (routing still enabled). RefCount:"));
  EXPECT_FALSE(l3Status_->urpfEnabled());
  EXPECT_FALSE(helper_->urpfEnabled());
}

// Counts the writes to each VLAN's routing state.
struct VlanWrites : L3Status::Notifiee {
  using L3Status::Notifiee::Notifiee;
  void handleVlanRoutingState(uint32_t const& vlan) override { ++writes[vlan]; }
  std::map<uint32_t, int> writes;
};

TEST_F(RoutingStatusSmTest, VlanRoutingStateFollowsTheFourKindsAndIsWrittenOnlyOnChange) {
  Nollo::IntfId const vlan10("Vlan10");
  mpls_->mplsRoutingEnabledIs(true);
  ip_->currentVrfIs(vlan10, "red");
  ip6_->currentVrfIs(vlan10, "red");
  ip_->intfRoutingIs(vlan10, Ip::IntfRouting{true, false, false});
  auto& red = vrf("red", true);
  VlanWrites seen(l3Status_);
  EXPECT_EQ(l3Status_->vlanRoutingState(10), (RoutingState{true, false, false, false}));

  ip6_->intfRoutingIs(vlan10, Ip::IntfRouting{true, false, false});
  EXPECT_EQ(seen.writes[10], 0);  // IPv6 routing is off in the VRF
  red.info6->routingEnabledIs(true);
  EXPECT_EQ(l3Status_->vlanRoutingState(10), (RoutingState{true, true, false, false}));
  EXPECT_EQ(seen.writes[10], 1);

  // Changes that leave the four kinds as they are write nothing.
  red.sm->handleVlanRouting(vlan10);
  red.info4->routingEnabledIs(true);
  ip_->currentVrfIs(vlan10, "red");
  trace_->clear();
  ip_->primaryAddrIs(vlan10, Nollo::IpGenAddr("10.0.0.1"));
  EXPECT_TRUE(trace_->contains("Update l3 interface for Vlan10"));
  EXPECT_EQ(seen.writes[10], 1);
  EXPECT_TRUE(red.status->l3IntfHas(10));

  ip_->intfRoutingIs(vlan10, Ip::IntfRouting{true, true, true});
  EXPECT_EQ(l3Status_->vlanRoutingState(10), (RoutingState{true, true, true, true}));
  red.info4->routingEnabledIs(false);
  red.info6->routingEnabledIs(false);
  ip_->intfRoutingIs(vlan10, Ip::IntfRouting{});
  EXPECT_FALSE(l3Status_->vlanRoutingStateHas(10));
}

TEST_F(RoutingStatusSmTest, VlanRoutingStateIgnoresOtherVrfsAndNonVlanInterfaces) {
  Nollo::IntfId const vlan20("Vlan20");
  Nollo::IntfId const eth1("Ethernet1");
  ip_->currentVrfIs(vlan20, "blue");
  ip_->intfRoutingIs(vlan20, Ip::IntfRouting{true, false, false});
  ip_->currentVrfIs(eth1, "red");
  ip_->intfRoutingIs(eth1, Ip::IntfRouting{true, false, false});
  vrf("red", true);
  EXPECT_FALSE(l3Status_->vlanRoutingStateHas(20));
  EXPECT_TRUE(trace_->contains("Ignoring IpIntfStatus for non-Vlan interface Ethernet1"));

  vrf("blue", true);
  EXPECT_EQ(l3Status_->vlanRoutingState(20), (RoutingState{true, false, false, false}));
  EXPECT_TRUE(trace_->contains("Routing State vlan 20: v4uc: 1"));
}

TEST_F(RoutingStatusSmTest, RoutedPortRoutesOnItsInternalVlanAndLeavesItWhenItMoves) {
  Nollo::IntfId const eth1("Ethernet1");
  bind(eth1, "red", {true, false, false});
  auto& red = vrf("red", true);
  EXPECT_TRUE(trace_->contains("Not a routed port"));
  EXPECT_EQ(l3Status_->vlanRoutingStateSize(), 0u);

  intfs_->intfStatusIs(eth1, Interface::IntfStatus{true, true});
  EXPECT_TRUE(trace_->contains("Routed port"));
  EXPECT_EQ(l3Status_->vlanRoutingStateSize(), 0u);  // no internal VLAN yet

  vlans_->vlanIdIs(eth1, 1006);
  EXPECT_EQ(l3Status_->vlanRoutingState(1006), (RoutingState{true, false, false, false}));
  EXPECT_TRUE(red.status->l3IntfHas(1006));

  vlans_->vlanIdIs(eth1, 1007);
  EXPECT_FALSE(l3Status_->vlanRoutingStateHas(1006));
  EXPECT_FALSE(red.status->l3IntfHas(1006));
  EXPECT_EQ(l3Status_->vlanRoutingState(1007), (RoutingState{true, false, false, false}));

  intfs_->intfStatusIs(eth1, Interface::IntfStatus{true, false});
  EXPECT_FALSE(l3Status_->vlanRoutingStateHas(1007));
  EXPECT_EQ(red.status->l3IntfSize(), 0u);
}

TEST_F(RoutingStatusSmTest, InterfaceMovingToAnotherVrfKeepsItsVlanState) {
  Nollo::IntfId const vlan10("Vlan10");
  bind(vlan10, "red", {true, false, false});
  auto& red = vrf("red", true);
  auto& blue = vrf("blue", true);
  VlanWrites seen(l3Status_);
  ip_->currentVrfIs(vlan10, "blue");
  ip6_->currentVrfIs(vlan10, "blue");
  EXPECT_EQ(seen.writes[10], 0);
  EXPECT_EQ(l3Status_->vlanRoutingState(10), (RoutingState{true, false, false, false}));
  EXPECT_FALSE(red.status->l3IntfHas(10));
  EXPECT_TRUE(blue.status->l3IntfHas(10));
  EXPECT_EQ(red.sm->ipIntfStatus(vlan10), nullptr);

  ip_->currentVrfDel(vlan10);
  ip6_->currentVrfDel(vlan10);
  EXPECT_FALSE(l3Status_->vlanRoutingStateHas(10));
  EXPECT_EQ(blue.status->l3IntfSize(), 0u);
}

TEST_F(RoutingStatusSmTest, PrimaryPrivateVlanCarriesItsStateToItsSecondaries) {
  Nollo::IntfId const vlan10("Vlan10");
  bridging_->pvlanSecondariesIs(10, {11, 12});
  bind(vlan10, "red", {true, false, false}, {true, false, false});
  auto& red = vrf("red", true);
  RoutingState const v4{true, false, false, false};
  EXPECT_EQ(l3Status_->vlanRoutingState(11), v4);
  EXPECT_EQ(l3Status_->vlanRoutingState(12), v4);
  EXPECT_TRUE(l3Status_->pvlanL3IntfHas(11));

  bridging_->pvlanSecondariesIs(10, {12});
  EXPECT_FALSE(l3Status_->vlanRoutingStateHas(11));
  EXPECT_FALSE(l3Status_->pvlanL3IntfHas(11));
  red.info6->routingEnabledIs(true);
  EXPECT_EQ(l3Status_->vlanRoutingState(12), (RoutingState{true, true, false, false}));

  ip_->currentVrfDel(vlan10);
  ip6_->currentVrfDel(vlan10);
  EXPECT_EQ(l3Status_->vlanRoutingStateSize(), 0u);
  EXPECT_EQ(l3Status_->pvlanL3IntfSize(), 0u);
}

// A deleted VRF leaves no VLAN routing, private-VLAN or uRPF state behind;
// another VRF's state stays.
TEST_F(RoutingStatusSmTest, DeletedVrfLeavesNoVlanPvlanOrUrpfState) {
  Nollo::IntfId const vlan10("Vlan10"), vlan20("Vlan20");
  Urpf::UrpfStatus const strict{Urpf::UrpfStatus::Mode::strict, false};
  bridging_->pvlanSecondariesIs(10, {11});
  bind(vlan10, "red", {true, false, false}, {true, false, false});
  bind(vlan20, "blue", {true, false, false}, {true, false, false});
  urpf_->intfUrpfIs(vlan10, strict);
  urpf_->intfUrpfIs(vlan20, strict);
  vrf("default");  // starts uRPF in the hardware
  urpf_->enabledIs(true);
  vrf("red", true);
  vrf("blue", true);
  ASSERT_TRUE(l3Status_->vlanRoutingStateHas(10));
  ASSERT_TRUE(l3Status_->pvlanL3IntfHas(11));
  ASSERT_TRUE(l3Status_->urpf4StatusHas(vlan10));
  vrfs_.erase("red");
  EXPECT_FALSE(l3Status_->vlanRoutingStateHas(10));
  EXPECT_FALSE(l3Status_->vlanRoutingStateHas(11));
  EXPECT_FALSE(l3Status_->pvlanL3IntfHas(11));
  EXPECT_FALSE(l3Status_->urpf4StatusHas(vlan10));
  EXPECT_TRUE(l3Status_->vlanRoutingStateHas(20));
  EXPECT_TRUE(l3Status_->urpf4StatusHas(vlan20));
}

TEST_F(RoutingStatusSmTest, UrpfModesPerInterfaceWithConflictAndOverrides) {
  using Mode = Urpf::UrpfStatus::Mode;
  Urpf::UrpfStatus const strict{Mode::strict, false}, loose{Mode::loose, true};
  Nollo::IntfId const vlan10("Vlan10");
  bind(vlan10, "default", {true, false, false}, {true, false, false});
  urpf_->intfUrpfIs(vlan10, strict);
  urpf_->intfUrpf6Is(vlan10, loose);
  vrf("default", true, true);
  EXPECT_TRUE(trace_->contains("Urpf not enabled"));
  EXPECT_EQ(l3Status_->urpf4StatusSize(), 0u);

  // IPv4 keeps its mode; the IPv6 mode the chip cannot add waits aside.
  urpf_->enabledIs(true);
  EXPECT_TRUE(trace_->contains("V4/V6 uRPF conflict"));
  EXPECT_EQ(l3Status_->urpf4Status(vlan10), strict);
  EXPECT_FALSE(l3Status_->urpf6StatusHas(vlan10));
  EXPECT_EQ(l3Status_->urpf6StatusUnresolved(vlan10), loose);

  urpf_->intfUrpf6Is(vlan10, strict);
  EXPECT_EQ(l3Status_->urpf6Status(vlan10), strict);
  EXPECT_FALSE(l3Status_->urpf6StatusUnresolvedHas(vlan10));

  l3Status_->egressRaclSharingOverrideV4UrpfIs(true);
  EXPECT_FALSE(l3Status_->urpf4StatusHas(vlan10));
  EXPECT_EQ(l3Status_->urpf6Status(vlan10), strict);
  l3Status_->egressRaclSharingOverrideV4UrpfIs(false);
  EXPECT_EQ(l3Status_->urpf4Status(vlan10), strict);

  // Without routing in a family the interface checks nothing in it.
  ip_->intfRoutingIs(vlan10, Ip::IntfRouting{});
  EXPECT_FALSE(l3Status_->urpf4StatusHas(vlan10));
  EXPECT_EQ(l3Status_->urpf6Status(vlan10), strict);
}

TEST_F(RoutingStatusSmTest, ExactMatchLengthTurnsIpv4UrpfOffInEveryVrf) {
  Urpf::UrpfStatus const strict{Urpf::UrpfStatus::Mode::strict, false};
  Nollo::IntfId const vlan10("Vlan10"), vlan20("Vlan20");
  bind(vlan10, "default", {true, false, false});
  bind(vlan20, "red", {true, false, false});
  urpf_->intfUrpfIs(vlan10, strict);
  urpf_->intfUrpfIs(vlan20, strict);
  urpf_->enabledIs(true);
  vrf("default", true);
  vrf("red", true);
  ASSERT_EQ(l3Status_->urpf4StatusSize(), 2u);

  hw_->prefixLenInExactMatchIs(Routing::RoutesInExactMatch(16), false);  // listed, not in use
  EXPECT_FALSE(l3Status_->remOverrideV4Urpf());
  hw_->prefixLenInExactMatchIs(Routing::RoutesInExactMatch(16), true);
  EXPECT_TRUE(l3Status_->remOverrideV4Urpf());
  EXPECT_EQ(l3Status_->urpf4StatusSize(), 0u);
  EXPECT_EQ(logs_->count("ROUTING_URPF_V4_OVERRIDE"), 1u);

  hw_->prefixLenInExactMatchDel(Routing::RoutesInExactMatch(16));
  EXPECT_FALSE(l3Status_->remOverrideV4Urpf());
  EXPECT_EQ(l3Status_->urpf4Status(vlan20), strict);
  EXPECT_EQ(logs_->count("ROUTING_URPF_V4_OVERRIDE"), 2u);
}

TEST_F(RoutingStatusSmTest, TwoStageStartCompletesWhenEveryRouteMachineReportsRoutingDisabled) {
  helper_->twoStageInitRequiredIs(true);
  l3Status_->waitForRoutingDisabledRefCntIs(7);  // reports of an earlier round
  Nollo::IntfId const vlan10("Vlan10");
  bind(vlan10, "red", {true, false, false});
  urpf_->intfUrpfIs(vlan10, Urpf::UrpfStatus{Urpf::UrpfStatus::Mode::loose, false});
  auto& def = vrf("default", true, true);
  auto& red = vrf("red", true);
  urpf_->enabledIs(true);
  ASSERT_FALSE(red.status->routingEnabled());
  EXPECT_FALSE(red.status->l3IntfHas(10));

  // What a route machine does once its routing is fully off.
  auto report = [this](Vrf& v, bool v4) {
    if (v4) {
      v.status->waitForRoutingDisabledIs(false);
    } else {
      v.status->waitForRouting6DisabledIs(false);
    }
    l3Status_->waitForRoutingDisabledRefCntIs(l3Status_->waitForRoutingDisabledRefCnt() + 1);
  };
  report(red, false);  // had nothing to switch off
  report(def, true);
  report(def, false);
  EXPECT_FALSE(l3Status_->urpfRoutingDisableDone());
  EXPECT_FALSE(helper_->urpfEnabled());

  // The chip refuses the switch once; the next change retries it without
  // switching routing off again.
  helper_->urpfReadyIs(false);
  report(red, true);
  EXPECT_TRUE(l3Status_->urpfRoutingDisableDone());
  EXPECT_FALSE(l3Status_->urpfEnabled());
  helper_->urpfReadyIs(true);
  urpf_->enabledIs(false);
  urpf_->enabledIs(true);
  EXPECT_EQ(l3Status_->urpfRoutingDisable(), 1u);
  EXPECT_TRUE(helper_->urpfEnabled());
  EXPECT_TRUE(l3Status_->urpfEnabled());
  EXPECT_FALSE(l3Status_->urpfRoutingDisableDone());
  EXPECT_TRUE(def.status->routing6Enabled());
  EXPECT_TRUE(red.status->routingEnabled());
  EXPECT_TRUE(red.status->l3IntfHas(10));
  EXPECT_EQ(l3Status_->urpf4Status(vlan10).mode, Urpf::UrpfStatus::Mode::loose);

  // Switching uRPF off again is a new round.
  urpf_->enabledIs(false);
  EXPECT_EQ(l3Status_->urpfRoutingDisable(), 2u);
  EXPECT_FALSE(red.status->routingEnabled());
}

TEST_F(RoutingStatusSmTest, MplsAndStaticMulticastFollowTheirOwnSwitches) {
  Nollo::IntfId const vlan10("Vlan10");
  bind(vlan10, "default", {true, false, true});
  vrf("default", true);
  EXPECT_FALSE(l3Status_->vlanRoutingState(10).mpls);

  mpls_->mplsRoutingEnabledIs(true);
  EXPECT_TRUE(l3Status_->mplsRoutingEnabled());
  EXPECT_TRUE(l3Status_->vlanRoutingState(10).mpls);
  mpls_->mplsRoutingDisabledIntfIs(vlan10, true);
  EXPECT_FALSE(l3Status_->vlanRoutingState(10).mpls);

  mcast_->staticMulticastIntfIs(vlan10, true);
  EXPECT_FALSE(l3Status_->staticMulticastRoutingEnabled());  // no multicast routing on it
  ip_->intfRoutingIs(vlan10, Ip::IntfRouting{true, true, true});
  EXPECT_TRUE(l3Status_->staticMulticastRoutingEnabled());
  mcast_->staticMulticastIntfDel(vlan10);
  EXPECT_FALSE(l3Status_->staticMulticastRoutingEnabled());
}

TEST_F(RoutingStatusSmTest, InterfaceRoutingChangesRequestAVerificationThatFindsFaults) {
  acsd_->initializedIs(true);
  auto const& vd = acsd_->verifyData();
  Nollo::IntfId const vlan10("Vlan10");
  bind(vlan10, "red", {true, false, false});
  auto& red = vrf("red", true);
  loop_->runUntilIdle();
  EXPECT_EQ(vd->verify(), 1u);
  EXPECT_EQ(vd->verifyResult(), KorTypes::verifySuccess);

  red.status->l3IntfIs(99, true);
  ip_->primaryAddrIs(vlan10, Nollo::IpGenAddr("10.0.0.1"));  // an update, routing unchanged: no request
  loop_->runUntilIdle();
  EXPECT_EQ(vd->verify(), 1u);
  vd->doRequestVerify();
  loop_->runUntilIdle();
  EXPECT_EQ(vd->verifyResult(), KorTypes::verifyFail);
  EXPECT_NE(vd->verifyOutput().description().find("vlan 99"), std::string::npos);

  red.status->l3IntfDel(99);
  l3Status_->vlanRoutingStateDel(10);
  vd->doRequestVerify();
  loop_->runUntilIdle();
  EXPECT_NE(vd->verifyOutput().description().find("routing state of vlan 10"), std::string::npos);
}

TEST_F(RoutingStatusSmTest, MissingHelperIsFatal) {
  EXPECT_DEATH(
      {
        auto info = Vix::makePtr<Routing::RoutingInfo>("x");
        info->routingEnabledIs(true);
        auto sm = Vix::makePtr<RoutingStatusSm>(acsd_, VrfName("x"), info, info, l3Status_,
                                                l3Status_->newVrfL3Status(VrfName("x")), bridging_, mlag_, urpf_, ip_, ip6_,
                                                vlans_, nullptr);
        sm->initializedIs(true);
      },
      "statusHelper\\(\\)");
}

}  // namespace
