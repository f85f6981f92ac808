#pragma once
// IP header constants that records carry to tell the families apart.
#include <cstdint>

namespace Nollo {

struct Ip6Hdr {
  static constexpr uint8_t ipVersion4() { return 4; }
  static constexpr uint8_t ipVersion6() { return 6; }
};

}  // namespace Nollo
