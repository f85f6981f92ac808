#pragma once
// Routing capabilities the platform publishes: the largest ECMP group it can
// program (0: not published), whether next-hop groups can be used in the
// default VRF and in the other VRFs, whether resilient ECMP is supported, and
// the IPv6 prefix lengths it keeps in its exact-match table
// (prefixLenInExactMatch; every other IPv6 route goes to the longest-prefix
// table).
#include <cstdint>
#include <string>

#include "models/routing/RoutesInExactMatch.h"
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
    VIX_KEY_HANDLER(RoutesInExactMatch, PrefixLenInExactMatch)
  };

  Status() = default;
  explicit Status(std::string name) : Entity(std::move(name)) {}

  VIX_ATTR(uint32_t, maxEcmp, MaxEcmp)
  VIX_ATTR(bool, nexthopGroupSupported, NexthopGroupSupported)
  VIX_ATTR(bool, nexthopGroupSupportedInNonDefaultVrf, NexthopGroupSupportedInNonDefaultVrf)
  VIX_ATTR(bool, resilientEcmpSupported, ResilientEcmpSupported)
  VIX_HASH_MAP(RoutesInExactMatch, bool, prefixLenInExactMatch, PrefixLenInExactMatch)
};

}  // namespace Routing::Hardware
