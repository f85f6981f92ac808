#include "kor/common/KorLagType.h"

namespace Kor {

std::ostream& operator<<(std::ostream& os, KorLagType v) {
  switch (v) {
    case KorLagType::softwareLag:
      return os << "softwareLag";
    case KorLagType::hardwareLag:
      return os << "hardwareLag";
  }
  return os << "KorLagType(" << static_cast<int>(v) << ")";
}

}  // namespace Kor
