#pragma once
// A frame offered to the chip's packet path: the front-panel port it arrives
// on, its tags as they are on the wire (outer first), its addresses, and the
// flow hash the chip would compute from its headers (chooses one member of
// each egress LAG).
#include <cstdint>
#include <vector>

#include "nollo/EthAddr.h"
#include "nollo/IntfId.h"
#include "softchip/packet/FrameTag.h"

namespace SoftChip {

struct Frame {
  Nollo::IntfId inPort;
  std::vector<FrameTag> tags;
  Nollo::EthAddr dst;
  Nollo::EthAddr src;
  uint64_t flowHash = 0;
};

}  // namespace SoftChip
