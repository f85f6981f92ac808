#include "kor/common/RedundancyMode.h"

namespace Redundancy {

std::ostream& operator<<(std::ostream& os, RedundancyMode v) {
  switch (v) {
    case RedundancyMode::modeDisabled:
      return os << "modeDisabled";
    case RedundancyMode::modeActive:
      return os << "modeActive";
    case RedundancyMode::modeStandby:
      return os << "modeStandby";
  }
  return os << "RedundancyMode(" << static_cast<int>(v) << ")";
}

}  // namespace Redundancy
