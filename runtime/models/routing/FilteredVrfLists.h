#pragma once
// VRF lists filtered for this agent (VRF name -> wanted). Handed to the
// routing status machines.
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace Routing {

class FilteredVrfLists : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<FilteredVrfLists> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(std::string, Vrf)
  };

  FilteredVrfLists() = default;
  explicit FilteredVrfLists(std::string name) : Entity(std::move(name)) {}

  VIX_ORDERED_MAP(std::string, bool, vrf, Vrf)
};

}  // namespace Routing
