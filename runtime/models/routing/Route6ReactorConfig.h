#pragma once
// Tuning of the IPv6 route machines published by the agent's configuration.
// Handed to the route machines; its fields arrive with them.
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace Routing {

class Route6ReactorConfig : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<Route6ReactorConfig> {
   public:
    using NotifieeOf::NotifieeOf;
  };

  Route6ReactorConfig() = default;
  explicit Route6ReactorConfig(std::string name) : Entity(std::move(name)) {}
};

}  // namespace Routing
