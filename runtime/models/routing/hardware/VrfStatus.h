#pragma once
// Per-VRF hardware route status (named after the VRF): the VRF id the
// hardware files the VRF under. Child of RouteStatus.
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace Routing::Hardware {

class VrfStatus : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<VrfStatus> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_HANDLER(VrfId)
  };

  VrfStatus() = default;
  explicit VrfStatus(std::string name) : Entity(std::move(name)) {}

  VIX_ATTR(uint32_t, vrfId, VrfId)
};

}  // namespace Routing::Hardware
