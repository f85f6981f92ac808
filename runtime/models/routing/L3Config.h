#pragma once
// L3 configuration the VRF root follows: whether the agent restarts hitlessly
// (the routing state of the default VRF is then restored from the platform
// before the first pass).
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace Routing {

class L3Config : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<L3Config> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_HANDLER(HitlessRestart)
  };

  L3Config() = default;
  explicit L3Config(std::string name) : Entity(std::move(name)) {}

  VIX_ATTR(bool, hitlessRestart, HitlessRestart)
};

}  // namespace Routing
