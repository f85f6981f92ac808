#include "kor/common/HwOperationalMode.h"

namespace Kor {

std::ostream& operator<<(std::ostream& os, HwOperationalMode v) {
  switch (v) {
    case HwOperationalMode::modeNormal:
      return os << "modeNormal";
    case HwOperationalMode::modeDiagnostic:
      return os << "modeDiagnostic";
    case HwOperationalMode::modeMacPhyConc:
      return os << "modeMacPhyConc";
    case HwOperationalMode::modeTapAgg:
      return os << "modeTapAgg";
    case HwOperationalMode::modeNotConfigured:
      return os << "modeNotConfigured";
  }
  return os << "HwOperationalMode(" << static_cast<int>(v) << ")";
}

}  // namespace Kor
