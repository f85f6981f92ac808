#include "nollo/IpAddr4.h"

#include "nollo/ParseError.h"

namespace Nollo {

IpAddr4::IpAddr4(std::string_view text) {
  auto a = parse(text);
  if (!a) throw ParseError::malformed("IPv4 address", text);
  value_ = a->value_;
}

std::optional<IpAddr4> IpAddr4::parse(std::string_view text) {
  uint32_t v = 0;
  size_t i = 0;
  for (int octet = 0; octet < 4; ++octet) {
    if (octet > 0) {
      if (i >= text.size() || text[i] != '.') return std::nullopt;
      ++i;
    }
    size_t start = i;
    unsigned n = 0;
    while (i < text.size() && text[i] >= '0' && text[i] <= '9' && i - start < 3) n = n * 10 + unsigned(text[i++] - '0');
    size_t digits = i - start;
    if (digits == 0 || n > 255 || (digits > 1 && text[start] == '0')) return std::nullopt;
    v = v << 8 | n;
  }
  if (i != text.size()) return std::nullopt;
  return IpAddr4(v);
}

std::string IpAddr4::str() const {
  std::string s;
  s.reserve(15);
  for (int shift = 24; shift >= 0; shift -= 8) {
    s += std::to_string((value_ >> shift) & 0xff);
    if (shift) s += '.';
  }
  return s;
}

std::ostream& operator<<(std::ostream& os, IpAddr4 const& a) { return os << a.str(); }

}  // namespace Nollo
