#include "kor/records/NextHopType.h"

#include <string>

namespace Kor {

char const* toString(NextHopType v) {
  switch (v) {
    case NextHopType::unknownNextHop: return "unknownNextHop";
    case NextHopType::cpuPort: return "cpuPort";
    case NextHopType::dropPort: return "dropPort";
    case NextHopType::physicalPort: return "physicalPort";
    case NextHopType::vlanFloodset: return "vlanFloodset";
    case NextHopType::portChannel: return "portChannel";
    case NextHopType::ipTunnel: return "ipTunnel";
  }
  return nullptr;
}

std::ostream& operator<<(std::ostream& os, NextHopType v) {
  if (char const* s = toString(v)) return os << s;
  return os << "NextHopType(" << static_cast<int>(v) << ")";
}

}  // namespace Kor
