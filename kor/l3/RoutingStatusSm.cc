#include "kor/l3/RoutingStatusSm.h"

#include <type_traits>

#include "kor/common/KorAssert.h"

namespace Kor {

namespace {

template <class Af>
constexpr bool isV4 = std::is_same_v<Af, Nollo::Ipv4>;

}  // namespace

template <class Af>
class RoutingStatusSm::VixRoutingInfo : public Routing::RoutingInfo::Notifiee {
 public:
  VixRoutingInfo(Vix::Ptr<Routing::RoutingInfo const> const& info, RoutingStatusSm* sm)
      : Routing::RoutingInfo::Notifiee(info), sm_(sm) {}
  void handleRoutingEnabled() override {
    if constexpr (isV4<Af>) {
      sm_->handleRouting();
    } else {
      sm_->handleRouting6();
    }
  }

 private:
  RoutingStatusSm* sm_;
};

class RoutingStatusSm::VixBridgingConfig : public Bridging::Config::Notifiee {
 public:
  VixBridgingConfig(Vix::Ptr<Bridging::Config const> const& c, RoutingStatusSm* sm)
      : Bridging::Config::Notifiee(c), sm_(sm) {}
  void handleRouterMac() override { sm_->handleRouterMac(); }

 private:
  RoutingStatusSm* sm_;
};

class RoutingStatusSm::VixMlagStatus : public Mlag::Status::Notifiee {
 public:
  VixMlagStatus(Vix::Ptr<Mlag::Status const> const& s, RoutingStatusSm* sm) : Mlag::Status::Notifiee(s), sm_(sm) {}
  void handleActive() override { sm_->handlePeerMacRoutingEnabled(); }

 private:
  RoutingStatusSm* sm_;
};

class RoutingStatusSm::VixKorCommonSmData : public KorCommonSmData::Notifiee {
 public:
  VixKorCommonSmData(Vix::Ptr<KorCommonSmData const> const& d, RoutingStatusSm* sm)
      : KorCommonSmData::Notifiee(d), sm_(sm) {}
  void handleVirtualMac() override { sm_->handleVirtualRouterMac(); }
  void handlePeerRouterMac() override { sm_->handlePeerMacRoutingEnabled(); }
  void handleRedundancyMode() override { sm_->handleRedundancyMode(); }

 private:
  RoutingStatusSm* sm_;
};

class RoutingStatusSm::VixUrpfConfig : public Urpf::Config::Notifiee {
 public:
  VixUrpfConfig(Vix::Ptr<Urpf::Config const> const& c, RoutingStatusSm* sm) : Urpf::Config::Notifiee(c), sm_(sm) {}
  void handleEnabled() override { sm_->handleRedundancyMode(); }

 private:
  RoutingStatusSm* sm_;
};

class RoutingStatusSm::VixL3Status : public L3Status::Notifiee {
 public:
  VixL3Status(Vix::Ptr<L3Status const> const& s, RoutingStatusSm* sm) : L3Status::Notifiee(s), sm_(sm) {}
  void handleUrpfRoutingDisable() override { sm_->doUrpfRoutingDisable(); }
  void handleUrpfRoutingDisableDone() override { sm_->doUrpfHwInitStage2(); }
  void handleUrpfRoutingEnable() override { sm_->doUrpfRoutingEnable(); }

 private:
  RoutingStatusSm* sm_;
};

// One for each address family's interface status.
class RoutingStatusSm::VixIpStatus : public Ip::Status::Notifiee {
 public:
  VixIpStatus(Vix::Ptr<Ip::Status const> const& s, RoutingStatusSm* sm) : Ip::Status::Notifiee(s), sm_(sm) {}
  void handleCurrentVrf(Nollo::IntfId const& intf) override { sm_->handleVlanRouting(intf); }
  void handleIntfRouting(Nollo::IntfId const& intf) override { sm_->handleVlanRouting(intf); }

