#pragma once
// The set of resolved next hops (MAC, VLAN, interface per via) that
// identifies a shareable L2 adjacency; identical sets share one.
// Placeholder: the adjacency work fills this record in; L3Status and
// VrfL3Status only hold and key it for now.
#include <compare>
#include <string>

namespace Kor {

class NextHopL2InfoCollection {
 public:
  NextHopL2InfoCollection() = default;
  explicit NextHopL2InfoCollection(std::string key) : key_(std::move(key)) {}
  std::string const& key() const { return key_; }
  auto operator<=>(NextHopL2InfoCollection const&) const = default;

 private:
  std::string key_;
};

}  // namespace Kor
