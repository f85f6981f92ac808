#pragma once
// An address of either family, for keys that mix IPv4 and IPv6 next hops. The
// default is the IPv4 zero address. Order: every IPv4 address before every
// IPv6 address, then address order. Text: the family's own form; parsing picks
// the family by the presence of ':'.
#include <compare>
#include <cstddef>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <variant>

#include "nollo/IpAddr4.h"
#include "nollo/IpAddr6.h"

namespace Nollo {

class IpGenAddr {
 public:
  IpGenAddr() = default;
  IpGenAddr(IpAddr4 const& a) : addr_(a) {}
  IpGenAddr(IpAddr6 const& a) : addr_(a) {}
  // Throws ParseError "malformed IP address '<text>'".
  explicit IpGenAddr(std::string_view text);
  static std::optional<IpGenAddr> parse(std::string_view text);

  bool isV4() const { return addr_.index() == 0; }
  bool isV6() const { return addr_.index() == 1; }
  int version() const { return isV4() ? 4 : 6; }
  // The address of the held family; asking for the other family throws
  // std::bad_variant_access.
  IpAddr4 const& v4() const { return std::get<IpAddr4>(addr_); }
  IpAddr6 const& v6() const { return std::get<IpAddr6>(addr_); }
  bool isZero() const { return isV4() ? v4().isZero() : v6().isZero(); }
  std::string str() const { return isV4() ? v4().str() : v6().str(); }

  auto operator<=>(IpGenAddr const&) const = default;

 private:
  std::variant<IpAddr4, IpAddr6> addr_;
};

std::ostream& operator<<(std::ostream& os, IpGenAddr const& a);

}  // namespace Nollo

template <>
struct std::hash<Nollo::IpGenAddr> {
  size_t operator()(Nollo::IpGenAddr const& a) const noexcept {
    return a.isV4() ? std::hash<Nollo::IpAddr4>()(a.v4()) : ~std::hash<Nollo::IpAddr6>()(a.v6());
  }
};
