#pragma once
// What the IP agent has switched on for one routed interface of one address
// family: unicast routing, multicast routing and MPLS.
namespace Ip {

struct IntfRouting {
  bool routing = false;
  bool mcastRouting = false;
  bool mplsRouting = false;
  bool operator==(IntfRouting const&) const = default;
};

}  // namespace Ip
