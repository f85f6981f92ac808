#pragma once
// The routing status machine of one VRF (trace "KorRoutingStatusSm"), created
// and owned by the VRF's VrfRoot. It follows the VRF's IPv4 and IPv6 routing
// information into VrfL3Status::routingEnabled / routing6Enabled and keeps
// the switch-wide results in L3Status: the hardware routing flags (on while
// routing is on in any VRF), the router MAC (programmed while this or any
// other VRF routes), and, through the platform helper, the virtual router
// MAC (while the default VRF routes) and the MLAG peer's router MAC (while
// MLAG is active and any VRF routes). Every machine recomputes the
// switch-wide state from L3Status, so the last VRF to change decides it.
//
// Per interface bound to the VRF (by the IP status of each family) it holds
// one reactor per family, VixIpIntfStatus / VixIp6IntfStatus, and keeps:
// - VrfL3Status::l3Intf: the VLANs (of VLAN interfaces, or the internal VLAN
//   of routed ports) on which the VRF routes unicast in either family;
// - L3Status::vlanRoutingState: each such VLAN's routing kinds, written only
//   when they change (an all-off state is no entry), carried from a primary
//   private VLAN to its secondaries (L3Status::pvlanL3Intf marks those);
// - L3Status::urpf4Status / urpf6Status: the interface's uRPF modes while uRPF
//   is enabled and the family routes there; IPv4's is off while
//   remOverrideV4Urpf or egressRaclSharingOverrideV4Urpf is set. When the
//   platform cannot hold both modes, IPv4's is kept and the IPv6 mode that
//   was held back is in urpf6StatusUnresolved.
// An interface bound to another VRF in either family belongs to that VRF's
// machine: this one leaves its VLAN and uRPF entries alone.
//
// The default VRF's machine also keeps what is switch-wide: uRPF is brought
// into its configured state once the redundancy mode is active, in one step
// where the platform allows it, otherwise in two stages (every VRF's machine
// switches routing off on L3Status::urpfRoutingDisable; once both route
// machines of every VRF have counted themselves in
// waitForRoutingDisabledRefCnt, urpfRoutingDisableDone is set, the hardware
// is switched and urpfRoutingEnable turns routing back on everywhere);
// remOverrideV4Urpf (set while the hardware keeps any IPv6 prefix length in
// its exact-match table, which shares its resource with IPv4 uRPF); and
// staticMulticastRoutingEnabled (some interface of a static multicast route
// routes IPv4 multicast).
#include <memory>
#include <type_traits>
#include <vector>

#include "kor/common/KorBaseSm.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/common/VrfName.h"
#include "kor/helpers/RoutingStatusSmHelper.h"
#include "kor/records/L3Status.h"
#include "kor/records/RoutingState.h"
#include "kor/records/VrfL3Status.h"
#include "models/bridging/Config.h"
#include "models/interface/AllIntfStatusDir.h"
#include "models/ip/IntfVlanIdTable.h"
#include "models/ip/Status.h"
#include "models/mlag/Status.h"
#include "models/mpls/RoutingInfo.h"
#include "models/multicast/StaticRouteConfig.h"
#include "models/routing/RoutingInfo.h"
#include "models/routing/hardware/Status.h"
#include "models/urpf/Config.h"
#include "nollo/IntfId.h"
#include "nollo/Ipv4.h"
#include "nollo/Ipv6.h"
#include "vix/HashMap.h"

namespace Kor {

class KOR_EXPORT RoutingStatusSm : public KorBaseSm {
 public:
  template <class Af>
  class VixIpIntfStatusT;
  using VixIpIntfStatus = VixIpIntfStatusT<Nollo::Ipv4>;
  using VixIp6IntfStatus = VixIpIntfStatusT<Nollo::Ipv6>;

