#pragma once
// The switchport configuration of one interface, as the bridging
// configuration agent publishes it: the mode, the access VLAN (access and
// dot1q-tunnel ports), the allowed VLANs and native VLAN of a trunk, and the
// TPID. VLAN ids are plain numbers here; the library checks their range.
// A trunk allows every VLAN unless allowedAll is false, then the ones in
// allowedVlans.
#include <cstdint>
#include <set>

namespace Bridging {

struct SwitchportConfig {
  enum class Mode : uint8_t { access, trunk, dot1qTunnel };

  Mode mode = Mode::access;
  uint16_t accessVlan = 1;
  bool allowedAll = true;
  std::set<uint16_t> allowedVlans;
  uint16_t nativeVlan = 1;
  int64_t vlanTpid = 0x8100;

  bool operator==(SwitchportConfig const&) const = default;
};

inline char const* toString(SwitchportConfig::Mode m) {
  switch (m) {
    case SwitchportConfig::Mode::access: return "access";
    case SwitchportConfig::Mode::trunk: return "trunk";
    case SwitchportConfig::Mode::dot1qTunnel: return "dot1q-tunnel";
  }
  return "?";
}

}  // namespace Bridging
