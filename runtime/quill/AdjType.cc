#include "quill/AdjType.h"

namespace Quill::Fib {

std::string str(AdjType t) {
  switch (t) {
    case AdjType::unspecifiedAdj: return "unspecifiedAdj";
    case AdjType::nexthopAdj: return "nexthopAdj";
    case AdjType::fecAdj: return "fecAdj";
    case AdjType::tunnelAdj: return "tunnelAdj";
    case AdjType::mplsAdj: return "mplsAdj";
    case AdjType::specialAdj: return "specialAdj";
    case AdjType::nextHopGroupAdj: return "nextHopGroupAdj";
  }
  return "AdjType(" + std::to_string(int(t)) + ")";
}

std::ostream& operator<<(std::ostream& os, AdjType t) { return os << str(t); }

}  // namespace Quill::Fib
