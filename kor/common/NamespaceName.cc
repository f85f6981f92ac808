#include "kor/common/NamespaceName.h"

#include "vix/RangeError.h"

namespace Kor {

NamespaceName::NamespaceName(std::string name) : name_(std::move(name)) {
  if (name_.size() > maxBytes) throw Vix::RangeError("NamespaceName::bytes > 150 not allowed");
}

std::ostream& operator<<(std::ostream& os, NamespaceName const& v) { return os << v.str(); }

}  // namespace Kor
