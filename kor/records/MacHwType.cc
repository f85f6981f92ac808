#include "kor/records/MacHwType.h"

namespace Kor {

char const* toString(MacHwType v) {
  switch (v) {
    case MacHwType::macHwKeyBridge: return "macHwKeyBridge";
    case MacHwType::macHwKeyVxlan: return "macHwKeyVxlan";
    case MacHwType::macHwKeyBridgeDwide: return "macHwKeyBridgeDwide";
  }
  return nullptr;
}

std::ostream& operator<<(std::ostream& os, MacHwType v) {
  if (char const* s = toString(v)) return os << s;
  return os << "MacHwType(" << static_cast<int>(v) << ")";
}

}  // namespace Kor
