#pragma once
// Address-family traits of IPv6: what the templates shared by both families
// (prefixes, FIB records, neighbour tables) need to know about the family.
#include "nollo/IpAddr6.h"

namespace Nollo {

struct Ipv6 {
  using Addr = IpAddr6;
  static constexpr int bits = 128;
  static constexpr char const* name = "IPv6";
  static constexpr int version = 6;
};

}  // namespace Nollo
