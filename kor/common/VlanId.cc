#include "kor/common/VlanId.h"

#include "vix/RangeError.h"

namespace Kor {

VlanId::VlanId(int64_t value) {
  if (value < min || value > max) throw Vix::RangeError("VlanId::value < 1 or > 4094 not allowed");
  value_ = static_cast<uint16_t>(value);
}

std::ostream& operator<<(std::ostream& os, VlanId v) { return os << v.value(); }

}  // namespace Kor