 private:
  RoutingStatusSm* sm_;
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
                                 Vix::Ptr<KorHelper::RoutingStatusSmHelper> const& statusHelper)
    : KorBaseSm(acsd, "KorRoutingStatusSm"), vrfName_(vrfName), routingInfo_(routingInfo),
      routing6Info_(routing6Info), l3Status_(l3Status), vrfL3Status_(vrfL3Status), bridgingConfig_(bridgingConfig),
      mlagStatus_(mlagStatus), urpfConfig_(urpfConfig), ipStatus_(ipStatus), ip6Status_(ip6Status),
      intfVlanIdTable_(intfVlanIdTable), statusHelper_(statusHelper) {}

RoutingStatusSm::~RoutingStatusSm() = default;

void RoutingStatusSm::handleInitialized() {
  KOR_TRACE_FUNC();
  if (!l3Status_) {
    korAssert("l3Status()");
    return;
  }
  if (routingInfo_) vixRoutingInfo_ = std::make_unique<VixRoutingInfo<Nollo::Ipv4>>(routingInfo_, this);
  if (routing6Info_) vixRouting6Info_ = std::make_unique<VixRoutingInfo<Nollo::Ipv6>>(routing6Info_, this);
  if (bridgingConfig_) vixBridgingConfig_ = std::make_unique<VixBridgingConfig>(bridgingConfig_, this);
  if (mlagStatus_) vixMlagStatus_ = std::make_unique<VixMlagStatus>(mlagStatus_, this);
  vixKorCommonSmData_ = std::make_unique<VixKorCommonSmData>(acsd(), this);
  if (urpfConfig_) vixUrpfConfig_ = std::make_unique<VixUrpfConfig>(urpfConfig_, this);
  vixL3Status_ = std::make_unique<VixL3Status>(l3Status_, this);
  if (ipStatus_) vixIpStatus_ = std::make_unique<VixIpStatus>(ipStatus_, this);
  if (ip6Status_) vixIp6Status_ = std::make_unique<VixIpStatus>(ip6Status_, this);
  handleRouting();
  handleRouting6();
  doVlanRoutingAll();
  handleRedundancyMode();
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
  bool const current = isV4<Af> ? vrfL3Status_->routingEnabled() : vrfL3Status_->routing6Enabled();
  if (current == enabled) {
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
  } else {
    KOR_TRACE(1, "Disabling routing");
    if constexpr (isV4<Af>) {
      if (l3Status_->waitForRoutingDisabledInVrfs()) {
        KOR_TRACE(5, "WaitForRoutingDisabled: " << true << ", Skip route review");
        vrfL3Status_->skipRouteReviewIs(true);
      }
      vrfL3Status_->routingEnabledIs(false);
    } else {
      if (l3Status_->waitForRouting6DisabledInVrfs()) {
        KOR_TRACE(5, "waitForRouting6Disabled: " << true << ", Skip route review");
        vrfL3Status_->skipRoute6ReviewIs(true);
      }
      vrfL3Status_->routing6EnabledIs(false);
    }
    handleHardwareRouting(l3Status_->routingEnabledInAnyVrf(), l3Status_->routing6EnabledInAnyVrf());
    handleRouterMac();
    handlePeerMacRoutingEnabled();
    handleVirtualRouterMac();
  }
  doVlanRoutingAll();
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
  if (v4 || v6) {
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
  bool const enabled = routing && mlagStatus_ && mlagStatus_->active();
  KOR_TRACE(5, __func__ << ", peerMacRoutingEnabled: " << enabled);
  statusHelper_->peerRouterMacIs(acsd()->peerRouterMac(), enabled);
}

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
  if (waitV4 || waitV6) {
    doUrpfHwInitStage2();
    return;
  }
  bool const routing = l3Status_->routingEnabledInAnyVrf() || l3Status_->routing6EnabledInAnyVrf();
  l3Status_->urpfRoutingDisableInc();
  if (!routing) {
    // Nothing had to be switched off: no route review will report back.
    l3Status_->urpfRoutingDisableDoneIs(true);
  }
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

void RoutingStatusSm::doVlanRoutingAll() {
  if (!initialized()) return;
  for (auto const* status : {ipStatus_.ptr(), ip6Status_.ptr()}) {
    if (!status) continue;
    for (auto const& [intf, vrf] : status->currentVrfMap()) {
      if (vrf == vrfName_.str()) handleVlanRouting(intf);
    }
  }
}

void RoutingStatusSm::handleVlanRouting(Nollo::IntfId const& intf) {
  if (!vrfL3Status_ || !l3Status_) return;
  std::string const v4Vrf = ipStatus_ ? ipStatus_->currentVrf(intf) : std::string();
  std::string const v6Vrf = ip6Status_ ? ip6Status_->currentVrf(intf) : std::string();
  bool const v4Here = v4Vrf == vrfName_.str();
  bool const v6Here = v6Vrf == vrfName_.str();
  // Bound to another VRF: that VRF's machine owns the VLAN's state.
  if (!v4Here && !v6Here && (!v4Vrf.empty() || !v6Vrf.empty())) return;
  bool const routing = v4Here ? ipStatus_->intfRouting(intf).routing : false;
  KOR_TRACE(5, __func__ << " (IpIntfStatus), vrf: " << vrfName_ << ", intf: " << intf << ", routing: " << routing);
  if (!intfVlanIdTable_ || !intfVlanIdTable_->vlanIdHas(intf)) {
    KOR_TRACE(5, "Ignoring IpIntfStatus for non-Vlan interface " << intf);
    return;
  }
  uint32_t const vlan = intfVlanIdTable_->vlanId(intf);
  Ip::IntfRouting const ip = v4Here ? ipStatus_->intfRouting(intf) : Ip::IntfRouting();
  Ip::IntfRouting const ip6 = v6Here ? ip6Status_->intfRouting(intf) : Ip::IntfRouting();
  RoutingState state;
  state.v4uc = vrfL3Status_->routingEnabled() && ip.routing;
  state.v6uc = vrfL3Status_->routing6Enabled() && ip6.routing;
  state.v4mc = ip.mcastRouting;
  state.mpls = ip.mplsRouting || ip6.mplsRouting;
  KOR_TRACE(5, "Routing State vlan " << vlan << ": " << state);
  if (state == l3Status_->vlanRoutingState(vlan)) return;
  if (state.any()) {
    l3Status_->vlanRoutingStateIs(vlan, state);
  } else {
    l3Status_->vlanRoutingStateDel(vlan);
  }
}

}  // namespace Kor
