#pragma once
// Key of an L2 adjacency in L3Status::l2AdjList: its index, handed out by
// L2AdjHelper. Index 0 is never a live L2 adjacency.
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>

namespace Kor {

class L2AdjKey {
 public:
  constexpr L2AdjKey() = default;
  constexpr explicit L2AdjKey(uint64_t index) : index_(index) {}
  constexpr uint64_t index() const { return index_; }
  constexpr auto operator<=>(L2AdjKey const&) const = default;

 private:
  uint64_t index_ = 0;
};

inline std::ostream& operator<<(std::ostream& os, L2AdjKey const& k) { return os << k.index(); }

}  // namespace Kor

template <>
struct std::hash<Kor::L2AdjKey> {
  size_t operator()(Kor::L2AdjKey const& k) const noexcept { return k.index(); }
};
