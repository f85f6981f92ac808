#pragma once
// Tuning of the IPv4 route machines published by the agent's configuration.
// Handed to the route machines; its fields arrive with them.
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace Routing {

class RouteReactorConfig : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<RouteReactorConfig> {
   public:
    using NotifieeOf::NotifieeOf;
  };

  RouteReactorConfig() = default;
  explicit RouteReactorConfig(std::string name) : Entity(std::move(name)) {}
};

}  // namespace Routing
