#pragma once
// An IPv6 address: 16 bytes in network order (byte-wise order is numeric
// order). Text form follows the recommended canonical form: lower-case hex,
// the longest run of two or more zero groups shortened to "::" (the first on a
// tie), and an IPv4-mapped address printed as ::ffff:a.b.c.d. Parsing accepts
// every standard text form, including "::" and an embedded dotted quad at the
// end.
#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>

namespace Nollo {

class IpAddr6 {
 public:
  using Bytes = std::array<uint8_t, 16>;

  constexpr IpAddr6() = default;
  constexpr explicit IpAddr6(Bytes const& b) : bytes_(b) {}
  // Throws ParseError "malformed IPv6 address '<text>'".
  explicit IpAddr6(std::string_view text);
  static std::optional<IpAddr6> parse(std::string_view text);

  static constexpr IpAddr6 ipAddrZero() { return IpAddr6(); }
  static constexpr int bits() { return 128; }

  Bytes const& bytes() const { return bytes_; }
  uint8_t byte(size_t i) const { return bytes_[i]; }
  // Group i (0..7) of the eight 16-bit groups.
  uint16_t group(size_t i) const { return uint16_t(bytes_[2 * i] << 8 | bytes_[2 * i + 1]); }
  bool isZero() const;
  bool isMulticast() const { return bytes_[0] == 0xff; }
  bool isLinkLocal() const { return bytes_[0] == 0xfe && (bytes_[1] & 0xc0) == 0x80; }
  // The address with all but the first `len` bits cleared (0 <= len <= 128).
  IpAddr6 masked(int len) const;
  std::string str() const;

  auto operator<=>(IpAddr6 const&) const = default;
  // Two word compares: route tables compare keys on every probe.
  constexpr bool operator==(IpAddr6 const& o) const {
    if (std::is_constant_evaluated()) return bytes_ == o.bytes_;
    uint64_t a[2], b[2];
    std::memcpy(a, bytes_.data(), 16);
    std::memcpy(b, o.bytes_.data(), 16);
    return ((a[0] ^ b[0]) | (a[1] ^ b[1])) == 0;
  }

 private:
  // Four-byte alignment keeps an IPv6 prefix (address + length) at 20 bytes.
  alignas(4) Bytes bytes_{};
};

std::ostream& operator<<(std::ostream& os, IpAddr6 const& a);

}  // namespace Nollo

template <>
struct std::hash<Nollo::IpAddr6> {
  size_t operator()(Nollo::IpAddr6 const& a) const noexcept;
};
