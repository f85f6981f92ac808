#include "agent/Utf8.h"

namespace KorAgent {

size_t utf8SequenceLength(std::string_view s, size_t i) {
  auto byte = [&](size_t k) { return static_cast<unsigned char>(s[k]); };
  unsigned char b = byte(i);
  if (b < 0x80) return 1;
  size_t n;
  unsigned char lo = 0x80, hi = 0xbf;  // the range of the second byte
  if (b >= 0xc2 && b <= 0xdf) {
    n = 2;
  } else if (b >= 0xe0 && b <= 0xef) {
    n = 3;
    if (b == 0xe0) lo = 0xa0;  // overlong
    if (b == 0xed) hi = 0x9f;  // surrogates
  } else if (b >= 0xf0 && b <= 0xf4) {
    n = 4;
    if (b == 0xf0) lo = 0x90;  // overlong
    if (b == 0xf4) hi = 0x8f;  // past U+10FFFF
  } else {
    return 0;
  }
  if (i + n > s.size()) return 0;
  if (byte(i + 1) < lo || byte(i + 1) > hi) return 0;
  for (size_t k = 2; k < n; ++k)
    if (byte(i + k) < 0x80 || byte(i + k) > 0xbf) return 0;
  return n;
}

}  // namespace KorAgent
