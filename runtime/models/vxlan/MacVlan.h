#pragma once
// Key of a VXLAN learned host: the MAC and the VLAN it was learned in.
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>

#include "nollo/EthAddr.h"
#include "vix/HashMap.h"

namespace Vxlan {

struct MacVlan {
  Nollo::EthAddr mac;
  uint16_t vlan = 0;

  auto operator<=>(MacVlan const&) const = default;
};

inline std::ostream& operator<<(std::ostream& os, MacVlan const& k) { return os << k.mac << " vlan " << k.vlan; }

}  // namespace Vxlan

template <>
struct std::hash<Vxlan::MacVlan> {
  size_t operator()(Vxlan::MacVlan const& k) const noexcept {
    return size_t(Vix::mixHash(k.mac.toUint64() ^ (uint64_t(k.vlan) << 48)));
  }
};
