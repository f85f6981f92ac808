#pragma once
// A decoded RTM_NEWNEIGH / RTM_DELNEIGH: an IPv4 ARP or IPv6 neighbour entry.
#include <cstdint>
#include <optional>

#include "nollo/EthAddr.h"
#include "nollo/IpGenAddr.h"

namespace KorFeeds {

struct NlNeigh {
  bool add = true;  // RTM_NEWNEIGH; false: RTM_DELNEIGH
  uint32_t ifindex = 0;
  Nollo::IpGenAddr addr;              // NDA_DST
  std::optional<Nollo::EthAddr> mac;  // NDA_LLADDR when 6 bytes
  uint16_t state = 0;                 // ndm_state (NUD_*)
  bool operator==(NlNeigh const&) const = default;
  // A usable entry: a MAC and a state that is neither incomplete nor failed.
  bool resolved() const { return mac && (state & (0x01 | 0x20)) == 0; }
};

}  // namespace KorFeeds
