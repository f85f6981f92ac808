#pragma once
// MPLS routing information: whether MPLS routing is on (mplsRoutingEnabled),
// and the interfaces on which it is switched off although the IP agent
// reports MPLS on them (mplsRoutingDisabledIntf).
#include <cstdint>
#include <string>

#include "nollo/IntfId.h"
#include "vix/Entity.h"

namespace Mpls {

class RoutingInfo : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<RoutingInfo> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_HANDLER(MplsRoutingEnabled)
    VIX_KEY_HANDLER(Nollo::IntfId, MplsRoutingDisabledIntf)
  };

  RoutingInfo() = default;
  explicit RoutingInfo(std::string name) : Entity(std::move(name)) {}

  VIX_ATTR(bool, mplsRoutingEnabled, MplsRoutingEnabled)
  VIX_HASH_MAP(Nollo::IntfId, bool, mplsRoutingDisabledIntf, MplsRoutingDisabledIntf)
};

}  // namespace Mpls
