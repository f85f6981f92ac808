#pragma once
// The software chip: the "hardware" the reference platform programs. Owns the
// fault injector, every chip table, and the platform helper objects handed to
// the library's factories. The agent owns one SoftChip for its whole life, so
// the tables and counters survive restarts of the library: a restart test
// compares the write counters before and after.
//
// Adding a table for a new helper: one ChipTable member, one tableAdd() line
// in the constructor; `show chip` and `chip capacity` find it by name.
//
// The route tables are filled by a RouteResolverSm, which the owner of the
// library's L3Status creates per run and hands over with routeResolverIs();
// without one, the route hook answers every hand-over "failed".
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "kor/adj/NextHopL2InfoCollection.h"
#include "kor/helpers/AdjSmHelper.h"
#include "kor/helpers/RouteSmHelperT.h"
#include "kor/helpers/RoutingStatusSmHelper.h"
#include "kor/helpers/VrfHelper.h"
#include "kor/l3/VrfId.h"
#include "softchip/ChipRouteTable.h"
#include "softchip/ChipTable.h"
#include "softchip/FaultInjector.h"
#include "softchip/SoftAdjSmHelper.h"
#include "softchip/SoftVrfHelper.h"
#include "vix/Ptr.h"

namespace SoftChip {

class RouteResolverSm;

class SoftChip : public Vix::PtrInterface {
 public:
  SoftChip();
  ~SoftChip() override;
  SoftChip(SoftChip const&) = delete;
  SoftChip& operator=(SoftChip const&) = delete;

  FaultInjector& injector() { return injector_; }
  FaultInjector const& injector() const { return injector_; }

  // A table by name; null when there is none.
  ChipTableBase* table(std::string const& name) const;
  // Every table, in the order they were added.
  std::vector<ChipTableBase*> const& tables() const { return tables_; }
  // Whether a write of a new entry to the table would be answered "full"
  // now: the table is at capacity, or a rule answers its kind "full". The
  // helpers ask it before they clear a resource-full flag.
  bool refusesNew(ChipTableBase const& table) const;

  // VRF name -> VRF id the VRF was programmed with.
  ChipTable<std::string, uint32_t>& vrfTable() { return vrf_; }
  // "<vrf>/v4" / "<vrf>/v6" -> "done": the VRF's initial route sync is over.
  ChipTable<std::string, std::string>& syncTable() { return sync_; }
  // L2 adjacency index -> its rewrite data.
  ChipTable<uint64_t, Kor::NextHopL2InfoCollection>& l2AdjTable() { return l2Adj_; }
  // Routes: IPv4 longest-prefix, IPv6 longest-prefix, IPv6 exact-match.
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

  // The platform helpers handed to the library's factories.
  Vix::Ptr<KorHelper::VrfHelper> vrfHelper() const;
  SoftVrfHelper& softVrfHelper() const { return *softVrfHelper_; }
  Vix::Ptr<KorHelper::RoutingStatusSmHelper> const& routingStatusSmHelper() const { return routingStatusSmHelper_; }
  Vix::Ptr<KorHelper::RouteSmHelper> const& routeSmHelper() const { return routeSmHelper_; }
  Vix::Ptr<KorHelper::Route6SmHelper> const& route6SmHelper() const { return route6SmHelper_; }
  Vix::Ptr<KorHelper::AdjSmHelper> adjSmHelper() const;
  SoftAdjSmHelper& softAdjSmHelper() const { return *softAdjSmHelper_; }

 private:
  void tableAdd(ChipTableBase* t);

  FaultInjector injector_;
  std::vector<ChipTableBase*> tables_;
  ChipTable<std::string, uint32_t> vrf_{"vrf", &injector_};
  ChipTable<std::string, std::string> sync_{"sync", &injector_};
  ChipTable<uint64_t, Kor::NextHopL2InfoCollection> l2Adj_{"l2adj", &injector_};
  ChipRouteTable<Nollo::Ipv4> route4_{"route4", &injector_};
  ChipRouteTable<Nollo::Ipv6> route6_{"route6", &injector_};
  ChipRouteTable<Nollo::Ipv6> route6em_{"route6em", &injector_};
  Vix::Ptr<SoftVrfHelper> softVrfHelper_;
  Vix::Ptr<KorHelper::RoutingStatusSmHelper> routingStatusSmHelper_;
  Vix::Ptr<KorHelper::RouteSmHelper> routeSmHelper_;
  Vix::Ptr<KorHelper::Route6SmHelper> route6SmHelper_;
  Vix::Ptr<SoftAdjSmHelper> softAdjSmHelper_;
  // Last member: goes first, before the tables it writes.
  Vix::Ptr<RouteResolverSm> routeResolver_;
};

}  // namespace SoftChip
