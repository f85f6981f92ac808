#pragma once
// Static multicast route configuration. Handed to the routing status machines,
// which read the interfaces the static routes use (staticMulticastIntf: true
// for each incoming or outgoing interface of a static multicast route).
#include <cstdint>
#include <string>

#include "nollo/IntfId.h"
#include "vix/Entity.h"

namespace Multicast {

class StaticRouteConfig : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<StaticRouteConfig> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(Nollo::IntfId, StaticMulticastIntf)
  };

  StaticRouteConfig() = default;
  explicit StaticRouteConfig(std::string name) : Entity(std::move(name)) {}

  VIX_HASH_MAP(Nollo::IntfId, bool, staticMulticastIntf, StaticMulticastIntf)
};

}  // namespace Multicast
