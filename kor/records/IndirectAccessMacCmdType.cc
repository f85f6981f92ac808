#include "kor/records/IndirectAccessMacCmdType.h"

namespace Kor {

char const* toString(IndirectAccessMacCmdType v) {
  switch (v) {
    case IndirectAccessMacCmdType::addHost: return "addHost";
    case IndirectAccessMacCmdType::addMcastHost: return "addMcastHost";
    case IndirectAccessMacCmdType::removeHost: return "removeHost";
    case IndirectAccessMacCmdType::flushVlanPort: return "flushVlanPort";
    case IndirectAccessMacCmdType::flushPort: return "flushPort";
    case IndirectAccessMacCmdType::flushVlan: return "flushVlan";
    case IndirectAccessMacCmdType::flushVlanLag: return "flushVlanLag";
    case IndirectAccessMacCmdType::flushLag: return "flushLag";
    case IndirectAccessMacCmdType::flushAll: return "flushAll";
  }
  return nullptr;
}

std::ostream& operator<<(std::ostream& os, IndirectAccessMacCmdType v) {
  if (char const* s = toString(v)) return os << s;
  return os << "IndirectAccessMacCmdType(" << static_cast<int>(v) << ")";
}

}  // namespace Kor
