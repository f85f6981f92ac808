#pragma once
// State of the interface of an adjacency via, as the adjacency review sees it.
// Values outside the list print as "AdjIntfState(<number>)".
#include <cstdint>
#include <ostream>

#include "kor/common/KorExport.h"

namespace Kor {

enum class AdjIntfState : uint8_t {
  intfDown,
  intfBfdDown,
  intfUp,
};

KOR_EXPORT char const* toString(AdjIntfState v);
KOR_EXPORT std::ostream& operator<<(std::ostream& os, AdjIntfState v);

}  // namespace Kor
