#pragma once
// The longest match of an address in one VRF's FIB route table: the route
// tables are hash maps by prefix, so the match is found by trying the
// address's prefixes from the longest down (at most 33 / 129 lookups). A
// route written without a FEC (invalid FEC id) does not match. Used by the
// machines that resolve an address through a VRF's routes (tunnel
// destinations, requested next hops).
#include <optional>

#include "nollo/IpPrefix.h"
#include "quill/RouteStatus.h"

namespace Kor {

template <class AF>
std::optional<Quill::Fib::RouteT<AF>> fibLongestMatch(Quill::Fib::RouteStatusT<AF> const& routes,
                                                      typename AF::Addr const& addr) {
  for (int len = AF::bits; len >= 0; --len) {
    Nollo::IpPrefixT<AF> p(addr, len);
    if (!routes.routeHas(p)) continue;
    auto route = routes.route(p);
    if (route.fecId().isValid()) return route;
  }
  return std::nullopt;
}

}  // namespace Kor
