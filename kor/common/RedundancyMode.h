#pragma once
// The supervisor redundancy mode this agent runs in: no peer supervisor
// (modeDisabled), the active one, or the standby one.
#include <ostream>

#include "kor/common/KorExport.h"

namespace Redundancy {

enum RedundancyMode : int {
  modeDisabled,
  modeActive,
  modeStandby,
};

// Prints the enumerator name; a value outside the enum as "RedundancyMode(<n>)".
KOR_EXPORT std::ostream& operator<<(std::ostream& os, RedundancyMode v);

}  // namespace Redundancy
