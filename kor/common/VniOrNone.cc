#include "kor/common/VniOrNone.h"

#include "vix/RangeError.h"

namespace Kor {

VniOrNone::VniOrNone(int64_t value) {
  if (value < 0 || value > max) throw Vix::RangeError("VniOrNone::value < 0 or > 16777216 not allowed");
  value_ = static_cast<uint32_t>(value);
}

std::ostream& operator<<(std::ostream& os, VniOrNone v) { return os << v.value(); }

}  // namespace Kor
