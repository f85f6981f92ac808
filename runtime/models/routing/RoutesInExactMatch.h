#pragma once
// One IPv6 prefix length the hardware keeps in its exact-match table instead
// of its longest-prefix table. Exact-match tables are built on nibble
// boundaries, so the length is held in nibbles (4 bits): 12..28, that is /48
// to /112. Every constructed value is in range; the constructor throws
// Vix::RangeError otherwise.
#include <compare>
#include <cstdint>
#include <functional>
#include <ostream>

#include "vix/RangeError.h"

namespace Routing {

class RoutesInExactMatch {
 public:
  static constexpr uint8_t min = 12;
  static constexpr uint8_t max = 28;

  RoutesInExactMatch() = default;
  explicit RoutesInExactMatch(int64_t prefixLength) {
    if (prefixLength < min || prefixLength > max)
      throw Vix::RangeError("RoutesInExactMatch::prefixLength < 12 or > 28 not allowed");
    prefixLength_ = static_cast<uint8_t>(prefixLength);
  }
  // The exact-match length of an IPv6 prefix length in bits, if it has one.
  static bool fromBits(unsigned bits, RoutesInExactMatch& out) {
    if (bits % 4 != 0 || bits / 4 < min || bits / 4 > max) return false;
    out.prefixLength_ = static_cast<uint8_t>(bits / 4);
    return true;
  }

  uint8_t prefixLength() const { return prefixLength_; }
  unsigned bits() const { return prefixLength_ * 4u; }
  auto operator<=>(RoutesInExactMatch const&) const = default;

 private:
  uint8_t prefixLength_ = min;
};

inline std::ostream& operator<<(std::ostream& os, RoutesInExactMatch r) { return os << "/" << r.bits(); }

}  // namespace Routing

template <>
struct std::hash<Routing::RoutesInExactMatch> {
  size_t operator()(Routing::RoutesInExactMatch r) const noexcept { return r.prefixLength(); }
};
