#pragma once
// The platform's answer to one route hand-over: the route is in the chip
// (programmed), the chip refused it (failed: retried after the unprogrammed
// retry period), or the chip's route table is full (resourceFull: retried
// when room comes back).
#include <cstdint>
#include <ostream>

namespace KorHelper {

enum class RouteUpdateAnswer : uint8_t { programmed, failed, resourceFull };

inline std::ostream& operator<<(std::ostream& os, RouteUpdateAnswer a) {
  switch (a) {
    case RouteUpdateAnswer::programmed: return os << "programmed";
    case RouteUpdateAnswer::failed: return os << "failed";
    case RouteUpdateAnswer::resourceFull: return os << "resourceFull";
  }
  return os << "RouteUpdateAnswer(" << int(a) << ")";
}

}  // namespace KorHelper
