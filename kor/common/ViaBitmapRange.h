#pragma once
// An inclusive span [first, last] of via indices within a ViaBitmap, e.g. the
// members of one next-hop group inside a FEC's bitmap. Both ends are ViaIndex
// values (so inside the bitmap); the constructor throws Vix::RangeError when
// last < first.
#include <compare>
#include <cstdint>
#include <ostream>

#include "kor/common/KorExport.h"
#include "kor/common/ViaIndex.h"

namespace Kor {

class KOR_EXPORT ViaBitmapRange {
 public:
  // The whole bitmap.
  ViaBitmapRange() : first_(ViaIndex::min), last_(ViaIndex::max) {}
  ViaBitmapRange(ViaIndex first, ViaIndex last);

  ViaIndex first() const { return first_; }
  ViaIndex last() const { return last_; }
  uint32_t size() const { return last_.value() - first_.value() + 1; }
  bool contains(ViaIndex i) const { return first_ <= i && i <= last_; }
  auto operator<=>(ViaBitmapRange const&) const = default;

 private:
  ViaIndex first_;
  ViaIndex last_;
};

KOR_EXPORT std::ostream& operator<<(std::ostream& os, ViaBitmapRange const& r);

}  // namespace Kor
