#pragma once
// The VRFs the routing agent announces: VRF name -> its RoutingInfo entity.
// Per-key notifications drive VRF creation and deletion in the VRF root; a VRF
// is created once both the IPv4 and the IPv6 directory announce it.
// Routing6::VrfInfoDir is the same directory for IPv6.
#include <cstdint>
#include <string>

#include "models/routing/RoutingInfo.h"
#include "vix/Entity.h"

namespace Routing {

class VrfInfoDir : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<VrfInfoDir> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(std::string, VrfInfo)
  };

  VrfInfoDir() = default;
  explicit VrfInfoDir(std::string name) : Entity(std::move(name)) {}

  VIX_ORDERED_MAP(std::string, Vix::Ptr<RoutingInfo>, vrfInfo, VrfInfo)
};

}  // namespace Routing
