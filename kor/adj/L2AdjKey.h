#pragma once
// Key of an L2 adjacency in the L2 adjacency list: its index.
// Placeholder: the adjacency work fills this record in; L3Status and
// VrfL3Status only hold and key it for now.
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>

namespace Kor {

struct L2AdjKey {
  uint64_t index = 0;
  auto operator<=>(L2AdjKey const&) const = default;
};

}  // namespace Kor

template <>
struct std::hash<Kor::L2AdjKey> {
  size_t operator()(Kor::L2AdjKey const& k) const noexcept { return k.index; }
};
