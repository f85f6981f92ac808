#include "kor/common/ViaBitmap.h"

#include <algorithm>
#include <bit>

namespace Kor {

namespace {

// The bits of word w that fall inside r.
uint32_t maskOf(uint32_t w, ViaBitmapRange const& r) {
  uint32_t lo = std::max(r.first().value(), w * 32);
  uint32_t hi = std::min(r.last().value(), w * 32 + 31);
  if (lo > hi) return 0;
  uint32_t upper = hi % 32 == 31 ? ~0u : (1u << (hi % 32 + 1)) - 1;
  return upper & ~((1u << (lo % 32)) - 1);
}

}  // namespace

void ViaBitmap::bitIs(ViaIndex v, bool set) {
  uint32_t& w = words_[v.word().value()];
  uint32_t m = 1u << v.bit();
  w = set ? (w | m) : (w & ~m);
}

void ViaBitmap::bitsIs(ViaBitmapRange const& r, bool set) {
  for (uint32_t w = r.first().word().value(); w <= r.last().word().value(); ++w) {
    uint32_t m = maskOf(w, r);
    words_[w] = set ? (words_[w] | m) : (words_[w] & ~m);
  }
}

uint32_t ViaBitmap::count(ViaBitmapRange const& r) const {
  uint32_t n = 0;
  for (uint32_t w = r.first().word().value(); w <= r.last().word().value(); ++w) {
    n += static_cast<uint32_t>(std::popcount(words_[w] & maskOf(w, r)));
  }
  return n;
}

std::optional<ViaIndex> ViaBitmap::firstSet(ViaBitmapRange const& r) const {
  for (uint32_t w = r.first().word().value(); w <= r.last().word().value(); ++w) {
    uint32_t bits = words_[w] & maskOf(w, r);
    if (bits) return ViaIndex(w * 32 + static_cast<uint32_t>(std::countr_zero(bits)));
  }
  return std::nullopt;
}

std::ostream& operator<<(std::ostream& os, ViaBitmap const& b) {
  os << "{";
  bool first = true;
  int64_t runStart = -1;
  auto flush = [&](int64_t end) {
    if (runStart < 0) return;
    os << (first ? "" : ",") << runStart;
    if (end > runStart) os << "-" << end;
    first = false;
    runStart = -1;
  };
  for (uint32_t i = ViaIndex::min; i <= ViaIndex::max; ++i) {
    if (b.bit(ViaIndex(i))) {
      if (runStart < 0) runStart = i;
    } else {
      flush(int64_t(i) - 1);
    }
  }
  flush(ViaIndex::max);
  return os << "}";
}

}  // namespace Kor
