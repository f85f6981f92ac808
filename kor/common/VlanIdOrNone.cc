#include "kor/common/VlanIdOrNone.h"

#include "vix/RangeError.h"

namespace Kor {

VlanIdOrNone::VlanIdOrNone(int64_t value) {
  if (value < none || value > max) throw Vix::RangeError("VlanIdOrNone::value > 4094 not allowed");
  value_ = static_cast<uint16_t>(value);
}

std::ostream& operator<<(std::ostream& os, VlanIdOrNone v) { return os << v.value(); }

}  // namespace Kor
