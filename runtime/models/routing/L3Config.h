#pragma once
// L3 configuration the VRF root follows: whether the agent restarts hitlessly
// (the routing state of the default VRF is then restored from the platform
// before the first pass), deferred routing (deferredRouting: a VRF's routes
// are handed over before its routing first comes on, so the chip is full
// when it does; and an IPv6 route covered by a configured aggregate is not
// programmed on its own, the aggregate's hardware route forwards for it), and
// the IPv6 aggregate prefixes (aggregateRoute6).
#include <cstdint>
#include <string>

#include "nollo/IpPrefix.h"
#include "vix/Entity.h"

namespace Routing {

class L3Config : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<L3Config> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_HANDLER(HitlessRestart)
    VIX_HANDLER(DeferredRouting)
    VIX_KEY_HANDLER(Nollo::Ip6Prefix, AggregateRoute6)
  };

  L3Config() = default;
  explicit L3Config(std::string name) : Entity(std::move(name)) {}

  VIX_ATTR(bool, hitlessRestart, HitlessRestart)
  VIX_ATTR(bool, deferredRouting, DeferredRouting)
  VIX_HASH_MAP(Nollo::Ip6Prefix, bool, aggregateRoute6, AggregateRoute6)
};

}  // namespace Routing
