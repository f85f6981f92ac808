#pragma once
// A VLAN id or none: 0..4094, where 0 (the default) means "no VLAN", e.g. an
// untagged sub-interface. The constructor throws Vix::RangeError above 4094.
#include <compare>
#include <cstdint>
#include <functional>
#include <ostream>

#include "kor/common/KorExport.h"
#include "kor/common/VlanId.h"

namespace Kor {

class KOR_EXPORT VlanIdOrNone {
 public:
  static constexpr uint16_t none = 0;
  static constexpr uint16_t max = 4094;

  VlanIdOrNone() = default;
  explicit VlanIdOrNone(int64_t value);
  VlanIdOrNone(VlanId v) : value_(v.value()) {}

  uint16_t value() const { return value_; }
  bool isNone() const { return value_ == none; }
  // The VLAN itself; only meaningful when !isNone().
  VlanId vlanId() const { return VlanId(value_); }
  auto operator<=>(VlanIdOrNone const&) const = default;

 private:
  uint16_t value_ = none;
};

KOR_EXPORT std::ostream& operator<<(std::ostream& os, VlanIdOrNone v);

}  // namespace Kor

template <>
struct std::hash<Kor::VlanIdOrNone> {
  size_t operator()(Kor::VlanIdOrNone v) const noexcept { return v.value(); }
};
