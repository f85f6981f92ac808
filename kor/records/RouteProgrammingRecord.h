#pragma once
// What the chip's routes of one VRF and address family were programmed
// under: whether uRPF was on, and the IPv6 prefix lengths the hardware kept
// in its exact-match table (sorted, each once). The platform keeps it with
// the routes across restarts of the library (RouteSmHelperT::
// programmingRecord); the route machine writes it at the start of each run
// and whenever either setting changes while it runs.
//
// Routes programmed before uRPF was on, or under other exact-match lengths,
// sit in the chip in a layout the new configuration does not use: a route
// machine whose start finds such a record deletes the VRF's chip routes
// before programming them again (forcesPurgeFrom).
#include <cstdint>
#include <ostream>
#include <vector>

namespace Kor {

struct RouteProgrammingRecord {
  bool urpfEnabled = false;
  std::vector<uint8_t> exactMatchLengths;

  bool operator==(RouteProgrammingRecord const&) const = default;
  // Whether routes programmed under `before` must leave the chip before
  // routes are programmed under this record: uRPF getting enabled, or any
  // change of the exact-match lengths. uRPF going off keeps them.
  bool forcesPurgeFrom(RouteProgrammingRecord const& before) const {
    return (urpfEnabled && !before.urpfEnabled) || exactMatchLengths != before.exactMatchLengths;
  }
};

inline std::ostream& operator<<(std::ostream& os, RouteProgrammingRecord const& r) {
  os << "urpf " << (r.urpfEnabled ? "on" : "off") << ", exact-match";
  if (r.exactMatchLengths.empty()) return os << " none";
  char sep = ' ';
  for (uint8_t len : r.exactMatchLengths) {
    os << sep << unsigned(len);
    sep = ',';
  }
  return os;
}

}  // namespace Kor
