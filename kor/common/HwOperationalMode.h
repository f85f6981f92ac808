#pragma once
// The hardware operating mode of the switch. Tap aggregation (modeTapAgg) is
// the one most machines care about: spanning tree and ACLs obey it.
#include <ostream>

#include "kor/common/KorExport.h"

namespace Kor {

enum HwOperationalMode : int {
  modeNormal,
  modeDiagnostic,
  modeMacPhyConc,
  modeTapAgg,
  modeNotConfigured,
};

// Prints the enumerator name; a value outside the enum as "HwOperationalMode(<n>)".
KOR_EXPORT std::ostream& operator<<(std::ostream& os, HwOperationalMode v);

}  // namespace Kor
