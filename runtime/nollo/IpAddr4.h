#pragma once
// An IPv4 address held as a 32-bit number in host byte order, so that numeric
// order is address order and masking is plain arithmetic. Text form is the
// dotted quad; parsing is strict (four decimal octets 0..255, no leading zeros,
// nothing else), the form the routing agents publish.
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

namespace Nollo {

class IpAddr4 {
 public:
  constexpr IpAddr4() = default;
  constexpr explicit IpAddr4(uint32_t v) : value_(v) {}
  // Throws ParseError "malformed IPv4 address '<text>'".
  explicit IpAddr4(std::string_view text);
  static std::optional<IpAddr4> parse(std::string_view text);

  static constexpr IpAddr4 ipAddrZero() { return IpAddr4(); }
  static constexpr int bits() { return 32; }

  constexpr uint32_t value() const { return value_; }
  constexpr bool isZero() const { return value_ == 0; }
  constexpr bool isMulticast() const { return (value_ >> 28) == 0xe; }
  constexpr bool isLoopback() const { return (value_ >> 24) == 127; }
  // The address with all but the first `len` bits cleared (0 <= len <= 32).
  constexpr IpAddr4 masked(int len) const {
    return IpAddr4(len <= 0 ? 0u : len >= 32 ? value_ : value_ & ~(0xffffffffu >> len));
  }
  std::string str() const;

  constexpr auto operator<=>(IpAddr4 const&) const = default;

 private:
  uint32_t value_ = 0;
};

// The IPv4 address type under the name most state machines use.
using IpAddr = IpAddr4;

std::ostream& operator<<(std::ostream& os, IpAddr4 const& a);

}  // namespace Nollo

template <>
struct std::hash<Nollo::IpAddr4> {
  size_t operator()(Nollo::IpAddr4 const& a) const noexcept { return a.value(); }
};
