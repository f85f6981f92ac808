#pragma once
// Per-VRF routing sequence configuration: VRF name -> sequence numbers on.
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace Routing {

class VrfSequenceConfigDir : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<VrfSequenceConfigDir> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(std::string, Vrf)
  };

  VrfSequenceConfigDir() = default;
  explicit VrfSequenceConfigDir(std::string name) : Entity(std::move(name)) {}

  VIX_ORDERED_MAP(std::string, bool, vrf, Vrf)
};

}  // namespace Routing
