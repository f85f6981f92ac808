#pragma once
// Hardware routing configuration the forwarding library follows: the L2
// adjacency sharing mode (adjSharing). Written by configuration; the L2
// adjacency helper reads it at start and restarts the agent when it changes.
#include <string>

#include "models/routing/hardware/AdjSharing.h"
#include "vix/Entity.h"

namespace Routing::Hardware {

class Config : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<Config> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_HANDLER(AdjSharing)
  };

  Config() = default;
  explicit Config(std::string name) : Entity(std::move(name)) {}

  VIX_ATTR(AdjSharing, adjSharing, AdjSharing)
};

}  // namespace Routing::Hardware
