#pragma once
// The software chip's unicast L3 part: the VRF table ("vrf": VRF name -> the
// id it was programmed with), the route sync table ("sync": "<vrf>/v4" /
// "<vrf>/v6" -> "done" once the VRF's initial route sync is over), the route
// tables ("route4", IPv4 longest-prefix; "route6", IPv6 longest-prefix;
// "route6em", IPv6 exact-match), the route settings the hardware
// configuration gives each VRF and family ("l3settings": "<vrf id>/v4/
// icmpUnreachable" or ".../greKeyForwarding" -> "on", absent when off; not
// in the registry: the agent's `show routing` lists it), the
// record of what each VRF's routes were programmed under ("<vrf id>/v4" /
// "<vrf id>/v6" -> the uRPF switch and the exact-match lengths; kept like
// the routes across restarts; chip memory, not a table of the registry, so
// no fault rule reaches it and the call record does not count it), the
// L3 platform helpers handed to the
// library's factories, and the route resolver of the running library.
// Each table and helper is registered by name in the chip's registry when
// the part is built.
//
// The route tables are filled by a RouteResolverSm, which the owner of the
// library's L3Status creates per run and hands over with routeResolverIs();
// without one, the route hook answers every hand-over "failed".
// Owned by the SoftChip for the agent's whole life, so its tables outlive
// restarts of the library.
#include <map>
#include <string>
#include <utility>

#include "kor/helpers/RouteSmHelperT.h"
#include "kor/helpers/RoutingStatusSmHelper.h"
#include "kor/helpers/VrfHelper.h"
#include "kor/records/RouteProgrammingRecord.h"
#include "kor/records/VrfId.h"
#include "softchip/common/ChipRegistry.h"
#include "softchip/common/ChipTable.h"
#include "softchip/common/FaultInjector.h"
#include "softchip/l3/ChipRouteTable.h"
#include "softchip/l3/SoftVrfHelper.h"
#include "vix/Ptr.h"

namespace SoftChip {

class RouteResolverSm;
class SoftChip;

class L3Chip {
 public:
  L3Chip(SoftChip* chip, ChipRegistry& registry, FaultInjector* injector);
  ~L3Chip();
  L3Chip(L3Chip const&) = delete;
  L3Chip& operator=(L3Chip const&) = delete;

  ChipTable<std::string, uint32_t>& vrfTable() { return vrf_; }
  ChipTable<std::string, std::string>& syncTable() { return sync_; }
  ChipTable<std::string, std::string>& settingsTable() { return settings_; }
  std::map<std::string, Kor::RouteProgrammingRecord>& programmedUnder() { return programmedUnder_; }
  ChipRouteTable<Nollo::Ipv4>& route4Table() { return route4_; }
  ChipRouteTable<Nollo::Ipv6>& route6Table() { return route6_; }
  ChipRouteTable<Nollo::Ipv6>& route6EmTable() { return route6em_; }
  ChipRouteTable<Nollo::Ipv4> const& route4Table() const { return route4_; }
  ChipRouteTable<Nollo::Ipv6> const& route6Table() const { return route6_; }
  ChipRouteTable<Nollo::Ipv6> const& route6EmTable() const { return route6em_; }

  // The route a packet to `addr` in the VRF takes and the table holding it:
  // the longest match over the family's tables (IPv6: longest-prefix and
  // exact-match). Null entry when nothing matches.
  template <class AF>
  std::pair<ChipRouteTable<AF> const*, typename ChipRouteTable<AF>::Entry const*> routeLookup(
      Kor::VrfId vrfId, typename AF::Addr const& addr) const {
    if constexpr (AF::version == 4) {
      return {&route4_, route4_.longestMatch(vrfId, addr)};
    } else {
      auto const* lpm = route6_.longestMatch(vrfId, addr);
      auto const* em = route6em_.longestMatch(vrfId, addr);
      if (em && (!lpm || em->first.prefix.len() > lpm->first.prefix.len())) return {&route6em_, em};
      return {&route6_, lpm};
    }
  }

  // The resolver of the running library (null between runs).
  Vix::Ptr<RouteResolverSm> const& routeResolver() const { return routeResolver_; }
  void routeResolverIs(Vix::Ptr<RouteResolverSm> const& r);

  Vix::Ptr<KorHelper::VrfHelper> vrfHelper() const;
  SoftVrfHelper& softVrfHelper() const { return *softVrfHelper_; }
  Vix::Ptr<KorHelper::RoutingStatusSmHelper> const& routingStatusSmHelper() const { return routingStatusSmHelper_; }
  Vix::Ptr<KorHelper::RouteSmHelper> const& routeSmHelper() const { return routeSmHelper_; }
  Vix::Ptr<KorHelper::Route6SmHelper> const& route6SmHelper() const { return route6SmHelper_; }

 private:
  ChipTable<std::string, uint32_t> vrf_;
  ChipTable<std::string, std::string> sync_;
  ChipTable<std::string, std::string> settings_;
  std::map<std::string, Kor::RouteProgrammingRecord> programmedUnder_;
  ChipRouteTable<Nollo::Ipv4> route4_;
  ChipRouteTable<Nollo::Ipv6> route6_;
  ChipRouteTable<Nollo::Ipv6> route6em_;
  Vix::Ptr<SoftVrfHelper> softVrfHelper_;
  Vix::Ptr<KorHelper::RoutingStatusSmHelper> routingStatusSmHelper_;
  Vix::Ptr<KorHelper::RouteSmHelper> routeSmHelper_;
  Vix::Ptr<KorHelper::Route6SmHelper> route6SmHelper_;
  // Last member: goes first, before the tables it writes.
  Vix::Ptr<RouteResolverSm> routeResolver_;
};

}  // namespace SoftChip
