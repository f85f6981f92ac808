#pragma once
// MPLS routing information: whether MPLS routing is on.
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace Mpls {

class RoutingInfo : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<RoutingInfo> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_HANDLER(MplsRoutingEnabled)
  };

  RoutingInfo() = default;
  explicit RoutingInfo(std::string name) : Entity(std::move(name)) {}

  VIX_ATTR(bool, mplsRoutingEnabled, MplsRoutingEnabled)
};

}  // namespace Mpls
