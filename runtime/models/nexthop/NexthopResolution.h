#pragma once
// The answer to a next-hop request: the chip's next-hop index of the L2
// adjacency the request resolved to and that L2 adjacency's key (0 and 0:
// not resolved, or not programmed yet).
#include <cstdint>

namespace Nexthop {

struct NexthopResolution {
  uint64_t nexthopIndex = 0;
  uint64_t l2AdjKey = 0;
  bool operator==(NexthopResolution const&) const = default;
};

}  // namespace Nexthop
