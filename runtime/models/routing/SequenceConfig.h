#pragma once
// Routing sequence configuration: whether route updates carry sequence
// numbers to acknowledge.
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace Routing {

class SequenceConfig : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<SequenceConfig> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_HANDLER(SequenceEnabled)
  };

  SequenceConfig() = default;
  explicit SequenceConfig(std::string name) : Entity(std::move(name)) {}

  VIX_ATTR(bool, sequenceEnabled, SequenceEnabled)
};

}  // namespace Routing
