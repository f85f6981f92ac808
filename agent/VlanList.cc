#include "agent/VlanList.h"

#include <stdexcept>

#include "agent/StatementArgs.h"

namespace KorAgent {

std::set<uint16_t> VlanList::parsed(std::string const& text) {
  std::set<uint16_t> out;
  size_t pos = 0;
  while (pos <= text.size()) {
    size_t const comma = text.find(',', pos);
    std::string const item = text.substr(pos, comma == std::string::npos ? std::string::npos : comma - pos);
    size_t const dash = item.find('-');
    Kor::VlanId const lo = StatementArgs::parseVlan(item.substr(0, dash));
    Kor::VlanId const hi = dash == std::string::npos ? lo : StatementArgs::parseVlan(item.substr(dash + 1));
    if (hi < lo) {
      std::string m = "VLAN range ";
      m += item;
      m += " runs backwards";
      throw std::invalid_argument(m);
    }
    for (unsigned v = lo.value(); v <= hi.value(); ++v) out.insert(uint16_t(v));
    if (comma == std::string::npos) break;
    pos = comma + 1;
  }
  return out;
}

std::string VlanList::text(std::set<uint16_t> const& vlans) {
  std::string s;
  for (auto it = vlans.begin(); it != vlans.end();) {
    uint16_t const lo = *it;
    uint16_t hi = lo;
    while (++it != vlans.end() && *it == hi + 1) hi = *it;
    if (!s.empty()) s += ',';
    s += std::to_string(lo);
    if (hi != lo) {
      s += '-';
      s += std::to_string(hi);
    }
  }
  return s;
}

}  // namespace KorAgent
