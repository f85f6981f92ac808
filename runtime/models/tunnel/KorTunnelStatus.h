#pragma once
// IP tunnel status (read-only for the library). Handed to the adjacency
// machines.
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace Tunnel {

class KorTunnelStatus : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<KorTunnelStatus> {
   public:
    using NotifieeOf::NotifieeOf;
  };

  KorTunnelStatus() = default;
  explicit KorTunnelStatus(std::string name) : Entity(std::move(name)) {}
};

}  // namespace Tunnel
