#pragma once
// A bitmap of via indices: 33 unsigned 32-bit words indexed by ViaBitmapIndex,
// bit b of word w standing for via 32*w + b. All-zero by default. Range
// operations take a ViaBitmapRange, so no index outside the bitmap can reach it.
#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>

#include "kor/common/KorExport.h"
#include "kor/common/ViaBitmapIndex.h"
#include "kor/common/ViaBitmapRange.h"
#include "kor/common/ViaIndex.h"

namespace Kor {

class KOR_EXPORT ViaBitmap {
 public:
  using Words = std::array<uint32_t, ViaBitmapIndex::words>;

  uint32_t word(ViaBitmapIndex i) const { return words_[i.value()]; }
  void wordIs(ViaBitmapIndex i, uint32_t w) { words_[i.value()] = w; }
  Words const& words() const { return words_; }

  bool bit(ViaIndex v) const { return (words_[v.word().value()] >> v.bit()) & 1u; }
  void bitIs(ViaIndex v, bool set);
  void bitsIs(ViaBitmapRange const& r, bool set);
  void clear() { words_.fill(0); }

  // Number of set bits, in the whole bitmap or within r.
  uint32_t count() const { return count(ViaBitmapRange()); }
  uint32_t count(ViaBitmapRange const& r) const;
  bool empty() const { return count() == 0; }
  // Lowest set via within r, if any.
  std::optional<ViaIndex> firstSet(ViaBitmapRange const& r = ViaBitmapRange()) const;

  bool operator==(ViaBitmap const&) const = default;

 private:
  Words words_{};
};

// Set via indices as "{0,5-7,40}".
KOR_EXPORT std::ostream& operator<<(std::ostream& os, ViaBitmap const& b);

}  // namespace Kor

template <>
struct std::hash<Kor::ViaBitmap> {
  size_t operator()(Kor::ViaBitmap const& b) const noexcept {
    uint64_t h = 0;
    for (uint32_t w : b.words()) h = h * 0x100000001b3ULL ^ w;
    return static_cast<size_t>(h);
  }
};
