#pragma once
// Position of a label in a via's MPLS label stack: min..max = 0..kMaxDepth-1,
// the deepest stack an adjacency pushes. The constructor throws
// Vix::RangeError outside, so a FEC whose via asks for a deeper stack is
// refused by its review (the adjacency keeps what it had), never cut.
#include <cstdint>

#include "kor/common/KorExport.h"

namespace Kor {

class KOR_EXPORT MplsStackEntryIndex {
 public:
  static constexpr uint32_t kMaxDepth = 12;
  static constexpr uint32_t min = 0;
  static constexpr uint32_t max = kMaxDepth - 1;

  MplsStackEntryIndex() = default;
  explicit MplsStackEntryIndex(int64_t value);

  uint32_t value() const { return value_; }

 private:
  uint32_t value_ = min;
};

}  // namespace Kor
