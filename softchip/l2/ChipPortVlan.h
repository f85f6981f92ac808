#pragma once
// One row of the chip's "portvlan" table: a port's default VLAN, its
// tagging mode and the TPID it matches (with the dot1q-tunnel flag).
#include <cstdint>
#include <ostream>

#include "kor/common/KorPortVlanTpidData.h"
#include "models/bridging/SwitchportConfig.h"

namespace SoftChip {

struct ChipPortVlan {
  uint16_t defaultVlan = 1;
  Bridging::SwitchportConfig::Mode tagging = Bridging::SwitchportConfig::Mode::access;
  Kor::KorPortVlanTpidData tpid;
  bool operator==(ChipPortVlan const&) const = default;
};

// "vlan 10 access tpid 0x8100"
inline std::ostream& operator<<(std::ostream& os, ChipPortVlan const& p) {
  os << "vlan " << p.defaultVlan << ' ' << Bridging::toString(p.tagging) << " tpid 0x" << std::hex
     << p.tpid.hwVlanTpid() << std::dec;
  return os;
}

}  // namespace SoftChip
