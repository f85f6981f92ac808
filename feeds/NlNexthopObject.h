#pragma once
// A decoded RTM_NEWNEXTHOP / RTM_DELNEXTHOP: a next-hop object with its id,
// either one next hop (NHA_GATEWAY, NHA_OIF), a blackhole (NHA_BLACKHOLE) or
// a group of other objects (NHA_GROUP: ids with weights).
#include <cstdint>
#include <utility>
#include <vector>

#include "feeds/NlNexthop.h"

namespace KorFeeds {

struct NlNexthopObject {
  bool add = true;  // RTM_NEWNEXTHOP; false: RTM_DELNEXTHOP
  uint32_t id = 0;  // NHA_ID
  uint8_t family = 0;
  bool blackhole = false;
  NlNexthop nexthop;  // when not a group
  struct Member {
    uint32_t id = 0;
    uint32_t weight = 1;
    auto operator<=>(Member const&) const = default;
  };
  std::vector<Member> group;  // NHA_GROUP; empty: a single next hop
  bool operator==(NlNexthopObject const&) const = default;
};

}  // namespace KorFeeds
