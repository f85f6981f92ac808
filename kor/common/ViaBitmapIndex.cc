#include "kor/common/ViaBitmapIndex.h"

#include "vix/RangeError.h"

namespace Kor {

ViaBitmapIndex::ViaBitmapIndex(int64_t value) {
  if (value < min || value > max) {
    throw Vix::RangeError("ViaBitmapIndex::value < ViaBitmapIndex::min or > ViaBitmapIndex::max not allowed");
  }
  value_ = static_cast<uint32_t>(value);
}

std::ostream& operator<<(std::ostream& os, ViaBitmapIndex v) { return os << v.value(); }

}  // namespace Kor
