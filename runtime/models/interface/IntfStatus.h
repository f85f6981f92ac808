#pragma once
// Status of one interface: its link state and whether it is a routed port
// (an Ethernet or port-channel interface forwarding at layer 3).
#include <ostream>

namespace Interface {

struct IntfStatus {
  bool operUp = false;
  bool routedPort = false;

  bool operator==(IntfStatus const&) const = default;
};

inline std::ostream& operator<<(std::ostream& os, IntfStatus const& s) {
  return os << (s.operUp ? "up" : "down") << (s.routedPort ? " routed" : "");
}

}  // namespace Interface
