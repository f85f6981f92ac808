#pragma once
// One hardware topology of the chip: the name it was allocated for (a new
// run asking for the same name gets the same id back) and its VLANs, one bit
// per VLAN id. Printed "<name> vlans <ranges>", e.g. "MST1 vlans 10-20,30".
#include <bitset>
#include <ostream>
#include <string>

namespace SoftChip {

struct ChipTopo {
  std::string name;
  std::bitset<4096> vlans;
  bool operator==(ChipTopo const&) const = default;
};

inline std::ostream& operator<<(std::ostream& os, ChipTopo const& t) {
  os << t.name << " vlans ";
  bool any = false;
  for (size_t v = 1; v < t.vlans.size(); ++v) {
    if (!t.vlans[v] || t.vlans[v - 1]) continue;
    size_t end = v;
    while (end + 1 < t.vlans.size() && t.vlans[end + 1]) ++end;
    os << (any ? "," : "") << v;
    if (end > v) os << "-" << end;
    any = true;
  }
  if (!any) os << "none";
  return os;
}

}  // namespace SoftChip
