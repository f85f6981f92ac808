#pragma once
// Per-VRF routing sequence status: VRF name -> last published sequence.
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace Routing {

class VrfSequenceStatusDir : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<VrfSequenceStatusDir> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(std::string, Vrf)
  };

  VrfSequenceStatusDir() = default;
  explicit VrfSequenceStatusDir(std::string name) : Entity(std::move(name)) {}

  VIX_ORDERED_MAP(std::string, uint64_t, vrf, Vrf)
};

}  // namespace Routing
