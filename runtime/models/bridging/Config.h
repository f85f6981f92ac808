#pragma once
// Bridging configuration. Handed on to the per-VRF machines; the fields they
// read arrive with them.
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace Bridging {

class Config : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<Config> {
   public:
    using NotifieeOf::NotifieeOf;
  };

  Config() = default;
  explicit Config(std::string name) : Entity(std::move(name)) {}
};

}  // namespace Bridging
