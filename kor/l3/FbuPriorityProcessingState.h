#pragma once
// Phase of the VRF root's fast-boot priority schedule: not started, kicked
// off, IPv4 routes favoured, IPv6 routes favoured until normal time sharing
// comes back. Values outside the list print as "FbuPriorityProcessingState(<n>)".
#include <cstdint>
#include <ostream>

#include "kor/common/KorExport.h"

namespace Kor {

enum class FbuPriorityProcessingState : uint8_t { fbuPPInit, fbuPPStarted, fbuPPV4First, fbuPPEnd };

KOR_EXPORT std::ostream& operator<<(std::ostream& os, FbuPriorityProcessingState v);

}  // namespace Kor
