#pragma once
// An Ethernet (MAC) address, six bytes in wire order. Parses the colon form
// "00:11:22:33:44:55" (two hex digits per byte) and the dotted form
// "0011.2233.4455" (four hex digits per group), either case; prints the colon
// form in lower case.
#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

namespace Nollo {

class EthAddr {
 public:
  using Bytes = std::array<uint8_t, 6>;

  constexpr EthAddr() = default;
  constexpr explicit EthAddr(Bytes const& b) : bytes_(b) {}
  // From the low 48 bits of v (first byte = bits 47..40).
  static EthAddr fromUint64(uint64_t v);
  // Throws ParseError "malformed Ethernet address '<text>'".
  explicit EthAddr(std::string_view text);
  static std::optional<EthAddr> parse(std::string_view text);

  static constexpr EthAddr ethAddrZero() { return EthAddr(); }
  static constexpr EthAddr broadcast() { return EthAddr(Bytes{0xff, 0xff, 0xff, 0xff, 0xff, 0xff}); }

  Bytes const& bytes() const { return bytes_; }
  uint64_t toUint64() const;
  bool isZero() const { return toUint64() == 0; }
  // Group bit set (broadcast included).
  bool isMulticast() const { return bytes_[0] & 1; }
  bool isBroadcast() const { return toUint64() == 0xffffffffffffULL; }
  bool isUnicast() const { return !isMulticast(); }
  std::string str() const;

  auto operator<=>(EthAddr const&) const = default;

 private:
  Bytes bytes_{};
};

std::ostream& operator<<(std::ostream& os, EthAddr const& a);

}  // namespace Nollo

template <>
struct std::hash<Nollo::EthAddr> {
  size_t operator()(Nollo::EthAddr const& a) const noexcept { return a.toUint64(); }
};
