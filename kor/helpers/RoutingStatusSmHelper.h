#pragma once
// Platform hook of the routing status machines. For a hitless restart the
// VRF root asks it whether routing is on in a VRF as the chip still has it,
// and restores that into the VRF's L3 status before the first pass. The
// routing status machines tell it which MACs the chip must route for: the
// router MAC, the virtual router MAC and the MLAG peer's router MAC, and it
// switches the chip's uRPF checks. Every
// machine of every VRF may repeat the same statement, so a platform treats
// each call as the whole wanted state, not as a change.
#include <string>

#include "kor/common/KorBaseHelper.h"
#include "kor/common/KorExport.h"
#include "kor/common/VrfName.h"
#include "models/urpf/UrpfStatus.h"
#include "nollo/EthAddr.h"

namespace KorHelper {

class KOR_EXPORT RoutingStatusSmHelper : public Kor::KorBaseHelper {
 public:
  explicit RoutingStatusSmHelper(std::string name = "RoutingStatusSmHelper") : KorBaseHelper(std::move(name)) {}
  virtual bool routingEnabled(Kor::VrfName const& vrfName) const {
    unimplemented("RoutingStatusSmHelper", "routingEnabled");
    return false;
  }
  virtual bool routing6Enabled(Kor::VrfName const& vrfName) const {
    unimplemented("RoutingStatusSmHelper", "routing6Enabled");
    return false;
  }
  // programmed false: no frame is routed on the router MAC any more.
  virtual void routerMacIs(Nollo::EthAddr const& /*mac*/, bool /*programmed*/) {
    unimplemented("RoutingStatusSmHelper", "routerMacIs");
  }
  virtual void virtualRouterMacIs(Nollo::EthAddr const& /*mac*/, bool /*enabled*/) {
    unimplemented("RoutingStatusSmHelper", "virtualRouterMacIs");
  }
  virtual void peerRouterMacIs(Nollo::EthAddr const& /*mac*/, bool /*enabled*/) {
    unimplemented("RoutingStatusSmHelper", "peerRouterMacIs");
  }
  // Whether the chip needs routing off in every VRF while uRPF is switched.
  virtual bool urpfTwoStageInitRequired() const {
    unimplemented("RoutingStatusSmHelper", "urpfTwoStageInitRequired");
    return false;
  }
  // Switches the chip's uRPF checks; false: not ready, nothing changed.
  virtual bool urpfEnabledIs(bool /*enabled*/) {
    unimplemented("RoutingStatusSmHelper", "urpfEnabledIs");
    return false;
  }
  // True when the chip cannot check one interface's IPv4 traffic with mode v4
  // and its IPv6 traffic with mode v6 at the same time (both are on); the
  // machine then keeps IPv4's mode.
  virtual bool urpfModesConflict(Urpf::UrpfStatus const& /*v4*/, Urpf::UrpfStatus const& /*v6*/) const {
    unimplemented("RoutingStatusSmHelper", "urpfModesConflict");
    return false;
  }
};

}  // namespace KorHelper
