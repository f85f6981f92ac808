#pragma once
// What a VLAN translation matches on a frame: its outer VLAN tag and, for a
// double-tagged frame, optionally its inner tag (0: any inner tag, or none).
// Raw 12-bit values as the configuration agent writes them; the library
// checks their range (Kor::VlanId) before anything is programmed.
#include <compare>
#include <cstdint>
#include <ostream>
#include <string>

namespace Bridging {

class VlanXlateKey {
 public:
  VlanXlateKey() = default;
  explicit VlanXlateKey(uint16_t outerVlan, uint16_t innerVlan = 0) : outerVlan_(outerVlan), innerVlan_(innerVlan) {}

  uint16_t outerVlan() const { return outerVlan_; }
  uint16_t innerVlan() const { return innerVlan_; }
  auto operator<=>(VlanXlateKey const&) const = default;

  // "100", or "100.200" with an inner tag.
  std::string str() const {
    std::string s = std::to_string(outerVlan_);
    if (innerVlan_) {
      s += '.';
      s += std::to_string(innerVlan_);
    }
    return s;
  }

 private:
  uint16_t outerVlan_ = 0;
  uint16_t innerVlan_ = 0;
};

inline std::ostream& operator<<(std::ostream& os, VlanXlateKey const& k) { return os << k.str(); }

}  // namespace Bridging
