#include "kor/common/ViaIndex.h"

#include "vix/RangeError.h"

namespace Kor {

ViaIndex::ViaIndex(int64_t value) {
  if (value < min || value > max) {
    throw Vix::RangeError("ViaIndex::value < ViaIndex::min or > ViaIndex::max not allowed");
  }
  value_ = static_cast<uint32_t>(value);
}

std::ostream& operator<<(std::ostream& os, ViaIndex v) { return os << v.value(); }

}  // namespace Kor
