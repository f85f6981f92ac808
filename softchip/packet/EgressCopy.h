#pragma once
// One copy of a frame leaving the chip: the physical port it leaves by, the
// LAG that port was chosen for (empty when it left by a plain port), and
// its tags as they are on the wire (outer first).
#include <compare>
#include <vector>

#include "nollo/IntfId.h"
#include "softchip/packet/FrameTag.h"

namespace SoftChip {

struct EgressCopy {
  Nollo::IntfId port;
  Nollo::IntfId lag;
  std::vector<FrameTag> tags;
  auto operator<=>(EgressCopy const&) const = default;
};

}  // namespace SoftChip
