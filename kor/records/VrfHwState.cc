#include "kor/records/VrfHwState.h"

namespace Kor {

char const* toString(VrfHwState v) {
  switch (v) {
    case VrfHwState::vrfHwPending: return "pending";
    case VrfHwState::vrfHwInstalled: return "installed";
    case VrfHwState::vrfHwFailed: return "failed";
    case VrfHwState::vrfHwNotReady: return "notready";
    case VrfHwState::vrfHwFull: return "full";
  }
  return nullptr;
}

std::ostream& operator<<(std::ostream& os, VrfHwState v) {
  if (char const* s = toString(v)) return os << s;
  return os << "VrfHwState(" << static_cast<int>(v) << ")";
}

}  // namespace Kor
