#pragma once
// Why an adjacency (FEC) is queued for review.
// Values outside the list print as "AdjReviewType(<number>)".
#include <cstdint>
#include <ostream>

#include "kor/common/KorExport.h"

namespace Kor {

enum class AdjReviewType : uint8_t {
  adjReviewNone,
  adjReviewUpdate,
  adjReviewLinkUp,
  adjReviewLinkDown,
  adjReviewDelete,
};

KOR_EXPORT char const* toString(AdjReviewType v);
KOR_EXPORT std::ostream& operator<<(std::ostream& os, AdjReviewType v);

}  // namespace Kor
