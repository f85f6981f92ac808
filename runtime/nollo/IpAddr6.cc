#include "nollo/IpAddr6.h"

#include <cstring>

#include "nollo/IpAddr4.h"
#include "nollo/ParseError.h"
#include "vix/HashMap.h"

namespace Nollo {

namespace {

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

IpAddr6::IpAddr6(std::string_view text) {
  auto a = parse(text);
  if (!a) throw ParseError::malformed("IPv6 address", text);
  bytes_ = a->bytes_;
}

// Groups before "::" fill from the front, groups after it from the back; a
// dotted quad may stand for the last two groups.
std::optional<IpAddr6> IpAddr6::parse(std::string_view text) {
  uint16_t head[8], tail[8];
  int nHead = 0, nTail = 0;
  bool gap = false;
  size_t i = 0;
  if (text.size() >= 2 && text[0] == ':' && text[1] == ':') {
    gap = true;
    i = 2;
  } else if (!text.empty() && text[0] == ':') {
    return std::nullopt;
  }
  while (i < text.size()) {
    if (nHead + nTail >= 8) return std::nullopt;
    size_t start = i;
    unsigned g = 0;
    while (i < text.size() && hexDigit(text[i]) >= 0 && i - start < 4) g = g << 4 | unsigned(hexDigit(text[i++]));
    if (i < text.size() && text[i] == '.') {
      // Embedded IPv4: the rest of the text, worth two groups.
      auto v4 = IpAddr4::parse(text.substr(start));
      if (!v4 || nHead + nTail + 2 > 8) return std::nullopt;
      uint16_t* dst = gap ? tail : head;
      int& n = gap ? nTail : nHead;
      dst[n++] = uint16_t(v4->value() >> 16);
      dst[n++] = uint16_t(v4->value());
      i = text.size();
      break;
    }
    if (i == start) return std::nullopt;
    (gap ? tail[nTail++] : head[nHead++]) = uint16_t(g);
    if (i == text.size()) break;
    if (text[i] != ':') return std::nullopt;
    ++i;
    if (i < text.size() && text[i] == ':') {
      if (gap) return std::nullopt;
      gap = true;
      ++i;
    } else if (i == text.size()) {
      return std::nullopt;  // trailing single ':'
    }
  }
  int total = nHead + nTail;
  if (gap ? total > 7 : total != 8) return std::nullopt;
  IpAddr6 a;
  for (int k = 0; k < nHead; ++k) {
    a.bytes_[2 * k] = uint8_t(head[k] >> 8);
    a.bytes_[2 * k + 1] = uint8_t(head[k]);
  }
  for (int k = 0; k < nTail; ++k) {
    int g = 8 - nTail + k;
    a.bytes_[2 * g] = uint8_t(tail[k] >> 8);
    a.bytes_[2 * g + 1] = uint8_t(tail[k]);
  }
  return a;
}

bool IpAddr6::isZero() const {
  for (auto b : bytes_)
    if (b) return false;
  return true;
}

IpAddr6 IpAddr6::masked(int len) const {
  IpAddr6 r;
  if (len <= 0) return r;
  if (len >= 128) return *this;
  size_t full = size_t(len) / 8;
  std::memcpy(r.bytes_.data(), bytes_.data(), full);
  if (len % 8) r.bytes_[full] = uint8_t(bytes_[full] & (0xff << (8 - len % 8)));
  return r;
}

std::string IpAddr6::str() const {
  static char const hex[] = "0123456789abcdef";
  bool mapped = true;
  for (int k = 0; k < 10; ++k) mapped = mapped && bytes_[k] == 0;
  mapped = mapped && bytes_[10] == 0xff && bytes_[11] == 0xff;
  int groups = mapped ? 6 : 8;
  // Longest run of zero groups (length >= 2), first one on a tie.
  int bestStart = -1, bestLen = 1;
  for (int k = 0; k < groups;) {
    if (group(size_t(k)) != 0) {
      ++k;
      continue;
    }
    int s = k;
    while (k < groups && group(size_t(k)) == 0) ++k;
    if (k - s > bestLen) {
      bestStart = s;
      bestLen = k - s;
    }
  }
  std::string out;
  out.reserve(41);
  for (int k = 0; k < groups; ++k) {
    if (k == bestStart) {
      out += "::";
      k += bestLen - 1;
      continue;
    }
    if (!out.empty() && out.back() != ':') out += ':';
    uint16_t g = group(size_t(k));
    bool started = false;
    for (int shift = 12; shift >= 0; shift -= 4) {
      unsigned d = (g >> shift) & 0xf;
      if (d || started || shift == 0) {
        out += hex[d];
        started = true;
      }
    }
  }
  if (mapped) {
    if (out.back() != ':') out += ':';
    out += IpAddr4(uint32_t(bytes_[12]) << 24 | uint32_t(bytes_[13]) << 16 | uint32_t(bytes_[14]) << 8 | bytes_[15]).str();
  }
  return out;
}

std::ostream& operator<<(std::ostream& os, IpAddr6 const& a) { return os << a.str(); }

}  // namespace Nollo

size_t std::hash<Nollo::IpAddr6>::operator()(Nollo::IpAddr6 const& a) const noexcept {
  uint64_t hi, lo;
  std::memcpy(&hi, a.bytes().data(), 8);
  std::memcpy(&lo, a.bytes().data() + 8, 8);
  return size_t(Vix::mixHash(hi) ^ lo);
}
