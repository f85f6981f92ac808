#pragma once
// IP tunnel configuration the library follows. Handed to the adjacency
// machines.
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace Tunnel {

class KorTunnelConfig : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<KorTunnelConfig> {
   public:
    using NotifieeOf::NotifieeOf;
  };

  KorTunnelConfig() = default;
  explicit KorTunnelConfig(std::string name) : Entity(std::move(name)) {}
};

}  // namespace Tunnel
