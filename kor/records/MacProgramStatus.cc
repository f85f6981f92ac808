#include "kor/records/MacProgramStatus.h"

namespace Kor {

char const* toString(MacProgramStatus v) {
  switch (v) {
    case MacProgramStatus::macProgramSuccess: return "macProgramSuccess";
    case MacProgramStatus::macProgramParityError: return "macProgramParityError";
    case MacProgramStatus::macProgramBusy: return "macProgramBusy";
    case MacProgramStatus::macProgramFull: return "macProgramFull";
    case MacProgramStatus::macProgramFailed: return "macProgramFailed";
    case MacProgramStatus::macProgramInProgress: return "macProgramInProgress";
    case MacProgramStatus::macProgramFlushInProgress: return "macProgramFlushInProgress";
  }
  return nullptr;
}

std::ostream& operator<<(std::ostream& os, MacProgramStatus v) {
  if (char const* s = toString(v)) return os << s;
  return os << "MacProgramStatus(" << static_cast<int>(v) << ")";
}

}  // namespace Kor
