#pragma once
// Routing sequence status: the last sequence number the routing agent
// published.
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace Routing {

class SequenceStatus : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<SequenceStatus> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_HANDLER(Sequence)
  };

  SequenceStatus() = default;
  explicit SequenceStatus(std::string name) : Entity(std::move(name)) {}

  VIX_ATTR(uint64_t, sequence, Sequence)
};

}  // namespace Routing
