#include "nollo/EthAddr.h"

#include "nollo/ParseError.h"

namespace Nollo {

namespace {

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Reads `n` hex digits of text from i; -1 when they are not all there.
long hexRun(std::string_view text, size_t i, size_t n) {
  if (i + n > text.size()) return -1;
  long v = 0;
  for (size_t k = 0; k < n; ++k) {
    int d = hexDigit(text[i + k]);
    if (d < 0) return -1;
    v = v << 4 | d;
  }
  return v;
}

}  // namespace

EthAddr EthAddr::fromUint64(uint64_t v) {
  EthAddr a;
  for (int k = 0; k < 6; ++k) a.bytes_[size_t(k)] = uint8_t(v >> (8 * (5 - k)));
  return a;
}

EthAddr::EthAddr(std::string_view text) {
  auto a = parse(text);
  if (!a) throw ParseError::malformed("Ethernet address", text);
  bytes_ = a->bytes_;
}

std::optional<EthAddr> EthAddr::parse(std::string_view text) {
  uint64_t v = 0;
  if (text.size() == 17) {  // xx:xx:xx:xx:xx:xx
    for (size_t k = 0; k < 6; ++k) {
      if (k && text[3 * k - 1] != ':') return std::nullopt;
      long b = hexRun(text, 3 * k, 2);
      if (b < 0) return std::nullopt;
      v = v << 8 | uint64_t(b);
    }
  } else if (text.size() == 14) {  // xxxx.xxxx.xxxx
    for (size_t k = 0; k < 3; ++k) {
      if (k && text[5 * k - 1] != '.') return std::nullopt;
      long g = hexRun(text, 5 * k, 4);
      if (g < 0) return std::nullopt;
      v = v << 16 | uint64_t(g);
    }
  } else {
    return std::nullopt;
  }
  return fromUint64(v);
}

uint64_t EthAddr::toUint64() const {
  uint64_t v = 0;
  for (auto b : bytes_) v = v << 8 | b;
  return v;
}

std::string EthAddr::str() const {
  static char const hex[] = "0123456789abcdef";
  std::string s;
  s.reserve(17);
  for (size_t k = 0; k < 6; ++k) {
    if (k) s += ':';
    s += hex[bytes_[k] >> 4];
    s += hex[bytes_[k] & 0xf];
  }
  return s;
}

std::ostream& operator<<(std::ostream& os, EthAddr const& a) { return os << a.str(); }

}  // namespace Nollo
