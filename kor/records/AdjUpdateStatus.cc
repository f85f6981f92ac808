#include "kor/records/AdjUpdateStatus.h"

namespace Kor {

char const* toString(AdjUpdateStatus v) {
  switch (v) {
    case AdjUpdateStatus::adjUpdateFail: return "adjUpdateFail";
    case AdjUpdateStatus::adjUpdateSuccess: return "adjUpdateSuccess";
    case AdjUpdateStatus::adjUpdateNotReady: return "adjUpdateNotReady";
  }
  return nullptr;
}

std::ostream& operator<<(std::ostream& os, AdjUpdateStatus v) {
  if (char const* s = toString(v)) return os << s;
  return os << "AdjUpdateStatus(" << static_cast<int>(v) << ")";
}

}  // namespace Kor
