#pragma once
// MLAG status: whether MLAG is active. Handed to the per-VRF machines.
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace Mlag {

class Status : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<Status> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_HANDLER(Active)
  };

  Status() = default;
  explicit Status(std::string name) : Entity(std::move(name)) {}

  VIX_ATTR(bool, active, Active)
};

}  // namespace Mlag
