#pragma once
// Key of the route hand-over lists of L3Status: a prefix within a VRF. One
// template for both address families; VrfAndPrefix keys adjInfoList and
// VrfAndIp6Prefix keys adjInfo6List. Ordered by VRF id, then prefix.
#include <compare>
#include <cstddef>
#include <functional>
#include <ostream>

#include "kor/records/VrfId.h"
#include "nollo/IpPrefix.h"

namespace Kor {

template <class AF>
struct VrfAndPrefixT {
  using Prefix = Nollo::IpPrefixT<AF>;

  VrfId vrfId;
  Prefix prefix;

  auto operator<=>(VrfAndPrefixT const&) const = default;
};

using VrfAndPrefix = VrfAndPrefixT<Nollo::Ipv4>;
using VrfAndIp6Prefix = VrfAndPrefixT<Nollo::Ipv6>;

template <class AF>
std::ostream& operator<<(std::ostream& os, VrfAndPrefixT<AF> const& k) {
  return os << k.vrfId << ":" << k.prefix;
}

}  // namespace Kor

template <class AF>
struct std::hash<Kor::VrfAndPrefixT<AF>> {
  size_t operator()(Kor::VrfAndPrefixT<AF> const& k) const noexcept {
    return std::hash<Nollo::IpPrefixT<AF>>()(k.prefix) * 31 + k.vrfId.value();
  }
};
