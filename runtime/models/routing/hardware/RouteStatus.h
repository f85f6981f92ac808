#pragma once
// Hardware route status: per-VRF children carrying the VRF id already
// allocated to the VRF (by an earlier run of the agent, or by another
// allocator). When present, the VRF root uses that id instead of allocating.
// Routing6::Hardware::RouteStatus is the same entity for IPv6; both must agree
// on a VRF's id.
#include <cstdint>
#include <string>

#include "models/routing/hardware/VrfStatus.h"
#include "vix/Entity.h"

namespace Routing::Hardware {

class RouteStatus : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<RouteStatus> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(std::string, VrfStatus)
  };

  RouteStatus() = default;
  explicit RouteStatus(std::string name) : Entity(std::move(name)) {}

  VIX_CHILD_MAP(std::string, VrfStatus, vrfStatus, VrfStatus)
};

}  // namespace Routing::Hardware
