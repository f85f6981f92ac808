#include "kor/l3/FbuPriorityProcessingState.h"

namespace Kor {

std::ostream& operator<<(std::ostream& os, FbuPriorityProcessingState v) {
  switch (v) {
    case FbuPriorityProcessingState::fbuPPInit: return os << "fbuPPInit";
    case FbuPriorityProcessingState::fbuPPStarted: return os << "fbuPPStarted";
    case FbuPriorityProcessingState::fbuPPV4First: return os << "fbuPPV4First";
    case FbuPriorityProcessingState::fbuPPEnd: return os << "fbuPPEnd";
  }
  return os << "FbuPriorityProcessingState(" << static_cast<int>(v) << ")";
}

}  // namespace Kor
