#pragma once
// How a LAG is realised: by the chip's own link aggregation (hardwareLag) or
// by software over individual ports (softwareLag).
#include <ostream>

#include "kor/common/KorExport.h"

namespace Kor {

enum KorLagType : int {
  softwareLag,
  hardwareLag,
};

// Prints the enumerator name; a value outside the enum as "KorLagType(<n>)".
KOR_EXPORT std::ostream& operator<<(std::ostream& os, KorLagType v);

}  // namespace Kor
