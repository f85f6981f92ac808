#pragma once
// The route machine's side of a restart (RouteRestartSync for IPv4,
// Route6RestartSync for IPv6): the chip still holds the routes of an earlier
// run. At start the routes the FIB still has are claimed with the next hop
// they had, so that their first hand-over changes nothing in the chip; the
// others are removed. A claim the first pass does not take up is removed at
// the end of the initial sync.
//
// Routes an earlier run programmed before uRPF was on, or under other
// exact-match lengths, are not claimed: every one is deleted first and the
// first pass programs them all again under the new configuration. The
// record of what they were programmed under is the platform's, kept with
// the routes (RouteProgrammingRecord); this class writes it at start (after
// the purge, so a restart during the purge purges again) and on each change.
//
// Owns the claims (prefix -> next hop the chip held). Fed by its route
// machine, which hands it the platform helper and asks about each prefix.
#include <cstdint>
#include <functional>
#include <vector>

#include "kor/helpers/RouteSmHelperT.h"
#include "kor/records/L3Status.h"
#include "kor/records/RouteProgrammingRecord.h"
#include "kor/records/VrfId.h"
#include "models/routing/hardware/Status.h"
#include "nollo/IpPrefix.h"
#include "vix/HashMap.h"
#include "vix/Trace.h"

namespace Kor {

template <class AF>
class RouteRestartSyncT {
 public:
  using Prefix = Nollo::IpPrefixT<AF>;
  using Helper = KorHelper::RouteSmHelperT<AF>;

  RouteRestartSyncT(Vix::TraceFacility& tf, VrfId vrfId) : tf_(tf), vrfId_(vrfId) {}

  // What the routes are programmed under now (uRPF, exact-match lengths).
  static RouteProgrammingRecord recordOf(L3Status const& l3, Routing::Hardware::Status const* hw);

  // Claims the chip's routes the FIB still has (inFib) while routing is on,
  // removes the others, and writes the record.
  void doSyncOnInit(Helper& helper, RouteProgrammingRecord const& now, bool routingOn,
                    std::function<bool(Prefix const&)> const& inFib);
  // Tells the platform the record when it changed.
  void doRecord(Helper& helper, RouteProgrammingRecord const& now);
  // The end of the initial sync: claims whose route has no record (hasRecord)
  // leave the chip, and every claim is dropped.
  void doEndClaims(Helper* helper, std::function<bool(Prefix const&)> const& hasRecord);

  bool empty() const { return claims_.empty(); }
  // The next hop the chip held for the prefix; 0: none claimed.
  uint64_t claimedNextHop(Prefix const& prefix) const {
    if (claims_.empty()) return 0;
    auto it = claims_.find(prefix);
    return it == claims_.end() ? 0 : it->second;
  }
  bool claimed(Prefix const& prefix) const { return !claims_.empty() && claims_.find(prefix) != claims_.end(); }
  // Dropped: the route was handed over, or it went.
  bool release(Prefix const& prefix) { return !claims_.empty() && claims_.erase(prefix); }

 private:
  Vix::TraceFacility& tf() { return tf_; }

  Vix::TraceFacility& tf_;
  VrfId vrfId_;
  Vix::HashMap<Prefix, uint64_t> claims_;
};

}  // namespace Kor
