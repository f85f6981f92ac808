#pragma once
// One next hop of a decoded route: inline (RTA_GATEWAY/RTA_OIF or one
// RTA_MULTIPATH entry) or the body of a next-hop object (RTM_NEWNEXTHOP).
// A gateway of none is a directly connected next hop on `oif`.
#include <cstdint>
#include <optional>

#include "nollo/IpGenAddr.h"

namespace KorFeeds {

struct NlNexthop {
  std::optional<Nollo::IpGenAddr> gateway;
  uint32_t oif = 0;     // kernel interface index, 0: none
  uint32_t weight = 1;  // rtnh_hops + 1 / NHA_GROUP weight + 1
  auto operator<=>(NlNexthop const&) const = default;
};

}  // namespace KorFeeds
