#pragma once
// The state the spanning-tree protocol gives one port in one topology, as it
// reports it: discarding (blocked: no frames, no learning), learning (learns
// source MACs, forwards nothing), forwarding, and trapping (BPDUs go to the
// CPU, data frames are dropped: a port the protocol holds while it decides,
// e.g. one with a guard that fired). Only forwarding passes data frames.
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>

namespace Bridging::Topology {

enum class PortState : uint8_t { discarding, learning, forwarding, trapping };

inline char const* toString(PortState s) {
  switch (s) {
    case PortState::discarding: return "discarding";
    case PortState::learning: return "learning";
    case PortState::forwarding: return "forwarding";
    case PortState::trapping: return "trapping";
  }
  return "unknown";
}

// The state a word names; none for any other word.
inline std::optional<PortState> portStateParsed(std::string const& word) {
  for (PortState s : {PortState::discarding, PortState::learning, PortState::forwarding, PortState::trapping})
    if (word == toString(s)) return s;
  return std::nullopt;
}

inline std::ostream& operator<<(std::ostream& os, PortState s) { return os << toString(s); }

}  // namespace Bridging::Topology
