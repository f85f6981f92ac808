#pragma once
// Routing capabilities the platform publishes: the largest ECMP group it can
// program (0: not published), whether next-hop groups can be used in the
// default VRF and in the other VRFs, and whether resilient ECMP is supported.
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace Routing::Hardware {

class Status : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<Status> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_HANDLER(MaxEcmp)
    VIX_HANDLER(NexthopGroupSupported)
    VIX_HANDLER(NexthopGroupSupportedInNonDefaultVrf)
    VIX_HANDLER(ResilientEcmpSupported)
  };

  Status() = default;
  explicit Status(std::string name) : Entity(std::move(name)) {}

  VIX_ATTR(uint32_t, maxEcmp, MaxEcmp)
  VIX_ATTR(bool, nexthopGroupSupported, NexthopGroupSupported)
  VIX_ATTR(bool, nexthopGroupSupportedInNonDefaultVrf, NexthopGroupSupportedInNonDefaultVrf)
  VIX_ATTR(bool, resilientEcmpSupported, ResilientEcmpSupported)
};

}  // namespace Routing::Hardware
