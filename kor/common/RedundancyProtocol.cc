#include "kor/common/RedundancyProtocol.h"

namespace Redundancy {

std::ostream& operator<<(std::ostream& os, RedundancyProtocol v) {
  switch (v) {
    case RedundancyProtocol::protocolSimplex:
      return os << "protocolSimplex";
    case RedundancyProtocol::protocolColdStandby:
      return os << "protocolColdStandby";
    case RedundancyProtocol::protocolHotStandby:
      return os << "protocolHotStandby";
  }
  return os << "RedundancyProtocol(" << static_cast<int>(v) << ")";
}

}  // namespace Redundancy
