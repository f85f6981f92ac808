#pragma once
// One interface bound to a VRF, in one address family: RoutingStatusSm's
// VixIpIntfStatus (IPv4) and VixIp6IntfStatus (IPv6). The VRF's machine
// creates it when the family's IP status binds the interface to the VRF,
// feeds it the interface's status (intfStatusIs) and the IP agent's changes,
// and deletes it, after doRoutingCleanup, when the binding goes.
//
// It holds what the machine applied for the interface in its family:
// routing (unicast routing is on: the VRF routes the family and the IP agent
// switched routing on for the interface) and vlan (the VLAN the interface
// routes on: a VLAN interface's own VLAN, a routed port's internal VLAN, 0
// for none). Both families' reactors of an interface always hold the same
// vlan: the machine resolves it per interface and moves them together. What
// the VLAN and the interface are given (l3Intf, the VLAN's routing state,
// uRPF) the machine computes from both reactors.
#include <cstdint>
#include <type_traits>

#include "kor/l3/RoutingStatusSm.h"
#include "models/interface/IntfStatus.h"
#include "nollo/IntfId.h"

namespace Kor {

template <class Af>
class RoutingStatusSm::VixIpIntfStatusT {
 public:
  static constexpr bool isV4 = std::is_same_v<Af, Nollo::Ipv4>;

  VixIpIntfStatusT(RoutingStatusSm* sm, Nollo::IntfId const& intf, uint16_t vlan)
      : sm_(sm), intf_(intf), vlan_(vlan) {}

  Nollo::IntfId const& intf() const { return intf_; }
  bool routing() const { return routing_; }
  uint16_t vlan() const { return vlan_; }
  void vlanIs(uint16_t vlan) { vlan_ = vlan; }
  Interface::IntfStatus const& intfStatus() const { return intfStatus_; }
  void intfStatusIs(Interface::IntfStatus const& s) { intfStatus_ = s; }

  // First pass once bound: routing as the VRF and the IP agent have it.
  void handleInitialized();
  // The VRF's routing of the family, or the interface's own routing, changed.
  void handleGlobalRouting(bool vrfRouting);
  void handleRouting(bool enable);
  void handleVlanRouting(bool routing);
  void handleUrpf();
  // The interface leaves the VRF: routing off, then off its VLAN. The
  // machine has already taken the reactor out of its map.
  void doRoutingCleanup();

 private:
  RoutingStatusSm* sm_;
  Nollo::IntfId intf_;
  Interface::IntfStatus intfStatus_;
  bool routing_ = false;
  uint16_t vlan_ = 0;
};

extern template class RoutingStatusSm::VixIpIntfStatusT<Nollo::Ipv4>;
extern template class RoutingStatusSm::VixIpIntfStatusT<Nollo::Ipv6>;

}  // namespace Kor
