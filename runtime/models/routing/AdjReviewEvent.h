#pragma once
// Requests from outside for an adjacency review pass (a counter bumped by the
// requester). Handed to the adjacency machines.
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace Routing {

class AdjReviewEvent : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<AdjReviewEvent> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_HANDLER(ReviewRequest)
  };

  AdjReviewEvent() = default;
  explicit AdjReviewEvent(std::string name) : Entity(std::move(name)) {}

  VIX_COUNTER(uint64_t, reviewRequest, ReviewRequest)
};

}  // namespace Routing
