#include "kor/common/KorLagType.h"

#include <cstdio>

namespace Kor {

std::ostream& operator<<(std::ostream& os, KorLagType v) {
  switch (v) {
    case KorLagType::softwareLag:
      return os << "softwareLag";
    case KorLagType::hardwareLag:
      return os << "hardwareLag";
  }
  char text[32];
  std::snprintf(text, sizeof text, "KorLagType(%d)", static_cast<int>(v));
  return os << text;
}

}  // namespace Kor
