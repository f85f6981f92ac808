#include "kor/records/L2AdjType.h"

namespace Kor {

char const* toString(L2AdjType v) {
  switch (v) {
    case L2AdjType::routingAdj: return "routingAdj";
    case L2AdjType::nexthopAdj: return "nexthopAdj";
    case L2AdjType::flowAdj: return "flowAdj";
  }
  return nullptr;
}

std::ostream& operator<<(std::ostream& os, L2AdjType v) {
  if (char const* s = toString(v)) return os << s;
  return os << "L2AdjType(" << static_cast<int>(v) << ")";
}

}  // namespace Kor
