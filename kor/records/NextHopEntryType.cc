#include "kor/records/NextHopEntryType.h"

namespace Kor {

char const* toString(NextHopEntryType v) {
  switch (v) {
    case NextHopEntryType::nextHopArpRequired: return "nextHopArpRequired";
    case NextHopEntryType::nextHopCpu: return "nextHopCpu";
    case NextHopEntryType::nextHopArpResolved: return "nextHopArpResolved";
    case NextHopEntryType::nextHopDrop: return "nextHopDrop";
    case NextHopEntryType::nextHopCpuSlow: return "nextHopCpuSlow";
    case NextHopEntryType::nextHopCpuBcast: return "nextHopCpuBcast";
    case NextHopEntryType::nextHopGroup: return "nextHopGroup";
    case NextHopEntryType::nextHopTunnel: return "nextHopTunnel";
    case NextHopEntryType::nextHopArpDrop: return "nextHopArpDrop";
    case NextHopEntryType::nextHopRouteOverflowDrop: return "nextHopRouteOverflowDrop";
    case NextHopEntryType::nextHopFlow: return "nextHopFlow";
  }
  return nullptr;
}

std::ostream& operator<<(std::ostream& os, NextHopEntryType v) {
  if (char const* s = toString(v)) return os << s;
  return os << "NextHopEntryType(" << static_cast<int>(v) << ")";
}

}  // namespace Kor
