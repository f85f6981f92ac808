#pragma once
// Bundle of inputs the agent hands over in one piece: the routing information
// of the default VRF for IPv4 and IPv6. Both must be present when a VRF is
// created.
#include <cstdint>
#include <string>

#include "models/routing/RoutingInfo.h"
#include "vix/Entity.h"

namespace Routing {

class PackedArgs : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<PackedArgs> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_HANDLER(RoutingInfo)
    VIX_HANDLER(Routing6Info)
  };

  PackedArgs() = default;
  explicit PackedArgs(std::string name) : Entity(std::move(name)) {}

  VIX_ATTR(Vix::Ptr<RoutingInfo>, routingInfo, RoutingInfo)
  VIX_ATTR(Vix::Ptr<RoutingInfo>, routing6Info, Routing6Info)
};

}  // namespace Routing