  // The inputs after statusHelper may be null: without the interface status
  // no interface is a routed port, without the hardware status no prefix
  // length is in exact match, without the MPLS information the IP agent's
  // per-interface MPLS flag decides alone, without the static multicast
  // configuration no interface is one.
  RoutingStatusSm(Vix::Ptr<KorCommonSmData> const& acsd, VrfName const& vrfName,
                  Vix::Ptr<Routing::RoutingInfo const> const& routingInfo,
                  Vix::Ptr<Routing::RoutingInfo const> const& routing6Info, Vix::Ptr<L3Status> const& l3Status,
                  Vix::Ptr<VrfL3Status> const& vrfL3Status, Vix::Ptr<Bridging::Config const> const& bridgingConfig,
                  Vix::Ptr<Mlag::Status const> const& mlagStatus, Vix::Ptr<Urpf::Config const> const& urpfConfig,
                  Vix::Ptr<Ip::Status const> const& ipStatus, Vix::Ptr<Ip::Status const> const& ip6Status,
                  Vix::Ptr<IntfVlanId::Table const> const& intfVlanIdTable,
                  Vix::Ptr<KorHelper::RoutingStatusSmHelper> const& statusHelper,
                  Vix::Ptr<Interface::AllIntfStatusDir const> const& allIntfStatusDir = nullptr,
                  Vix::Ptr<Routing::Hardware::Status const> const& routingHwStatus = nullptr,
                  Vix::Ptr<Mpls::RoutingInfo const> const& mplsRoutingInfo = nullptr,
                  Vix::Ptr<Multicast::StaticRouteConfig const> const& staticMcastRouteConfig = nullptr);
  ~RoutingStatusSm() override;

  VrfName const& vrfName() const { return vrfName_; }
  Vix::Ptr<Routing::RoutingInfo const> const& routingInfo() const { return routingInfo_; }
  Vix::Ptr<Routing::RoutingInfo const> const& routing6Info() const { return routing6Info_; }
  Vix::Ptr<L3Status> const& l3Status() const { return l3Status_; }
  Vix::Ptr<KorHelper::RoutingStatusSmHelper> const& statusHelper() const { return statusHelper_; }
  // The interface's reactor of each family; null while it is not bound here.
  VixIpIntfStatus const* ipIntfStatus(Nollo::IntfId const& intf) const;
  VixIp6IntfStatus const* ip6IntfStatus(Nollo::IntfId const& intf) const;

  void handleInitialized() override;
  // Reports every interface whose l3Intf or VLAN routing state differs from
  // what its reactors hold, and every l3Intf VLAN no interface routes on.
  void handleVerify() override;
  void handleRouting();
  void handleRouting6();
  void doEnableRouting(bool enabled);
  void doEnableRouting6(bool enabled);
  void handleHardwareRouting(bool v4, bool v6);
  void handleRouterMac();
  void handleVirtualRouterMac();
  void handlePeerMacRoutingEnabled();
  void handleRedundancyMode();
  void handleRoutesInExactMatch();
  void doLogRemOverrideV4Urpf();
  void handleUrpf(Nollo::IntfId const& intf);
  void handleUrpfConflict(Nollo::IntfId const& intf);
  void handleUrpfOverride();
  void handleEgressRaclSharing();
  void handleRoutingDisabledRefCnt();
  void doUrpfHwInitStage1();
  void doUrpfHwInitStage2();
  void doUrpfRoutingDisable();
  void doUrpfRoutingEnable();
  void doUrpfAll();
  // The interface's link / routed-port status, its internal VLAN, or its
  // MPLS exclusion changed.
  void handleIntf(Nollo::IntfId const& intf);
  void handleIntfVlanId(Nollo::IntfId const& intf);
  void handleMplsRoutingDisabledIntf(Nollo::IntfId const& intf);
  void handleGlobalMplsRouting();
  void handleStaticMulticastIntf(Nollo::IntfId const& intf);
  // Re-evaluates the routing state of the interface's VLAN.
  void handleVlanRouting(Nollo::IntfId const& intf);
  void doVlanRoutingAll();
  // The secondaries of a primary private VLAN changed in the configuration.
  void handlePvlanConfig(uint16_t primary);
  // Carries (add) or withdraws the primary's routing state to one secondary.
  void handlePvlan(uint16_t primary, uint16_t secondary, Nollo::IntfId const& intf, bool add,
                   RoutingState const& state);
  // Asks the self-verification for a run.
  void doRequestVerify();

 private:
  template <class Af>
  class VixRoutingInfo;
  template <class Af>
  class VixIpStatus;
  class VixBridgingConfig;
  class VixMlagStatus;
  class VixKorCommonSmData;
  class VixUrpfConfig;
  class VixL3Status;
  class VixAllIntfStatusDir;
  class VixIntfVlanIdTable;
  class VixRoutingHwStatus;
  class VixMplsRoutingInfo;
  class VixStaticRouteConfig;

  template <class Af>
  using IntfMap = Vix::HashMap<Nollo::IntfId, std::unique_ptr<VixIpIntfStatusT<Af>>>;

