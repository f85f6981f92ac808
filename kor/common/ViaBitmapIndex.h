#pragma once
// Index of one 32-bit word of a ViaBitmap: min..max, the 33 words that hold
// the 1056 via bits of a FEC. The constructor throws Vix::RangeError outside.
#include <compare>
#include <cstdint>
#include <functional>
#include <ostream>

#include "kor/common/KorExport.h"

namespace Kor {

class KOR_EXPORT ViaBitmapIndex {
 public:
  static constexpr uint32_t min = 0;
  static constexpr uint32_t max = 32;
  static constexpr uint32_t words = max - min + 1;

  ViaBitmapIndex() = default;
  explicit ViaBitmapIndex(int64_t value);

  uint32_t value() const { return value_; }
  auto operator<=>(ViaBitmapIndex const&) const = default;

 private:
  uint32_t value_ = min;
};

KOR_EXPORT std::ostream& operator<<(std::ostream& os, ViaBitmapIndex v);

}  // namespace Kor

template <>
struct std::hash<Kor::ViaBitmapIndex> {
  size_t operator()(Kor::ViaBitmapIndex v) const noexcept { return v.value(); }
};
