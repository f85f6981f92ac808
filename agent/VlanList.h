#pragma once
// The one VLAN-list syntax of every statement and configuration section
// that takes a list of VLANs: "10-20,30" -> {10..20, 30}. Each id is
// checked as a VlanId (its range error is the library's text), a range
// must not run backwards and the list must not be empty; text() writes a
// set back in the same syntax, ranges joined.
#include <cstdint>
#include <set>
#include <string>

namespace KorAgent {

class VlanList {
 public:
  // Throws std::invalid_argument (or the VlanId range error) naming the part.
  static std::set<uint16_t> parsed(std::string const& text);
  // "" when empty.
  static std::string text(std::set<uint16_t> const& vlans);
};

}  // namespace KorAgent
