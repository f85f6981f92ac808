#pragma once
// A VXLAN network identifier or none: 0..16777216, 0 (the default) meaning
// none. The constructor throws Vix::RangeError outside that range.
#include <compare>
#include <cstdint>
#include <functional>
#include <ostream>

#include "kor/common/KorExport.h"

namespace Kor {

class KOR_EXPORT VniOrNone {
 public:
  static constexpr uint32_t none = 0;
  static constexpr uint32_t max = 16777216;

  VniOrNone() = default;
  explicit VniOrNone(int64_t value);

  uint32_t value() const { return value_; }
  bool isNone() const { return value_ == none; }
  auto operator<=>(VniOrNone const&) const = default;

 private:
  uint32_t value_ = none;
};

KOR_EXPORT std::ostream& operator<<(std::ostream& os, VniOrNone v);

}  // namespace Kor

template <>
struct std::hash<Kor::VniOrNone> {
  size_t operator()(Kor::VniOrNone v) const noexcept { return v.value(); }
};
