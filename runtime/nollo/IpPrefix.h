#pragma once
// An IP prefix of either family: the network address and the prefix length.
// The address is always stored masked to the length, so two spellings of the
// same network ("10.1.2.3/8" and "10.0.0.0/8") are one key; parsing and the
// (address, length) constructor both mask the host bits rather than reject
// them. A length outside 0..bits is rejected ("malformed IPv4 prefix
// '10.0.0.0/33': length 33 out of range"), and so is text without a "/len".
// Order is by address, then by length (a network before its more specifics).
// Layout is the address followed by one length byte: 8 bytes for IPv4, 20 for
// IPv6, so a FIB route table of a million prefixes stays flat and small.
#include <charconv>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "nollo/Ipv4.h"
#include "nollo/Ipv6.h"
#include "nollo/ParseError.h"

namespace Nollo {

template <class AF>
class IpPrefixT {
 public:
  using Family = AF;
  using Addr = typename AF::Addr;

  constexpr IpPrefixT() = default;
  // Masks `addr` to `len`; throws ParseError when len is out of 0..bits.
  IpPrefixT(Addr const& addr, int len) : addr_(addr.masked(len)), len_(uint8_t(len)) {
    if (len < 0 || len > AF::bits)
      throw ParseError("malformed " + std::string(AF::name) + " prefix '" + addr.str() + "/" +
                       std::to_string(len) + "': length " + std::to_string(len) + " out of range");
  }
  explicit IpPrefixT(std::string_view text) : IpPrefixT(parseOrThrow(text)) {}

  static std::optional<IpPrefixT> parse(std::string_view text) {
    std::string error;
    return doParse(text, &error);
  }
  static IpPrefixT parseOrThrow(std::string_view text) {
    std::string error;
    auto p = doParse(text, &error);
    if (!p) throw ParseError::malformed(kindName(), text, error);
    return *p;
  }
  // "IPv4 prefix" / "IPv6 prefix".
  static std::string kindName() { return std::string(AF::name) + " prefix"; }

  Addr const& addr() const { return addr_; }
  int len() const { return len_; }
  bool isDefault() const { return len_ == 0; }
  bool isHost() const { return len_ == AF::bits; }
  bool contains(Addr const& a) const { return a.masked(len_) == addr_; }
  bool contains(IpPrefixT const& p) const { return p.len_ >= len_ && contains(p.addr_); }
  std::string str() const { return addr_.str() + "/" + std::to_string(int(len_)); }

  auto operator<=>(IpPrefixT const&) const = default;

 private:
  static std::optional<IpPrefixT> doParse(std::string_view text, std::string* error) {
    auto slash = text.find('/');
    if (slash == std::string_view::npos) {
      *error = "missing length";
      return std::nullopt;
    }
    auto a = Addr::parse(text.substr(0, slash));
    if (!a) {
      *error = "bad address";
      return std::nullopt;
    }
    auto lenText = text.substr(slash + 1);
    unsigned len = 0;
    auto [end, ec] = std::from_chars(lenText.data(), lenText.data() + lenText.size(), len);
    if (lenText.empty() || lenText.size() > 3 || ec != std::errc() ||
        end != lenText.data() + lenText.size()) {
      *error = "bad length";
      return std::nullopt;
    }
    if (len > unsigned(AF::bits)) {
      *error = "length " + std::to_string(len) + " out of range";
      return std::nullopt;
    }
    IpPrefixT p;
    p.addr_ = a->masked(int(len));
    p.len_ = uint8_t(len);
    return p;
  }

  Addr addr_{};
  uint8_t len_ = 0;
};

using IpPrefix = IpPrefixT<Ipv4>;
using Ip6Prefix = IpPrefixT<Ipv6>;

template <class AF>
std::ostream& operator<<(std::ostream& os, IpPrefixT<AF> const& p) {
  return os << p.str();
}

}  // namespace Nollo

template <class AF>
struct std::hash<Nollo::IpPrefixT<AF>> {
  size_t operator()(Nollo::IpPrefixT<AF> const& p) const noexcept {
    size_t h = std::hash<typename AF::Addr>()(p.addr());
    return (h << 8 | (h >> (8 * sizeof(size_t) - 8))) ^ size_t(p.len());
  }
};
