#pragma once
// Why an FPM route or next-hop object was not applied: each cause has its
// counter in `show fpm` (FpmRouteSource::Counters).
#include <cstdint>

namespace KorAgent {

enum class FpmFault : uint8_t { none, unknownTable, unknownNexthop, unknownIntf, familyMismatch, unsupported, refused };

}  // namespace KorAgent
