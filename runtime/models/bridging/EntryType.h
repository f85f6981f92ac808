#pragma once
// How a MAC table entry came to be: learned on a local port, configured, or
// learned / configured behind a remote VTEP.
#include <cstdint>
#include <ostream>
#include <string>

namespace Bridging {

enum class EntryType : uint8_t {
  learnedDynamicMac,
  configuredStaticMac,
  learnedRemoteMac,
  configuredRemoteMac,
  peerLearnedRemoteMac,
};

inline std::string str(EntryType t) {
  switch (t) {
    case EntryType::learnedDynamicMac: return "learnedDynamicMac";
    case EntryType::configuredStaticMac: return "configuredStaticMac";
    case EntryType::learnedRemoteMac: return "learnedRemoteMac";
    case EntryType::configuredRemoteMac: return "configuredRemoteMac";
    case EntryType::peerLearnedRemoteMac: return "peerLearnedRemoteMac";
  }
  return "EntryType(" + std::to_string(int(t)) + ")";
}

inline std::ostream& operator<<(std::ostream& os, EntryType t) { return os << str(t); }

}  // namespace Bridging
