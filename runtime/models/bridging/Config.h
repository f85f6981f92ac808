#pragma once
// Bridging configuration. Handed on to the per-VRF machines; the fields they
// read arrive with them. routerMac: the system MAC that routed frames are
// addressed to.
#include <cstdint>
#include <string>

#include "nollo/EthAddr.h"
#include "vix/Entity.h"

namespace Bridging {

class Config : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<Config> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_HANDLER(RouterMac)
  };

  Config() = default;
  explicit Config(std::string name) : Entity(std::move(name)) {}

  VIX_ATTR(Nollo::EthAddr, routerMac, RouterMac)
};

}  // namespace Bridging
