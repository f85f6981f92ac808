#include "kor/l2/VlanUpdaterState.h"

namespace Kor {

std::ostream& operator<<(std::ostream& os, VlanUpdaterState s) {
  return os << (s == VlanUpdaterState::busy ? "busy" : "idle");
}

}  // namespace Kor
