#pragma once
// Routing capabilities the platform publishes: the largest ECMP group it can
// program.
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace Routing::Hardware {

class Status : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<Status> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_HANDLER(MaxEcmp)
  };

  Status() = default;
  explicit Status(std::string name) : Entity(std::move(name)) {}

  VIX_ATTR(uint32_t, maxEcmp, MaxEcmp)
};

}  // namespace Routing::Hardware
