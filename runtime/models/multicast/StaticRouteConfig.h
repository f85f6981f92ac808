#pragma once
// Static multicast route configuration. Handed to the routing status machines.
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace Multicast {

class StaticRouteConfig : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<StaticRouteConfig> {
   public:
    using NotifieeOf::NotifieeOf;
  };

  StaticRouteConfig() = default;
  explicit StaticRouteConfig(std::string name) : Entity(std::move(name)) {}
};

}  // namespace Multicast
