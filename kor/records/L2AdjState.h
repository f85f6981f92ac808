#pragma once
// The platform's answer for one L2 adjacency: not yet tried, failed, installed
// or not ready (retried by a later pass).
// Values outside the list print as "L2AdjState(<number>)".
#include <cstdint>
#include <ostream>

#include "kor/common/KorExport.h"

namespace Kor {

enum class L2AdjState : uint8_t {
  newborn,
  installFailed,
  installed,
  installNotReady,
};

KOR_EXPORT char const* toString(L2AdjState v);
KOR_EXPORT std::ostream& operator<<(std::ostream& os, L2AdjState v);

}  // namespace Kor
