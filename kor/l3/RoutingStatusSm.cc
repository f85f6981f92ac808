#include "kor/l3/RoutingStatusSm.h"

#include <algorithm>
#include <string>
#include <type_traits>

#include "kor/common/KorAssert.h"
#include "kor/l3/VixIpIntfStatusT.h"
#include "vix/Log.h"

namespace Kor {

VIX_LOG_EVENT(ROUTING_URPF_V4_OVERRIDE, 4, "IPv4 uRPF checks %s: IPv6 exact-match prefix lengths are %s",
              "The hardware keeps IPv6 routes of some prefix lengths in its exact-match table, which uses the "
              "resource IPv4 uRPF checks need; IPv4 uRPF is off on every interface while it does.",
              "Remove the IPv6 exact-match prefix lengths to check IPv4 traffic with uRPF again.", 0.0);

namespace {

template <class Af>
constexpr bool isV4 = std::is_same_v<Af, Nollo::Ipv4>;

bool urpfOn(Urpf::UrpfStatus const& s) { return s.mode != Urpf::UrpfStatus::Mode::disabled; }

}  // namespace

template <class Af>
class RoutingStatusSm::VixRoutingInfo : public Vix::NestedReactor<RoutingStatusSm, typename Routing::RoutingInfo::Notifiee> {
 public:
  void handleRoutingEnabled() override {
    if constexpr (isV4<Af>) {
      this->sm_->handleRouting();
    } else {
      this->sm_->handleRouting6();
    }
  }
};

// One for each address family's interface status.
template <class Af>
class RoutingStatusSm::VixIpStatus : public Vix::NestedReactor<RoutingStatusSm, typename Ip::Status::Notifiee> {
 public:
  void handleCurrentVrf(Nollo::IntfId const& intf) override { this->sm_->template handleIntfBinding<Af>(intf); }
  void handleIntfRouting(Nollo::IntfId const& intf) override { this->sm_->template handleIntfRouting<Af>(intf); }
  void handlePrimaryAddr(Nollo::IntfId const& intf) override { this->sm_->template handlePrimaryAddr<Af>(intf); }
};

class RoutingStatusSm::VixBridgingConfig : public Vix::NestedReactor<RoutingStatusSm, Bridging::Config::Notifiee> {
 public:
  void handleRouterMac() override { sm_->handleRouterMac(); }
  void handlePvlanSecondaries(uint16_t const& primary) override { sm_->handlePvlanConfig(primary); }
};

class RoutingStatusSm::VixMlagStatus : public Vix::NestedReactor<RoutingStatusSm, Mlag::Status::Notifiee> {
 public:
  void handleActive() override { sm_->handlePeerMacRoutingEnabled(); }
};

class RoutingStatusSm::VixKorCommonSmData : public Vix::NestedReactor<RoutingStatusSm, KorCommonSmData::Notifiee> {
 public:
  void handleVirtualMac() override { sm_->handleVirtualRouterMac(); }
  void handlePeerRouterMac() override { sm_->handlePeerMacRoutingEnabled(); }
  void handleRedundancyMode() override { sm_->handleRedundancyMode(); }
};

class RoutingStatusSm::VixUrpfConfig : public Vix::NestedReactor<RoutingStatusSm, Urpf::Config::Notifiee> {
 public:
  void handleEnabled() override { sm_->handleRedundancyMode(); }
  void handleIntfUrpf(Nollo::IntfId const& intf) override { sm_->handleUrpf(intf); }
  void handleIntfUrpf6(Nollo::IntfId const& intf) override { sm_->handleUrpf(intf); }
};

class RoutingStatusSm::VixL3Status : public Vix::NestedReactor<RoutingStatusSm, L3Status::Notifiee> {
 public:
  void handleUrpfRoutingDisable() override { sm_->doUrpfRoutingDisable(); }
  void handleUrpfRoutingDisableDone() override { sm_->doUrpfHwInitStage2(); }
  void handleUrpfRoutingEnable() override { sm_->doUrpfRoutingEnable(); }
  void handleWaitForRoutingDisabledRefCnt() override { sm_->handleRoutingDisabledRefCnt(); }
  void handleUrpfEnabled() override { sm_->doUrpfAll(); }
  void handleRemOverrideV4Urpf() override { sm_->handleUrpfOverride(); }
  void handleEgressRaclSharingOverrideV4Urpf() override { sm_->handleEgressRaclSharing(); }
};

class RoutingStatusSm::VixAllIntfStatusDir : public Vix::NestedReactor<RoutingStatusSm, Interface::AllIntfStatusDir::Notifiee> {
 public:
  void handleIntfStatus(Nollo::IntfId const& intf) override { sm_->handleIntf(intf); }
};

class RoutingStatusSm::VixIntfVlanIdTable : public Vix::NestedReactor<RoutingStatusSm, IntfVlanId::Table::Notifiee> {
 public:
  void handleVlanId(Nollo::IntfId const& intf) override { sm_->handleIntfVlanId(intf); }
};

class RoutingStatusSm::VixRoutingHwStatus : public Vix::NestedReactor<RoutingStatusSm, Routing::Hardware::Status::Notifiee> {
 public:
  void handlePrefixLenInExactMatch(Routing::RoutesInExactMatch const&) override { sm_->handleRoutesInExactMatch(); }
};

class RoutingStatusSm::VixMplsRoutingInfo : public Vix::NestedReactor<RoutingStatusSm, Mpls::RoutingInfo::Notifiee> {
 public:
  void handleMplsRoutingEnabled() override { sm_->handleGlobalMplsRouting(); }
  void handleMplsRoutingDisabledIntf(Nollo::IntfId const& intf) override { sm_->handleMplsRoutingDisabledIntf(intf); }
};

class RoutingStatusSm::VixStaticRouteConfig : public Vix::NestedReactor<RoutingStatusSm, Multicast::StaticRouteConfig::Notifiee> {
 public:
  void handleStaticMulticastIntf(Nollo::IntfId const& intf) override { sm_->handleStaticMulticastIntf(intf); }
};

RoutingStatusSm::RoutingStatusSm(Vix::Ptr<KorCommonSmData> const& acsd, VrfName const& vrfName,
                                 Vix::Ptr<Routing::RoutingInfo const> const& routingInfo,
                                 Vix::Ptr<Routing::RoutingInfo const> const& routing6Info,
                                 Vix::Ptr<L3Status> const& l3Status, Vix::Ptr<VrfL3Status> const& vrfL3Status,
                                 Vix::Ptr<Bridging::Config const> const& bridgingConfig,
                                 Vix::Ptr<Mlag::Status const> const& mlagStatus,
                                 Vix::Ptr<Urpf::Config const> const& urpfConfig,
                                 Vix::Ptr<Ip::Status const> const& ipStatus,
                                 Vix::Ptr<Ip::Status const> const& ip6Status,
                                 Vix::Ptr<IntfVlanId::Table const> const& intfVlanIdTable,
                                 Vix::Ptr<KorHelper::RoutingStatusSmHelper> const& statusHelper,
                                 Vix::Ptr<Interface::AllIntfStatusDir const> const& allIntfStatusDir,
                                 Vix::Ptr<Routing::Hardware::Status const> const& routingHwStatus,
                                 Vix::Ptr<Mpls::RoutingInfo const> const& mplsRoutingInfo,
                                 Vix::Ptr<Multicast::StaticRouteConfig const> const& staticMcastRouteConfig)
    : KorBaseSm(acsd, "KorRoutingStatusSm"), vrfName_(vrfName), routingInfo_(routingInfo),
      routing6Info_(routing6Info), l3Status_(l3Status), vrfL3Status_(vrfL3Status), bridgingConfig_(bridgingConfig),
      mlagStatus_(mlagStatus), urpfConfig_(urpfConfig), ipStatus_(ipStatus), ip6Status_(ip6Status),
      intfVlanIdTable_(intfVlanIdTable), statusHelper_(statusHelper), allIntfStatusDir_(allIntfStatusDir),
      routingHwStatus_(routingHwStatus), mplsRoutingInfo_(mplsRoutingInfo),
      staticMcastRouteConfig_(staticMcastRouteConfig) {}

// The VRF goes (or the library stops): what it wrote into the shared L3
// status for its interfaces goes with it - the VLAN routing state of the
// VLANs it routes on, the private-VLAN secondaries it carried that state
// to, and its interfaces' uRPF entries - so that a deleted VRF leaves
// nothing a later VRF or the platform could take for its own. A restarted
// library writes them again from its inputs.
RoutingStatusSm::~RoutingStatusSm() { doForgetVrfState(); }

void RoutingStatusSm::doForgetVrfState() {
  if (!l3Status_) return;
  for (auto const& [primary, secondaries] : pvlanCarried_) {
    for (uint16_t secondary : secondaries) {
      l3Status_->pvlanL3IntfDel(secondary);
      l3Status_->vlanRoutingStateDel(secondary);
    }
  }
  pvlanCarried_.clear();
  for (auto const& intf : intfs()) {
    if (!ownsIntf(intf)) continue;
    if (uint16_t const vlan = intfVlan(intf)) l3Status_->vlanRoutingStateDel(vlan);
    l3Status_->urpf4StatusDel(intf);
    l3Status_->urpf6StatusDel(intf);
    l3Status_->urpf6StatusUnresolvedDel(intf);
  }
}

RoutingStatusSm::VixIpIntfStatus const* RoutingStatusSm::ipIntfStatus(Nollo::IntfId const& intf) const {
  return intfStatus<Nollo::Ipv4>(intf);
}

RoutingStatusSm::VixIp6IntfStatus const* RoutingStatusSm::ip6IntfStatus(Nollo::IntfId const& intf) const {
  return intfStatus<Nollo::Ipv6>(intf);
}

void RoutingStatusSm::handleInitialized() {
  KOR_TRACE_FUNC();
  if (!l3Status_) {
    korAssert("l3Status()");
    return;
  }
  // The inputs are watched from the first pass on, once.
  if (!vixReactors_.size()) {
    vixReactors_.watch<VixRoutingInfo<Nollo::Ipv4>>(routingInfo_);
    vixReactors_.watch<VixRoutingInfo<Nollo::Ipv6>>(routing6Info_);
    vixReactors_.watch<VixBridgingConfig>(bridgingConfig_);
    vixReactors_.watch<VixMlagStatus>(mlagStatus_);
    vixReactors_.watch<VixKorCommonSmData>(acsd());
    vixReactors_.watch<VixUrpfConfig>(urpfConfig_);
    vixReactors_.watch<VixL3Status>(l3Status_);
    vixReactors_.watch<VixIpStatus<Nollo::Ipv4>>(ipStatus_);
    vixReactors_.watch<VixIpStatus<Nollo::Ipv6>>(ip6Status_);
    vixReactors_.watch<VixAllIntfStatusDir>(allIntfStatusDir_);
    vixReactors_.watch<VixIntfVlanIdTable>(intfVlanIdTable_);
    vixReactors_.watch<VixRoutingHwStatus>(routingHwStatus_);
    vixReactors_.watch<VixMplsRoutingInfo>(mplsRoutingInfo_);
    vixReactors_.watch<VixStaticRouteConfig>(staticMcastRouteConfig_);
  }
  handleRouting();
  handleRouting6();
  handleGlobalMplsRouting();
  handleRoutesInExactMatch();
  // The interfaces start after the VRF's routing flags are known, so each is
  // brought up once.
  for (auto const* status : {ipStatus_.ptr(), ip6Status_.ptr()}) {
    if (!status) continue;
    std::vector<Nollo::IntfId> bound;
    for (auto const& [intf, vrf] : status->currentVrfMap())
      if (vrf == vrfName_.str()) bound.push_back(intf);
    for (auto const& intf : bound) {
      if (status == ipStatus_.ptr()) {
        handleIntfBinding<Nollo::Ipv4>(intf);
      } else {
        handleIntfBinding<Nollo::Ipv6>(intf);
      }
    }
  }
  if (vrfName_.isDefault() && staticMcastRouteConfig_) {
    std::vector<Nollo::IntfId> listed;
    for (auto const& [intf, used] : staticMcastRouteConfig_->staticMulticastIntfMap()) listed.push_back(intf);
    for (auto const& intf : listed) handleStaticMulticastIntf(intf);
  }
  handleRedundancyMode();
  if (acsd()) acsd()->verifiableSmAdd(this);
}

void RoutingStatusSm::handleRouting() {
  doEnableRouting(routingInfo_ && routingInfo_->routingEnabled());
}

void RoutingStatusSm::handleRouting6() {
  doEnableRouting6(routing6Info_ && routing6Info_->routingEnabled());
}

void RoutingStatusSm::doEnableRouting(bool enabled) { doEnableRoutingAf<Nollo::Ipv4>(enabled); }

void RoutingStatusSm::doEnableRouting6(bool enabled) { doEnableRoutingAf<Nollo::Ipv6>(enabled); }

template <class Af>
void RoutingStatusSm::doEnableRoutingAf(bool enabled) {
  KOR_TRACE(1, __func__ << (isV4<Af> ? " v4" : " v6") << ", vrf: " << vrfName_ << ", enabled: " << enabled);
  if (!vrfL3Status_ || !l3Status_) return;
  if (routingOn<Af>() == enabled) {
    doUrpfAll();
    KOR_TRACE(5, "Routing is already set");
    return;
  }
  if (enabled) {
    KOR_TRACE(1, (isV4<Af> ? "Enabling global IPv4 routing" : "Enabling global IPv6 routing"));
    if constexpr (isV4<Af>) {
      vrfL3Status_->routingEnabledIs(true);
      l3Status_->numTimesRoutingEnabledInc();
    } else {
      vrfL3Status_->routing6EnabledIs(true);
      l3Status_->numTimesRouting6EnabledInc();
    }
    handleHardwareRouting(l3Status_->routingEnabledInAnyVrf(), l3Status_->routing6EnabledInAnyVrf());
    handleRouterMac();
    handlePeerMacRoutingEnabled();
    handleVirtualRouterMac();
    for (auto const& intf : intfs())
      if (auto* r = intfStatus<Af>(intf)) r->handleGlobalRouting(true);
  } else {
    KOR_TRACE(1, "Disabling routing");
    if constexpr (isV4<Af>) {
      if (l3Status_->waitForRoutingDisabledInVrfs()) {
        KOR_TRACE(5, "WaitForRoutingDisabled: " << true << ", Skip route review");
        vrfL3Status_->skipRouteReviewIs(true);
      }
    } else {
      if (l3Status_->waitForRouting6DisabledInVrfs()) {
        KOR_TRACE(5, "waitForRouting6Disabled: " << true << ", Skip route review");
        vrfL3Status_->skipRoute6ReviewIs(true);
      }
    }
    // The interfaces stop routing before the VRF does, so nothing points at a
    // VRF that no longer routes.
    for (auto const& intf : intfs())
      if (auto* r = intfStatus<Af>(intf)) r->handleGlobalRouting(false);
    if constexpr (isV4<Af>) {
      vrfL3Status_->routingEnabledIs(false);
    } else {
      vrfL3Status_->routing6EnabledIs(false);
    }
    handleHardwareRouting(l3Status_->routingEnabledInAnyVrf(), l3Status_->routing6EnabledInAnyVrf());
    handleRouterMac();
    handlePeerMacRoutingEnabled();
    handleVirtualRouterMac();
  }
}

void RoutingStatusSm::handleHardwareRouting(bool v4, bool v6) {
  KOR_TRACE(5, __func__ << ", v4 enable/need: " << v4 << "/" << l3Status_->hardwareRoutingEnabledRefCount()
                        << ", v6 enable/need: " << v6 << "/" << l3Status_->hardwareRouting6EnabledRefCount());
  l3Status_->hardwareV4RoutingEnabledIs(v4);
  l3Status_->hardwareV6RoutingEnabledIs(v6);
}

void RoutingStatusSm::handleRouterMac() {
  if (!statusHelper_) {
    korAssert("statusHelper()");
    return;
  }
  if (!vrfL3Status_) return;
  Nollo::EthAddr const mac = bridgingConfig_ ? bridgingConfig_->routerMac() : Nollo::EthAddr();
  bool const v4 = vrfL3Status_->routingEnabled();
  bool const v6 = vrfL3Status_->routing6Enabled();
  KOR_TRACE(5, __func__ << ", mac: " << mac << " v4 routing:" << v4 << " v6 routing: " << v6);
  // All zeros is no router MAC: a chip given it would route every frame
  // sent to an unset address. Kept unprogrammed until one is configured.
  bool const none = mac == Nollo::EthAddr();
  if ((v4 || v6) && none) {
    KOR_TRACE(1, "No router mac configured, router mac not programmed");
    if (l3Status_->hardwareRouterMacProgrammed()) {
      l3Status_->routerMacIs(Nollo::EthAddr());
      l3Status_->hardwareRouterMacProgrammedIs(false);
      statusHelper_->routerMacIs(l3Status_->routerMac(), false);
    }
  } else if (v4 || v6) {
    l3Status_->routerMacIs(mac);
    l3Status_->hardwareRouterMacProgrammedIs(true);
    statusHelper_->routerMacIs(mac, true);
    KOR_TRACE(5, "Router mac programmed");
  } else if (l3Status_->routingEnabledInAnyVrf() || l3Status_->routing6EnabledInAnyVrf()) {
    KOR_TRACE(5, " Routing enabled in some other vrf");
  } else {
    l3Status_->routerMacIs(Nollo::EthAddr());
    l3Status_->hardwareRouterMacProgrammedIs(false);
    statusHelper_->routerMacIs(mac, false);
    KOR_TRACE(5, "Router mac unprogrammed");
  }
}

void RoutingStatusSm::handleVirtualRouterMac() {
  if (!statusHelper_) {
    korAssert("statusHelper()");
    return;
  }
  bool const enabled = l3Status_->routingEnabledInDefaultVrf() || l3Status_->routing6EnabledInDefaultVrf();
  KOR_TRACE(5, __func__ << ", mac: " << acsd()->virtualMac() << ", enabled: " << enabled);
  statusHelper_->virtualRouterMacIs(acsd()->virtualMac(), enabled);
}

void RoutingStatusSm::handlePeerMacRoutingEnabled() {
  if (!statusHelper_) {
    korAssert("statusHelper()");
    return;
  }
  bool const routing = l3Status_->routingEnabledInAnyVrf() || l3Status_->routing6EnabledInAnyVrf();
  // A peer whose MAC is not known yet (all zeros) gets nothing programmed.
  bool const enabled = routing && mlagStatus_ && mlagStatus_->active() && !acsd()->peerRouterMac().isZero();
  KOR_TRACE(5, __func__ << ", peerMacRoutingEnabled: " << enabled);
  statusHelper_->peerRouterMacIs(acsd()->peerRouterMac(), enabled);
}

// ---------------------------------------------------------------------------
// uRPF: the switch-wide start (default VRF) and the per-interface modes.

void RoutingStatusSm::handleRedundancyMode() {
  if (!vrfName_.isDefault() || !urpfConfig_) return;
  if (acsd()->redundancyMode() != Redundancy::modeActive) {
    KOR_TRACE(5, "Not in active mode, returning");
    return;
  }
  doUrpfHwInitStage1();
}

void RoutingStatusSm::doUrpfHwInitStage1() {
  if (!statusHelper_) {
    korAssert("statusHelper()");
    return;
  }
  bool const wanted = urpfConfig_->enabled();
  KOR_TRACE(1, __func__ << ", urfp v4: " << wanted << ", urpf v6: " << wanted);
  if (l3Status_->urpfEnabled() == wanted) {
    KOR_TRACE(5, "Urpf already set: " << wanted);
    return;
  }
  if (!statusHelper_->urpfTwoStageInitRequired()) {
    KOR_TRACE(5, "Two stage init not required for this platform");
    if (!statusHelper_->urpfEnabledIs(wanted)) {
      KOR_TRACE(1, "StatusHelper not ready");
      return;
    }
    KOR_TRACE(5, "StatusHelper OK");
    l3Status_->urpfEnabledIs(wanted);
    return;
  }
  bool const waitV4 = l3Status_->waitForRoutingDisabledInVrfs();
  bool const waitV6 = l3Status_->waitForRouting6DisabledInVrfs();
  KOR_TRACE(5, "WaitForRoutingDisabled v4: " << waitV4 << ", waitForRoutingDisabled v6: " << waitV6);
  KOR_TRACE(5, "UrpfRoutingDisableDone: " << l3Status_->urpfRoutingDisableDone()
                                          << ", urpfRoutingDisable: " << l3Status_->urpfRoutingDisable());
  // A switch already under way picks the wanted state up in its stage 2,
  // which is retried here when the helper was not ready for it.
  if (waitV4 || waitV6 || urpfDisableWaiting_ || l3Status_->urpfRoutingDisableDone()) {
    doUrpfHwInitStage2();
    return;
  }
  // Both route machines of every VRF asked count themselves once in
  // waitForRoutingDisabledRefCnt when their routing is fully off (at once
  // when it already is).
  uint32_t const expected = 2 * uint32_t(l3Status_->vrfL3StatusSize());
  urpfDisableBase_ = l3Status_->waitForRoutingDisabledRefCnt();
  urpfDisableExpected_ = expected;
  urpfDisableWaiting_ = expected != 0;
  l3Status_->urpfRoutingDisableInc();
  if (!expected) {
    // No VRF: no route machine will report.
    l3Status_->urpfRoutingDisableDoneIs(true);
  }
}

void RoutingStatusSm::handleRoutingDisabledRefCnt() {
  if (!vrfName_.isDefault() || !urpfDisableWaiting_) return;
  uint32_t const reported = l3Status_->waitForRoutingDisabledRefCnt() - urpfDisableBase_;
  KOR_TRACE(5, __func__ << ", routing disabled by " << reported << " of " << urpfDisableExpected_
                        << " route machines");
  if (reported < urpfDisableExpected_) return;
  urpfDisableWaiting_ = false;
  l3Status_->urpfRoutingDisableDoneIs(true);
}

void RoutingStatusSm::doUrpfHwInitStage2() {
  if (!vrfName_.isDefault() || !urpfConfig_ || !l3Status_->urpfRoutingDisableDone()) return;
  if (!statusHelper_) {
    korAssert("statusHelper()");
    return;
  }
  if (l3Status_->routingEnabledInAnyVrf() || l3Status_->routing6EnabledInAnyVrf()) {
    KOR_TRACE(1, "Urpf setting not modified (routing still enabled). RefCount:"
                     << l3Status_->waitForRoutingDisabledRefCnt());
    return;
  }
  bool const wanted = urpfConfig_->enabled();
  if (!statusHelper_->urpfEnabledIs(wanted)) {
    KOR_TRACE(1, "StatusHelper not ready");
    return;
  }
  KOR_TRACE(5, "StatusHelper OK");
  urpfDisableWaiting_ = false;
  l3Status_->urpf4StatusDelAll();
  l3Status_->urpf6StatusDelAll();
  l3Status_->urpf6StatusUnresolvedDelAll();
  l3Status_->urpfRoutingDisableDoneIs(false);
  l3Status_->urpfEnabledIs(wanted);
  l3Status_->urpfRoutingEnableInc();
}

void RoutingStatusSm::doUrpfRoutingDisable() {
  if (!vrfL3Status_) return;
  bool const v4 = vrfL3Status_->routingEnabled();
  bool const v6 = vrfL3Status_->routing6Enabled();
  KOR_TRACE(1, __func__ << " routingEnabledInAnyVrf: " << l3Status_->routingEnabledInAnyVrf()
                        << " waitForRoutingDisabled: " << vrfL3Status_->waitForRoutingDisabled()
                        << " routingEnabledInVrf: " << v4 << " urpfEnabled: " << l3Status_->urpfEnabled());
  vrfL3Status_->waitForRoutingDisabledIs(true);
  vrfL3Status_->waitForRouting6DisabledIs(true);
  if (v4) {
    KOR_TRACE(5, "Disabling v4 routing in vrf " << vrfName_);
    doEnableRouting(false);
    l3Status_->unicastReviewPendingInc();
  }
  if (v6) {
    KOR_TRACE(5, " disable routing6 in vrf " << vrfName_);
    doEnableRouting6(false);
    l3Status_->unicast6ReviewPendingInc();
  }
  if (l3Status_->multicastRoutingEnabled()) {
    KOR_TRACE(5, "Disabling multicast routing");
    l3Status_->mrouteZombieEnabledIs(true);
  }
  if (!v4 && !v6 && !l3Status_->routingEnabledInAnyVrf() && !l3Status_->routing6EnabledInAnyVrf()) {
    KOR_TRACE(5, "Routing already disabled in all vrfs");
  }
}

void RoutingStatusSm::doUrpfRoutingEnable() {
  if (!vrfL3Status_) return;
  KOR_TRACE(1, __func__ << ", vrf: " << vrfName_);
  vrfL3Status_->waitForRoutingDisabledIs(false);
  vrfL3Status_->waitForRouting6DisabledIs(false);
  vrfL3Status_->skipRouteReviewIs(false);
  vrfL3Status_->skipRoute6ReviewIs(false);
  handleRouting();
  handleRouting6();
}

void RoutingStatusSm::doUrpfAll() {
  for (auto const& intf : intfs()) handleUrpf(intf);
}

void RoutingStatusSm::handleUrpfOverride() {
  KOR_TRACE(5, __func__ << ", remOverrideV4Urpf: " << l3Status_->remOverrideV4Urpf());
  doUrpfAll();
}

void RoutingStatusSm::handleEgressRaclSharing() {
  KOR_TRACE(5, __func__ << ", egressRaclSharingOverrideV4Urpf: " << l3Status_->egressRaclSharingOverrideV4Urpf());
  doUrpfAll();
}

void RoutingStatusSm::handleUrpf(Nollo::IntfId const& intf) {
  auto const* r4 = intfStatus<Nollo::Ipv4>(intf);
  auto const* r6 = intfStatus<Nollo::Ipv6>(intf);
  // Interfaces that were never bound here are another VRF's.
  if (!r4 && !r6 && !l3Status_->urpf4StatusHas(intf) && !l3Status_->urpf6StatusHas(intf) &&
      !l3Status_->urpf6StatusUnresolvedHas(intf))
    return;
  Urpf::UrpfStatus const v4 = urpfConfig_ ? urpfConfig_->intfUrpf(intf) : Urpf::UrpfStatus();
  Urpf::UrpfStatus const v6 = urpfConfig_ ? urpfConfig_->intfUrpf6(intf) : Urpf::UrpfStatus();
  KOR_TRACE(5, __func__ << ", intf: " << intf << ", Urpf v4: " << v4 << ", urpf v6: " << v6);
  if (!ownsIntf(intf)) return;
  if (!l3Status_->urpfEnabled()) {
    KOR_TRACE(5, "Urpf not enabled");
    doUrpfWrite(intf, {}, {}, {});
    return;
  }
  if (!intfVlan(intf)) {
    KOR_TRACE(5, "Unable to get vlan for " << intf);
    doUrpfWrite(intf, {}, {}, {});
    return;
  }
  handleUrpfConflict(intf);
}

void RoutingStatusSm::handleUrpfConflict(Nollo::IntfId const& intf) {
  auto const* r4 = intfStatus<Nollo::Ipv4>(intf);
  auto const* r6 = intfStatus<Nollo::Ipv6>(intf);
  Urpf::UrpfStatus v4, v6, v6Unresolved;
  if (urpfConfig_ && r4 && r4->routing()) v4 = urpfConfig_->intfUrpf(intf);
  if (urpfConfig_ && r6 && r6->routing()) v6 = urpfConfig_->intfUrpf6(intf);
  bool const remOverride = l3Status_->remOverrideV4Urpf();
  bool const raclOverride = l3Status_->egressRaclSharingOverrideV4Urpf();
  KOR_TRACE(5, __func__ << ", intf: " << intf << " remOverrideV4Urpf " << remOverride
                        << " egressRaclSharingOverrideV4Urpf " << raclOverride);
  if (remOverride || raclOverride) v4 = Urpf::UrpfStatus();
  if (urpfOn(v4) && urpfOn(v6) && statusHelper_ && statusHelper_->urpfModesConflict(v4, v6)) {
    KOR_TRACE(1, "V4/V6 uRPF conflict");
    v6Unresolved = v6;
    v6 = Urpf::UrpfStatus();
  }
  KOR_TRACE(5, "Curr.urpf4: " << l3Status_->urpf4Status(intf) << ", new urpf4: " << v4
                              << ", curr.urpf6: " << l3Status_->urpf6Status(intf) << ", new urpf6: " << v6);
  doUrpfWrite(intf, v4, v6, v6Unresolved);
}

void RoutingStatusSm::doUrpfWrite(Nollo::IntfId const& intf, Urpf::UrpfStatus const& v4,
                                  Urpf::UrpfStatus const& v6, Urpf::UrpfStatus const& v6Unresolved) {
  if (urpfOn(v4)) {
    l3Status_->urpf4StatusIs(intf, v4);
  } else {
    l3Status_->urpf4StatusDel(intf);
  }
  if (urpfOn(v6)) {
    l3Status_->urpf6StatusIs(intf, v6);
  } else {
    l3Status_->urpf6StatusDel(intf);
  }
  if (urpfOn(v6Unresolved)) {
    l3Status_->urpf6StatusUnresolvedIs(intf, v6Unresolved);
  } else {
    l3Status_->urpf6StatusUnresolvedDel(intf);
  }
}

// ---------------------------------------------------------------------------
// Switch-wide flags the default VRF's machine derives.

void RoutingStatusSm::handleRoutesInExactMatch() {
  if (!vrfName_.isDefault() || !routingHwStatus_) return;
  auto const& lengths = routingHwStatus_->prefixLenInExactMatchMap();
  KOR_TRACE(5, __func__ << ": prefixLenSupportedInExactMatchs " << lengths.size());
  bool remConfigured = false;
  for (auto const& [len, enabled] : lengths) {
    KOR_TRACE(9, "prefix len " << len << " enabled? " << enabled);
    remConfigured = remConfigured || enabled;
  }
  bool const changed = remConfigured != l3Status_->remOverrideV4Urpf();
  KOR_TRACE(5, __func__ << ": remConfigured " << remConfigured << " changed " << changed);
  if (!changed) return;
  l3Status_->remOverrideV4UrpfIs(remConfigured);
  doLogRemOverrideV4Urpf();
}

void RoutingStatusSm::doLogRemOverrideV4Urpf() {
  bool const on = l3Status_->remOverrideV4Urpf();
  KOR_TRACE(1, __func__ << ", remOverrideV4Urpf: " << on);
  ROUTING_URPF_V4_OVERRIDE.raise(acsd()->activityLoop()->now(), on ? "disabled" : "restored",
                                 on ? "in use" : "no longer in use");
}

void RoutingStatusSm::handleStaticMulticastIntf(Nollo::IntfId const& intf) {
  if (!vrfName_.isDefault() || !staticMcastRouteConfig_) return;
  bool const on =
      staticMcastRouteConfig_->staticMulticastIntf(intf) && ipStatus_ && ipStatus_->intfRouting(intf).mcastRouting;
  KOR_TRACE(5, __func__ << ", intf: " << intf << ", multicast routing: " << on);
  if (on) {
    staticMcastIntf_.try_emplace(intf, true);
  } else {
    staticMcastIntf_.erase(intf);
  }
  l3Status_->staticMulticastRoutingEnabledIs(!staticMcastIntf_.empty());
}

void RoutingStatusSm::handleGlobalMplsRouting() {
  if (!mplsRoutingInfo_) return;
  KOR_TRACE(5, __func__ << ", vrf: " << vrfName_ << ", enabled: " << mplsRoutingInfo_->mplsRoutingEnabled());
  l3Status_->mplsRoutingEnabledIs(mplsRoutingInfo_->mplsRoutingEnabled());
  doVlanRoutingAll();
}

void RoutingStatusSm::handleMplsRoutingDisabledIntf(Nollo::IntfId const& intf) {
  KOR_TRACE(5, __func__ << ", intf: " << intf);
  handleVlanRouting(intf);
}

// ---------------------------------------------------------------------------
// Interfaces.

template <class Af>
void RoutingStatusSm::handleIntfBinding(Nollo::IntfId const& intf) {
  Ip::Status const* status = ipStatusOf<Af>();
  auto const& vrfs = status->currentVrfMap();
  auto bound = vrfs.find(intf);
  bool const here = bound != vrfs.end() && bound->second == vrfName_.str();
  auto& m = intfMap<Af>();
  auto it = m.find(intf);
  if (here && it == m.end()) {
    KOR_TRACE(5, __func__ << (isV4<Af> ? " v4" : " v6") << ", vrf: " << vrfName_ << ", add intf: " << intf);
    auto r = std::make_unique<VixIpIntfStatusT<Af>>(this, intf, intfVlan(intf));
    if (allIntfStatusDir_) r->intfStatusIs(allIntfStatusDir_->intfStatus(intf));
    auto* p = r.get();
    m.try_emplace(intf, std::move(r));
    p->handleInitialized();
  } else if (!here && it != m.end()) {
    KOR_TRACE(5, __func__ << (isV4<Af> ? " v4" : " v6") << ", vrf: " << vrfName_ << ", remove intf: " << intf);
    std::unique_ptr<VixIpIntfStatusT<Af>> r = std::move(it->second);
    m.erase(intf);
    r->doRoutingCleanup();
  }
}

template <class Af>
void RoutingStatusSm::handleIntfRouting(Nollo::IntfId const& intf) {
  if (auto* r = intfStatus<Af>(intf)) r->handleGlobalRouting(routingOn<Af>());
  if constexpr (isV4<Af>) handleStaticMulticastIntf(intf);
}

template <class Af>
void RoutingStatusSm::handlePrimaryAddr(Nollo::IntfId const& intf) {
  if (auto* r = intfStatus<Af>(intf)) r->handleRouting(r->routing());
}

void RoutingStatusSm::handleIntf(Nollo::IntfId const& intf) {
  auto* r4 = intfStatus<Nollo::Ipv4>(intf);
  auto* r6 = intfStatus<Nollo::Ipv6>(intf);
  if (!r4 && !r6) return;
  Interface::IntfStatus const s = allIntfStatusDir_ ? allIntfStatusDir_->intfStatus(intf) : Interface::IntfStatus();
  KOR_TRACE(5, __func__ << ", intf: " << intf << ", status: " << s);
  if (r4) r4->intfStatusIs(s);
  if (r6) r6->intfStatusIs(s);
  handleVlanRouting(intf);
}

void RoutingStatusSm::handleIntfVlanId(Nollo::IntfId const& intf) {
  if (!intfStatus<Nollo::Ipv4>(intf) && !intfStatus<Nollo::Ipv6>(intf)) return;
  KOR_TRACE(5, __func__ << ", intf: " << intf << ", vlan: "
                        << (intfVlanIdTable_ ? intfVlanIdTable_->vlanId(intf) : uint16_t(0)));
  handleVlanRouting(intf);
}

void RoutingStatusSm::handleVlanRouting(Nollo::IntfId const& intf) {
  if (auto* r = intfStatus<Nollo::Ipv4>(intf)) r->handleVlanRouting(r->routing());
  if (auto* r = intfStatus<Nollo::Ipv6>(intf)) r->handleVlanRouting(r->routing());
}

void RoutingStatusSm::doVlanRoutingAll() {
  if (!initialized()) return;
  for (auto const& intf : intfs()) handleVlanRouting(intf);
}

std::vector<Nollo::IntfId> RoutingStatusSm::intfs() const {
  std::vector<Nollo::IntfId> all;
  all.reserve(ipIntfStatus_.size() + ip6IntfStatus_.size());
  for (auto const& [intf, r] : ipIntfStatus_) all.push_back(intf);
  for (auto const& [intf, r] : ip6IntfStatus_)
    if (!ipIntfStatus_.contains(intf)) all.push_back(intf);
  return all;
}

bool RoutingStatusSm::ownsIntf(Nollo::IntfId const& intf) const {
  for (auto const* status : {ipStatus_.ptr(), ip6Status_.ptr()}) {
    if (!status) continue;
    auto const& vrfs = status->currentVrfMap();
    auto it = vrfs.find(intf);
    if (it != vrfs.end() && !it->second.empty() && it->second != vrfName_.str()) return false;
  }
  return true;
}

uint16_t RoutingStatusSm::intfVlan(Nollo::IntfId const& intf) const {
  if (auto const* r = intfStatus<Nollo::Ipv4>(intf)) return r->vlan();
  if (auto const* r = intfStatus<Nollo::Ipv6>(intf)) return r->vlan();
  return 0;
}

void RoutingStatusSm::doIntfVlan(Nollo::IntfId const& intf) {
  auto* r4 = intfStatus<Nollo::Ipv4>(intf);
  auto* r6 = intfStatus<Nollo::Ipv6>(intf);
  if (!r4 && !r6) return;
  Interface::IntfStatus const& status = r4 ? r4->intfStatus() : r6->intfStatus();
  uint16_t vlan = 0;
  if (intf.kind() == Nollo::IntfId::Kind::vlan) {
    vlan = uint16_t(intf.number(0));
  } else if (!status.routedPort) {
    KOR_TRACE(5, "Not a routed port");
    KOR_TRACE(5, "Ignoring IpIntfStatus for non-Vlan interface " << intf);
  } else {
    KOR_TRACE(5, "Routed port");
    if (intfVlanIdTable_) vlan = intfVlanIdTable_->vlanId(intf);
  }
  uint16_t const old = intfVlan(intf);
  if (vlan == old) return;
  KOR_TRACE(5, __func__ << ", intf: " << intf << ", vlan: " << old << " -> " << vlan);
  if (r4) r4->vlanIs(vlan);
  if (r6) r6->vlanIs(vlan);
  if (old) doVlanDetached(intf, old);
  if (vlan) vlanIntf_.insert_or_assign(vlan, intf);
  // uRPF needs the interface's VLAN.
  handleUrpf(intf);
}

void RoutingStatusSm::doVlanDetached(Nollo::IntfId const& intf, uint16_t vlan) {
  if (intfVlan(intf) != vlan) {
    auto it = vlanIntf_.find(vlan);
    if (it != vlanIntf_.end() && it->second == intf) vlanIntf_.erase(vlan);
  }
  doL3Intf(intf, vlan);
  doVlanRoutingState(intf, vlan);
  if (!ownsIntf(intf)) pvlanCarried_.erase(vlan);
}

RoutingState RoutingStatusSm::vlanRoutingState(Nollo::IntfId const& intf, uint16_t vlan) const {
  RoutingState state;
  bool mpls = false;
  if (auto const* r = intfStatus<Nollo::Ipv4>(intf); r && r->vlan() == vlan) {
    Ip::IntfRouting const ip = ipStatus_->intfRouting(intf);
    state.v4uc = r->routing();
    state.v4mc = ip.mcastRouting;
    mpls = ip.mplsRouting;
  }
  if (auto const* r = intfStatus<Nollo::Ipv6>(intf); r && r->vlan() == vlan) {
    state.v6uc = r->routing();
    mpls = mpls || ip6Status_->intfRouting(intf).mplsRouting;
  }
  state.mpls = mpls && (!mplsRoutingInfo_ || (mplsRoutingInfo_->mplsRoutingEnabled() &&
                                              !mplsRoutingInfo_->mplsRoutingDisabledIntf(intf)));
  return state;
}

void RoutingStatusSm::doL3Intf(Nollo::IntfId const& intf, uint16_t vlan) {
  if (!vrfL3Status_) return;
  auto const* r4 = intfStatus<Nollo::Ipv4>(intf);
  auto const* r6 = intfStatus<Nollo::Ipv6>(intf);
  bool const routed = (r4 && r4->vlan() == vlan && r4->routing()) || (r6 && r6->vlan() == vlan && r6->routing());
  if (routed) {
    vrfL3Status_->l3IntfIs(vlan, true);
  } else {
    vrfL3Status_->l3IntfDel(vlan);
  }
}

void RoutingStatusSm::doVlanRoutingState(Nollo::IntfId const& intf, uint16_t vlan) {
  RoutingState const state = vlanRoutingState(intf, vlan);
  KOR_TRACE(5, "Routing State vlan " << vlan << ": " << state);
  if (!ownsIntf(intf)) return;
  if (state == l3Status_->vlanRoutingState(vlan)) return;
  if (state.any()) {
    l3Status_->vlanRoutingStateIs(vlan, state);
  } else {
    l3Status_->vlanRoutingStateDel(vlan);
  }
  doPvlanCarry(vlan, intf, state);
}

void RoutingStatusSm::handlePvlanConfig(uint16_t primary) {
  auto it = vlanIntf_.find(primary);
  if (it == vlanIntf_.end()) return;
  Nollo::IntfId const intf = it->second;
  KOR_TRACE(5, __func__ << ", primary: " << primary << ", intf: " << intf);
  if (!ownsIntf(intf)) return;
  doPvlanCarry(primary, intf, l3Status_->vlanRoutingState(primary));
}

void RoutingStatusSm::doPvlanCarry(uint16_t primary, Nollo::IntfId const& intf, RoutingState const& state) {
  static std::vector<uint16_t> const none;
  std::vector<uint16_t> const* wanted = &none;
  if (state.any() && bridgingConfig_) {
    auto const& config = bridgingConfig_->pvlanSecondariesMap();
    if (auto it = config.find(primary); it != config.end()) wanted = &it->second;
  }
  auto carried = pvlanCarried_.find(primary);
  if (wanted->empty() && carried == pvlanCarried_.end()) return;
  if (carried != pvlanCarried_.end()) {
    for (uint16_t secondary : carried->second)
      if (std::find(wanted->begin(), wanted->end(), secondary) == wanted->end())
        handlePvlan(primary, secondary, intf, false, state);
  }
  for (uint16_t secondary : *wanted) handlePvlan(primary, secondary, intf, true, state);
  if (wanted->empty()) {
    pvlanCarried_.erase(primary);
  } else {
    pvlanCarried_.insert_or_assign(primary, *wanted);
  }
}

void RoutingStatusSm::handlePvlan(uint16_t primary, uint16_t secondary, Nollo::IntfId const& intf, bool add,
                                  RoutingState const& state) {
  KOR_TRACE(5, __func__ << ", primary: " << primary << ", secondary: " << secondary << ", intf: " << intf
                        << ", add: " << add << ", state: " << state);
  if (add && state.any()) {
    l3Status_->pvlanL3IntfIs(secondary, true);
    l3Status_->vlanRoutingStateIs(secondary, state);
  } else {
    l3Status_->pvlanL3IntfDel(secondary);
    l3Status_->vlanRoutingStateDel(secondary);
  }
}

// ---------------------------------------------------------------------------
// Self-verification.

void RoutingStatusSm::doRequestVerify() {
  if (!acsd()) return;
  if (auto const& vd = acsd()->verifyData()) vd->doRequestVerify();
}

void RoutingStatusSm::handleVerify() {
  if (!vrfL3Status_ || !l3Status_) return;
  std::string faults;
  auto fault = [&faults](std::string const& what) {
    if (!faults.empty()) faults += "; ";
    faults += what;
  };
  for (auto const& intf : intfs()) {
    uint16_t const vlan = intfVlan(intf);
    if (!vlan) continue;
    auto const* r4 = intfStatus<Nollo::Ipv4>(intf);
    auto const* r6 = intfStatus<Nollo::Ipv6>(intf);
    bool const routed = (r4 && r4->routing()) || (r6 && r6->routing());
    if (routed != vrfL3Status_->l3IntfHas(vlan))
      fault(intf.str() + " routes " + (routed ? "" : "not ") + "but l3Intf of vlan " + std::to_string(vlan) +
            (routed ? " is missing" : " is set"));
    if (ownsIntf(intf) && !(vlanRoutingState(intf, vlan) == l3Status_->vlanRoutingState(vlan)))
      fault("routing state of vlan " + std::to_string(vlan) + " differs from " + intf.str());
  }
  for (auto const& [vlan, on] : vrfL3Status_->l3IntfMap())
    if (!vlanIntf_.contains(uint16_t(vlan))) fault("l3Intf holds vlan " + std::to_string(vlan) + " of no interface");
  if (faults.empty()) {
    KOR_VERIFY_REPORT(KorTypes::verifySuccess, "vrf " + vrfName_.str() + " routing status consistent");
  } else {
    KOR_VERIFY_REPORT(KorTypes::verifyFail, "vrf " + vrfName_.str() + ": " + faults);
  }
}

}  // namespace Kor
