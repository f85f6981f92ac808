#pragma once
// Hardware routing configuration the forwarding library follows: the L2
// adjacency sharing mode (adjSharing; the L2 adjacency helper reads it at
// start and restarts the agent when it changes), and what the route machines
// of every VRF and both families read: the most routes they hand to the chip
// (maxNumRoutes, 0: no limit), whether a refused route's parent becomes a
// drop route (parentDropRoute), how long a deleted route stays in the chip in
// case it comes back (deletionDelay, seconds), whether dropped packets are
// answered with ICMP unreachable (icmpUnreachable) and whether GRE packets
// are forwarded by their key (greKeyForwarding). Written by configuration.
#include <cstdint>
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
    VIX_HANDLER(MaxNumRoutes)
    VIX_HANDLER(ParentDropRoute)
    VIX_HANDLER(DeletionDelay)
    VIX_HANDLER(IcmpUnreachable)
    VIX_HANDLER(GreKeyForwarding)
  };

  Config() = default;
  explicit Config(std::string name) : Entity(std::move(name)) {}

  VIX_ATTR(AdjSharing, adjSharing, AdjSharing)
  VIX_ATTR(uint64_t, maxNumRoutes, MaxNumRoutes)
  VIX_ATTR(bool, parentDropRoute, ParentDropRoute)
  VIX_ATTR(double, deletionDelay, DeletionDelay)
  VIX_ATTR(bool, icmpUnreachable, IcmpUnreachable)
  VIX_ATTR(bool, greKeyForwarding, GreKeyForwarding)
};

}  // namespace Routing::Hardware
