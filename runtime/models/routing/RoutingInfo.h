#pragma once
// The routing agent's per-VRF routing information (named after the VRF):
// whether unicast routing is on in it. One entity per VRF and address family;
// the VRF root remembers which entity a VRF was created from, and a VRF whose
// entity was replaced by another one is deleted and created again.
// Routing6::RoutingInfo is the same entity for IPv6.
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace Routing {

class RoutingInfo : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<RoutingInfo> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_HANDLER(RoutingEnabled)
    VIX_HANDLER(EcmpEnabled)
  };

  RoutingInfo() = default;
  explicit RoutingInfo(std::string name) : Entity(std::move(name)) {}

  VIX_ATTR(bool, routingEnabled, RoutingEnabled)
  VIX_ATTR(bool, ecmpEnabled, EcmpEnabled)
};

}  // namespace Routing
