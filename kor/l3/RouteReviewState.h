#pragma once
// Review state of one route: changed (queued for review) or clean (handed
// over).
// Values outside the list print as "RouteReviewState(<number>)".
#include <cstdint>
#include <ostream>

#include "kor/common/KorExport.h"

namespace Kor {

enum class RouteReviewState : uint8_t {
  cleanRoute,
  changedRoute,
};

KOR_EXPORT char const* toString(RouteReviewState v);
KOR_EXPORT std::ostream& operator<<(std::ostream& os, RouteReviewState v);

}  // namespace Kor
