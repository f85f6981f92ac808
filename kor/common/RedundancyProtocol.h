#pragma once
// How a standby supervisor takes over: not at all (protocolSimplex), by a
// restart of the agents (protocolColdStandby) or with state already in place
// (protocolHotStandby).
#include <ostream>

#include "kor/common/KorExport.h"

namespace Redundancy {

enum RedundancyProtocol : int {
  protocolSimplex,
  protocolColdStandby,
  protocolHotStandby,
};

// Prints the enumerator name; a value outside the enum as "RedundancyProtocol(<n>)".
KOR_EXPORT std::ostream& operator<<(std::ostream& os, RedundancyProtocol v);

}  // namespace Redundancy
