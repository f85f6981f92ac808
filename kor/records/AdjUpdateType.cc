#include "kor/records/AdjUpdateType.h"

#include <string>

namespace Kor {

char const* toString(AdjUpdateType v) {
  switch (v) {
    case AdjUpdateType::regularAdjUpdate: return "regularAdjUpdate";
    case AdjUpdateType::linkUpAdjUpdate: return "linkUpAdjUpdate";
    case AdjUpdateType::linkDownAdjUpdate: return "linkDownAdjUpdate";
  }
  return nullptr;
}

std::ostream& operator<<(std::ostream& os, AdjUpdateType v) {
  if (char const* s = toString(v)) return os << s;
  return os << "AdjUpdateType(" << static_cast<int>(v) << ")";
}

}  // namespace Kor
