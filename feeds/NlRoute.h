#pragma once
// A decoded RTM_NEWROUTE / RTM_DELROUTE. Either `nhId` names a next-hop
// object (RTA_NH_ID) or `nexthops` holds the inline next hops (RTA_GATEWAY
// and RTA_OIF, or RTA_MULTIPATH); a blackhole route (rtm_type 6) has neither.
#include <cstdint>
#include <variant>
#include <vector>

#include "feeds/NlNexthop.h"
#include "nollo/IpPrefix.h"

namespace KorFeeds {

struct NlRoute {
  using Prefix = std::variant<Nollo::IpPrefix, Nollo::Ip6Prefix>;
  bool add = true;        // RTM_NEWROUTE; false: RTM_DELROUTE
  Prefix prefix;          // RTA_DST masked to rtm_dst_len (0.0.0.0/0 without RTA_DST)
  uint32_t table = 254;   // RTA_TABLE, else rtm_table
  uint8_t type = 1;       // rtm_type: 1 unicast, 6 blackhole, ...
  uint8_t protocol = 0;   // rtm_protocol
  uint32_t priority = 0;  // RTA_PRIORITY
  uint32_t nhId = 0;      // RTA_NH_ID, 0: none
  std::vector<NlNexthop> nexthops;
  bool blackhole() const { return type == 6; }
  bool operator==(NlRoute const&) const = default;
};

}  // namespace KorFeeds
