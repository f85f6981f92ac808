#pragma once
// Why an adjacency is handed to the platform again: a regular change, or an
// interface going up or down (link-down updates go first).
// Values outside the list print as "AdjUpdateType(<number>)".
#include <cstdint>
#include <ostream>

#include "kor/common/KorExport.h"

namespace Kor {

enum class AdjUpdateType : uint8_t {
  regularAdjUpdate,
  linkUpAdjUpdate,
  linkDownAdjUpdate,
};

KOR_EXPORT char const* toString(AdjUpdateType v);
KOR_EXPORT std::ostream& operator<<(std::ostream& os, AdjUpdateType v);

}  // namespace Kor
