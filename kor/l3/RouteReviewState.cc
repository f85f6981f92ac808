#include "kor/l3/RouteReviewState.h"

#include <string>

namespace Kor {

char const* toString(RouteReviewState v) {
  switch (v) {
    case RouteReviewState::cleanRoute: return "cleanRoute";
    case RouteReviewState::changedRoute: return "changedRoute";
  }
  return nullptr;
}

std::ostream& operator<<(std::ostream& os, RouteReviewState v) {
  if (char const* s = toString(v)) return os << s;
  return os << "RouteReviewState(" << static_cast<int>(v) << ")";
}

}  // namespace Kor
