#pragma once
// A VLAN id that names a real VLAN: 1..4094 (0 and 4095 are reserved on the
// wire). Every constructed value is in range; the constructor throws
// Vix::RangeError otherwise. Default-constructed it is VLAN 1, the default VLAN.
#include <compare>
#include <cstdint>
#include <functional>
#include <ostream>

#include "kor/common/KorExport.h"

namespace Kor {

class KOR_EXPORT VlanId {
 public:
  static constexpr uint16_t min = 1;
  static constexpr uint16_t max = 4094;

  VlanId() = default;
  explicit VlanId(int64_t value);

  uint16_t value() const { return value_; }
  auto operator<=>(VlanId const&) const = default;

 private:
  uint16_t value_ = min;
};

KOR_EXPORT std::ostream& operator<<(std::ostream& os, VlanId v);

}  // namespace Kor

template <>
struct std::hash<Kor::VlanId> {
  size_t operator()(Kor::VlanId v) const noexcept { return v.value(); }
};
