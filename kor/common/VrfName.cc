#include "kor/common/VrfName.h"

#include "vix/RangeError.h"

namespace Kor {

VrfName::VrfName(std::string name) : name_(std::move(name)) {
  if (name_.size() > maxBytes) throw Vix::RangeError("VrfName::bytes > 100 not allowed");
}

std::ostream& operator<<(std::ostream& os, VrfName const& v) { return os << v.str(); }

}  // namespace Kor
