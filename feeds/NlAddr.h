#pragma once
// A decoded RTM_NEWADDR / RTM_DELADDR: an address on a kernel interface.
#include <cstdint>

#include "nollo/IpGenAddr.h"

namespace KorFeeds {

struct NlAddr {
  bool add = true;  // RTM_NEWADDR; false: RTM_DELADDR
  uint32_t ifindex = 0;
  Nollo::IpGenAddr addr;  // IFA_LOCAL, else IFA_ADDRESS
  uint8_t prefixLen = 0;
  bool operator==(NlAddr const&) const = default;
};

}  // namespace KorFeeds
