#include "kor/records/AdjReviewType.h"

#include <string>

namespace Kor {

char const* toString(AdjReviewType v) {
  switch (v) {
    case AdjReviewType::adjReviewNone: return "adjReviewNone";
    case AdjReviewType::adjReviewUpdate: return "adjReviewUpdate";
    case AdjReviewType::adjReviewLinkUp: return "adjReviewLinkUp";
    case AdjReviewType::adjReviewLinkDown: return "adjReviewLinkDown";
    case AdjReviewType::adjReviewDelete: return "adjReviewDelete";
  }
  return nullptr;
}

std::ostream& operator<<(std::ostream& os, AdjReviewType v) {
  if (char const* s = toString(v)) return os << s;
  return os << "AdjReviewType(" << static_cast<int>(v) << ")";
}

}  // namespace Kor
