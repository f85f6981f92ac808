#include "kor/l3/ParentDropRouteReturnType.h"

#include <string>

namespace Kor {

char const* toString(ParentDropRouteReturnType v) {
  switch (v) {
    case ParentDropRouteReturnType::parentFound: return "parentFound";
    case ParentDropRouteReturnType::parentNotFound: return "parentNotFound";
    case ParentDropRouteReturnType::parentUnprogrammed: return "parentUnprogrammed";
    case ParentDropRouteReturnType::parentDeleted: return "parentDeleted";
  }
  return nullptr;
}

std::ostream& operator<<(std::ostream& os, ParentDropRouteReturnType v) {
  if (char const* s = toString(v)) return os << s;
  return os << "ParentDropRouteReturnType(" << static_cast<int>(v) << ")";
}

}  // namespace Kor
