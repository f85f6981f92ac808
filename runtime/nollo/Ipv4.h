#pragma once
// Address-family traits of IPv4: what the templates shared by both families
// (prefixes, FIB records, ARP tables) need to know about the family.
#include "nollo/IpAddr4.h"

namespace Nollo {

struct Ipv4 {
  using Addr = IpAddr4;
  static constexpr int bits = 32;
  static constexpr char const* name = "IPv4";
  static constexpr int version = 4;
};

}  // namespace Nollo
