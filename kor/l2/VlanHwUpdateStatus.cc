#include "kor/l2/VlanHwUpdateStatus.h"

#include <cstdio>

namespace Kor {

std::ostream& operator<<(std::ostream& os, VlanHwUpdateStatus::VlanProgrammingStatus s) {
  switch (s) {
    case VlanHwUpdateStatus::VlanProgrammingStatus::programmingSucceeded: return os << "programmingSucceeded";
    case VlanHwUpdateStatus::VlanProgrammingStatus::programmingFailed: return os << "programmingFailed";
  }
  char buf[64];
  std::snprintf(buf, sizeof buf, "VlanHwUpdateStatus::VlanProgrammingStatus(%d)", int(s));
  return os << buf;
}

}  // namespace Kor
