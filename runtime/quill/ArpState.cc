#include "quill/ArpState.h"

namespace Quill::Arp {

std::string str(ArpState s) {
  switch (s) {
    case ArpState::incomplete: return "incomplete";
    case ArpState::reachable: return "reachable";
    case ArpState::stale: return "stale";
    case ArpState::delay: return "delay";
    case ArpState::probe: return "probe";
    case ArpState::failed: return "failed";
    case ArpState::permanent: return "permanent";
    case ArpState::noArp: return "noArp";
  }
  return "ArpState(" + std::to_string(int(s)) + ")";
}

std::ostream& operator<<(std::ostream& os, ArpState s) { return os << str(s); }

bool isResolved(ArpState s) {
  switch (s) {
    case ArpState::reachable:
    case ArpState::stale:
    case ArpState::delay:
    case ArpState::probe:
    case ArpState::permanent:
      return true;
    default:
      return false;
  }
}

}  // namespace Quill::Arp