  template <class Af>
  void doEnableRoutingAf(bool enabled);
  template <class Af>
  void handleIntfBinding(Nollo::IntfId const& intf);
  template <class Af>
  void handleIntfRouting(Nollo::IntfId const& intf);
  template <class Af>
  void handlePrimaryAddr(Nollo::IntfId const& intf);
  template <class Af>
  IntfMap<Af>& intfMap();
  template <class Af>
  IntfMap<Af> const& intfMap() const;
  template <class Af>
  VixIpIntfStatusT<Af>* intfStatus(Nollo::IntfId const& intf) const;
  template <class Af>
  Ip::Status const* ipStatusOf() const;
  template <class Af>
  bool routingOn() const;
  // Every interface with a reactor of either family, collected before a walk
  // whose handlers write shared entities.
  std::vector<Nollo::IntfId> intfs() const;
  // False while the interface is bound to another VRF in either family.
  bool ownsIntf(Nollo::IntfId const& intf) const;
  uint16_t intfVlan(Nollo::IntfId const& intf) const;
  // Resolves the interface's VLAN and, when it moved, moves both families'
  // reactors with it and clears what the old VLAN held.
  void doIntfVlan(Nollo::IntfId const& intf);
  // A reactor of the interface left `vlan`.
  void doVlanDetached(Nollo::IntfId const& intf, uint16_t vlan);
  RoutingState vlanRoutingState(Nollo::IntfId const& intf, uint16_t vlan) const;
  void doL3Intf(Nollo::IntfId const& intf, uint16_t vlan);
  void doVlanRoutingState(Nollo::IntfId const& intf, uint16_t vlan);
  void doPvlanCarry(uint16_t primary, Nollo::IntfId const& intf, RoutingState const& state);
  // Removes what this VRF wrote into the shared L3 status for its interfaces.
  void doForgetVrfState();
  void doUrpfWrite(Nollo::IntfId const& intf, Urpf::UrpfStatus const& v4, Urpf::UrpfStatus const& v6,
                   Urpf::UrpfStatus const& v6Unresolved);

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
  Vix::Ptr<Interface::AllIntfStatusDir const> allIntfStatusDir_;
  Vix::Ptr<Routing::Hardware::Status const> routingHwStatus_;
  Vix::Ptr<Mpls::RoutingInfo const> mplsRoutingInfo_;
  Vix::Ptr<Multicast::StaticRouteConfig const> staticMcastRouteConfig_;
  Vix::ReactorSet<RoutingStatusSm> vixReactors_{this};

  IntfMap<Nollo::Ipv4> ipIntfStatus_;
  IntfMap<Nollo::Ipv6> ip6IntfStatus_;
  // VLAN -> the interface of this VRF routing on it.
  Vix::HashMap<uint16_t, Nollo::IntfId> vlanIntf_;
  // Primary private VLAN -> the secondaries its routing state was carried to.
  Vix::HashMap<uint16_t, std::vector<uint16_t>> pvlanCarried_;
  // Default VRF: static multicast interfaces that route IPv4 multicast.
  Vix::HashMap<Nollo::IntfId, bool> staticMcastIntf_;
  // Default VRF, two-stage uRPF start: waiting for urpfDisableExpected_ route
  // machines to count themselves in waitForRoutingDisabledRefCnt beyond
  // urpfDisableBase_.
  bool urpfDisableWaiting_ = false;
  uint32_t urpfDisableBase_ = 0;
  uint32_t urpfDisableExpected_ = 0;
};

template <class Af>
RoutingStatusSm::IntfMap<Af>& RoutingStatusSm::intfMap() {
  if constexpr (std::is_same_v<Af, Nollo::Ipv4>) {
    return ipIntfStatus_;
  } else {
    return ip6IntfStatus_;
  }
}

template <class Af>
RoutingStatusSm::IntfMap<Af> const& RoutingStatusSm::intfMap() const {
  return const_cast<RoutingStatusSm*>(this)->intfMap<Af>();
}

template <class Af>
RoutingStatusSm::VixIpIntfStatusT<Af>* RoutingStatusSm::intfStatus(Nollo::IntfId const& intf) const {
  auto const& m = intfMap<Af>();
  auto it = m.find(intf);
  return it == m.end() ? nullptr : it->second.get();
}

template <class Af>
Ip::Status const* RoutingStatusSm::ipStatusOf() const {
  return std::is_same_v<Af, Nollo::Ipv4> ? ipStatus_.ptr() : ip6Status_.ptr();
}

template <class Af>
bool RoutingStatusSm::routingOn() const {
  if (!vrfL3Status_) return false;
  return std::is_same_v<Af, Nollo::Ipv4> ? vrfL3Status_->routingEnabled() : vrfL3Status_->routing6Enabled();
}

}  // namespace Kor
