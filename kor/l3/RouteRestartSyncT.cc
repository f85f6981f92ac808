#include "kor/l3/RouteRestartSyncT.h"

#include <algorithm>

#include "kor/common/KorBaseSm.h"

namespace Kor {

template <class AF>
RouteProgrammingRecord RouteRestartSyncT<AF>::recordOf(L3Status const& l3, Routing::Hardware::Status const* hw) {
  RouteProgrammingRecord r;
  r.urpfEnabled = l3.urpfEnabled();
  if (hw) {
    for (auto const& kv : hw->prefixLenInExactMatchMap())
      if (kv.second) r.exactMatchLengths.push_back(uint8_t(kv.first.bits()));
    std::sort(r.exactMatchLengths.begin(), r.exactMatchLengths.end());
  }
  return r;
}

template <class AF>
void RouteRestartSyncT<AF>::doSyncOnInit(Helper& helper, RouteProgrammingRecord const& now, bool routingOn,
                                         std::function<bool(Prefix const&)> const& inFib) {
  KOR_TRACE(3, "Syncing current state on init");
  std::optional<RouteProgrammingRecord> const before = helper.programmingRecord(vrfId_);
  bool const purge = before && now.forcesPurgeFrom(*before);
  if (purge) {
    KOR_TRACE(1, "Routes programmed under " << *before << ", now " << now);
    KOR_TRACE(1, " Force deletion of platform routes if uRPF");
    KOR_TRACE(1, " is getting enabled or REM config changes on restart");
    KOR_TRACE(1, " Delete all routes before new REM config takes effect.");
  }
  std::vector<Prefix> stale;
  helper.forEachHardwareRoute(vrfId_, [&](Prefix const& p, uint64_t nextHopId) {
    if (routingOn && !purge && inFib(p)) {
      KOR_TRACE(8, "Route " << p << " in routeStatus, nextHop: " << nextHopId);
      // Kept even without a next hop: a claim the first pass does not take
      // up is removed at its end.
      claims_[p] = nextHopId;
      if (p.isDefault()) KOR_TRACE(8, "Updating default route");
    } else {
      stale.push_back(p);
    }
  });
  for (auto const& p : stale) {
    if (!purge) KOR_TRACE(5, "Route " << p << " no longer exists. Delete it");
    helper.deleteHardwareRoute(vrfId_, p);
  }
  // Written after the purge: a restart during it finds the old record and
  // purges again.
  if (!before || !(*before == now)) helper.programmingRecordIs(vrfId_, now);
  KOR_TRACE(3, "Syncing state on init done");
}

template <class AF>
void RouteRestartSyncT<AF>::doRecord(Helper& helper, RouteProgrammingRecord const& now) {
  auto const before = helper.programmingRecord(vrfId_);
  if (!before || !(*before == now)) helper.programmingRecordIs(vrfId_, now);
}

// A chip route claimed at start whose FIB route went before the reader
// reached it was never handed over, so no hand-over removal takes it out.
// Collected first: a delete can free room and wake the route machines.
template <class AF>
void RouteRestartSyncT<AF>::doEndClaims(Helper* helper, std::function<bool(Prefix const&)> const& hasRecord) {
  std::vector<Prefix> gone;
  for (auto const& [p, nextHopId] : claims_)
    if (!hasRecord(p)) gone.push_back(p);
  // The next hops an earlier run programmed matter only for the first pass.
  claims_.clear();
  for (auto const& p : gone) {
    KOR_TRACE(5, "Route " << p << " deleted during sync. Delete it");
    if (helper) helper->deleteHardwareRoute(vrfId_, p);
  }
}

template class RouteRestartSyncT<Nollo::Ipv4>;
template class RouteRestartSyncT<Nollo::Ipv6>;

}  // namespace Kor
