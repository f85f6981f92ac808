#include "kor/records/L2AdjState.h"

#include <string>

namespace Kor {

char const* toString(L2AdjState v) {
  switch (v) {
    case L2AdjState::newborn: return "newborn";
    case L2AdjState::installFailed: return "installFailed";
    case L2AdjState::installed: return "installed";
    case L2AdjState::installNotReady: return "installNotReady";
  }
  return nullptr;
}

std::ostream& operator<<(std::ostream& os, L2AdjState v) {
  if (char const* s = toString(v)) return os << s;
  return os << "L2AdjState(" << static_cast<int>(v) << ")";
}

}  // namespace Kor
