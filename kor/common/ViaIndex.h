#pragma once
// Index of a via within a FEC: min..max = 0..1055, one per bit of a ViaBitmap
// (33 words of 32 bits), so a FEC holds at most 1056 vias. The constructor
// throws Vix::RangeError outside. word()/bit() locate the via in a ViaBitmap.
#include <compare>
#include <cstdint>
#include <functional>
#include <ostream>

#include "kor/common/KorExport.h"
#include "kor/common/ViaBitmapIndex.h"

namespace Kor {

class KOR_EXPORT ViaIndex {
 public:
  static constexpr uint32_t min = 0;
  static constexpr uint32_t max = ViaBitmapIndex::words * 32 - 1;

  ViaIndex() = default;
  explicit ViaIndex(int64_t value);

  uint32_t value() const { return value_; }
  ViaBitmapIndex word() const { return ViaBitmapIndex(value_ / 32); }
  uint32_t bit() const { return value_ % 32; }
  auto operator<=>(ViaIndex const&) const = default;

 private:
  uint32_t value_ = min;
};

KOR_EXPORT std::ostream& operator<<(std::ostream& os, ViaIndex v);

}  // namespace Kor

template <>
struct std::hash<Kor::ViaIndex> {
  size_t operator()(Kor::ViaIndex v) const noexcept { return v.value(); }
};
