#pragma once
// The routing status machine of one VRF (trace "KorRoutingStatusSm"), created
// and owned by the VRF's VrfRoot. It follows the VRF's IPv4 and IPv6 routing
// information into VrfL3Status::routingEnabled / routing6Enabled and keeps
// the switch-wide results in L3Status: the hardware routing flags (on while
// routing is on in any VRF), the router MAC (programmed while this or any
// other VRF routes), and, through the platform helper, the virtual router
// MAC (while the default VRF routes) and the MLAG peer's router MAC (while
// MLAG is active and any VRF routes). It also keeps the routing state of
// each VLAN interface bound to the VRF in L3Status::vlanRoutingState,
// written only when it changes (an all-off state is no entry). Every machine recomputes the
// switch-wide state from L3Status, so the last VRF to change decides it.
// The default VRF's machine also brings uRPF into its configured state once
// the redundancy mode is active: in one step where the platform allows it,
// otherwise in two stages (every VRF's machine switches routing off on
// L3Status::urpfRoutingDisable; when the route side reports
// urpfRoutingDisableDone the hardware is switched and urpfRoutingEnable
// turns routing back on everywhere).
#include "kor/common/KorBaseSm.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/common/VrfName.h"
#include "kor/helpers/RoutingStatusSmHelper.h"
#include "kor/l3/L3Status.h"
#include "kor/l3/VrfL3Status.h"
#include "models/bridging/Config.h"
#include "models/ip/IntfVlanIdTable.h"
#include "models/ip/Status.h"
#include "models/mlag/Status.h"
#include "models/routing/RoutingInfo.h"
#include "models/urpf/Config.h"
#include "nollo/Ipv4.h"
#include "nollo/Ipv6.h"

namespace Kor {

class KOR_EXPORT RoutingStatusSm : public KorBaseSm {
 public:
  RoutingStatusSm(Vix::Ptr<KorCommonSmData> const& acsd, VrfName const& vrfName,
                  Vix::Ptr<Routing::RoutingInfo const> const& routingInfo,
                  Vix::Ptr<Routing::RoutingInfo const> const& routing6Info, Vix::Ptr<L3Status> const& l3Status,
                  Vix::Ptr<VrfL3Status> const& vrfL3Status, Vix::Ptr<Bridging::Config const> const& bridgingConfig,
                  Vix::Ptr<Mlag::Status const> const& mlagStatus, Vix::Ptr<Urpf::Config const> const& urpfConfig,
                  Vix::Ptr<Ip::Status const> const& ipStatus, Vix::Ptr<Ip::Status const> const& ip6Status,
                  Vix::Ptr<IntfVlanId::Table const> const& intfVlanIdTable,
                  Vix::Ptr<KorHelper::RoutingStatusSmHelper> const& statusHelper);
  ~RoutingStatusSm() override;

  VrfName const& vrfName() const { return vrfName_; }
  Vix::Ptr<Routing::RoutingInfo const> const& routingInfo() const { return routingInfo_; }
  Vix::Ptr<Routing::RoutingInfo const> const& routing6Info() const { return routing6Info_; }
  Vix::Ptr<L3Status> const& l3Status() const { return l3Status_; }
  Vix::Ptr<KorHelper::RoutingStatusSmHelper> const& statusHelper() const { return statusHelper_; }

  void handleInitialized() override;
  void handleRouting();
  void handleRouting6();
  void doEnableRouting(bool enabled);
  void doEnableRouting6(bool enabled);
  void handleHardwareRouting(bool v4, bool v6);
  void handleRouterMac();
  void handleVirtualRouterMac();
  void handlePeerMacRoutingEnabled();
  void handleRedundancyMode();
  void handleVlanRouting(Nollo::IntfId const& intf);
  void doUrpfHwInitStage1();
  void doUrpfHwInitStage2();
  void doUrpfRoutingDisable();
  void doUrpfRoutingEnable();
  void doVlanRoutingAll();

 private:
  template <class Af>
  class VixRoutingInfo;
  class VixBridgingConfig;
  class VixMlagStatus;
  class VixKorCommonSmData;
  class VixUrpfConfig;
  class VixL3Status;
  class VixIpStatus;

  template <class Af>
  void doEnableRoutingAf(bool enabled);

  VrfName vrfName_;
  Vix::Ptr<Routing::RoutingInfo const> routingInfo_;
  Vix::Ptr<Routing::RoutingInfo const> routing6Info_;
  Vix::Ptr<L3Status> l3Status_;
  Vix::Ptr<VrfL3Status> vrfL3Status_;
  Vix::Ptr<Bridging::Config const> bridgingConfig_;
  Vix::Ptr<Mlag::Status const> mlagStatus_;
  Vix::Ptr<Urpf::Config const> urpfConfig_;
  Vix::Ptr<Ip::Status const> ipStatus_;
  Vix::Ptr<Ip::Status const> ip6Status_;
  Vix::Ptr<IntfVlanId::Table const> intfVlanIdTable_;
  Vix::Ptr<KorHelper::RoutingStatusSmHelper> statusHelper_;
  std::unique_ptr<VixRoutingInfo<Nollo::Ipv4>> vixRoutingInfo_;
  std::unique_ptr<VixRoutingInfo<Nollo::Ipv6>> vixRouting6Info_;
  std::unique_ptr<VixBridgingConfig> vixBridgingConfig_;
  std::unique_ptr<VixMlagStatus> vixMlagStatus_;
  std::unique_ptr<VixKorCommonSmData> vixKorCommonSmData_;
  std::unique_ptr<VixUrpfConfig> vixUrpfConfig_;
  std::unique_ptr<VixL3Status> vixL3Status_;
  std::unique_ptr<VixIpStatus> vixIpStatus_;
  std::unique_ptr<VixIpStatus> vixIp6Status_;
};

}  // namespace Kor
