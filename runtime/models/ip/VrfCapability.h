#pragma once
// What the IP agent reports the platform can hold: the number of VRFs besides
// "default" (ids 1..maxVrfs). Published once by the platform; read by the VRF root
// when it fills its free VRF ids.
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace Ip {

class VrfCapability : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<VrfCapability> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_HANDLER(MaxVrfs)
  };

  VrfCapability() = default;
  explicit VrfCapability(std::string name) : Entity(std::move(name)) {}

  VIX_ATTR(uint32_t, maxVrfs, MaxVrfs)
};

}  // namespace Ip
