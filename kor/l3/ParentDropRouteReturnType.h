#pragma once
// Outcome of looking for the parent of an unprogrammed route to program a drop
// entry for it.
// Values outside the list print as "ParentDropRouteReturnType(<number>)".
#include <cstdint>
#include <ostream>

#include "kor/common/KorExport.h"

namespace Kor {

enum class ParentDropRouteReturnType : uint8_t {
  parentFound,
  parentNotFound,
  parentUnprogrammed,
  parentDeleted,
};

KOR_EXPORT char const* toString(ParentDropRouteReturnType v);
KOR_EXPORT std::ostream& operator<<(std::ostream& os, ParentDropRouteReturnType v);

}  // namespace Kor
