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

 private:
  RoutingStatusSm* sm_;
};

RoutingStatusSm::RoutingStatusSm(Vix::Ptr<KorCommonSmData> const& acsd, VrfName const& vrfName,
                                 Vix::Ptr<Routing::RoutingInfo const> const& routingInfo,
                                 Vix::Ptr<Routing::RoutingInfo const> const& routing6Info,
                                 Vix::Ptr<L3Status> const& l3Status, Vix::Ptr<VrfL3Status> const& vrfL3Status,
                                 Vix::Ptr<Bridging::Config const> const& bridgingConfig,
                                 Vix::Ptr<Mlag::Status const> const& mlagStatus,
                                 Vix::Ptr<KorHelper::RoutingStatusSmHelper> const& statusHelper)
    : KorBaseSm(acsd, "KorRoutingStatusSm"), vrfName_(vrfName), routingInfo_(routingInfo),
      routing6Info_(routing6Info), l3Status_(l3Status), vrfL3Status_(vrfL3Status), bridgingConfig_(bridgingConfig),
      mlagStatus_(mlagStatus), statusHelper_(statusHelper) {}

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
  handleRouting();
  handleRouting6();
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

}  // namespace Kor
