#pragma once
// One 802.1Q tag a frame carries on the wire: the TPID it was sent with and
// the VLAN id. A frame carries none, one (outer) or two (outer then inner).
#include <compare>
#include <cstdint>

namespace SoftChip {

struct FrameTag {
  uint16_t tpid = 0x8100;
  uint16_t vid = 0;
  auto operator<=>(FrameTag const&) const = default;
};

}  // namespace SoftChip
