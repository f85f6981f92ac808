#pragma once
// Platform hook of the route machines, one per address family
// (KorHelper::RouteSmHelper, KorHelper::Route6SmHelper).
//
// The route machine of a VRF writes each route's AdjInfo into the hand-over
// list of L3Status (adjInfoList / adjInfo6List) and then calls
// handleRouteUpdate for the prefix: the platform answers whether the chip
// now holds the route as handed over (or, for a removed entry, no longer
// holds it). A route the chip could not take becomes unprogrammed in the
// route machine and is handed over again later; it is never dropped.
//
// After a restart the chip still holds the routes of the earlier run: the
// route machine walks them (forEachHardwareRoute) to reconcile with the FIB,
// and removes those the FIB no longer has (deleteHardwareRoute). The VRF
// root asks which VRF ids the chip holds routes for (forEachHardwareVrf):
// routes of a VRF that went away while the agent was down are removed the
// same way. It tells the platform when the VRF's initial sync is over.
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <type_traits>

#include "kor/common/KorBaseHelper.h"
#include "kor/common/KorExport.h"
#include "kor/common/VrfName.h"
#include "kor/helpers/RouteUpdateAnswer.h"
#include "kor/records/RouteProgrammingRecord.h"
#include "kor/records/VrfId.h"
#include "nollo/IpPrefix.h"
#include "nollo/Ipv4.h"
#include "nollo/Ipv6.h"

namespace KorHelper {

template <class AF>
class KOR_EXPORT RouteSmHelperT : public Kor::KorBaseHelper {
 public:
  using Prefix = Nollo::IpPrefixT<AF>;
  // prefix, the L2 adjacency index the chip's route points at.
  using HardwareRouteVisitor = std::function<void(Prefix const&, uint64_t)>;
  static constexpr char const* helperName = std::is_same_v<AF, Nollo::Ipv4> ? "RouteSmHelper" : "Route6SmHelper";

  explicit RouteSmHelperT(std::string name = helperName) : KorBaseHelper(std::move(name)) {}
  virtual void handleEndOfSync(Kor::VrfName const& vrfName) { unimplemented(helperName, "handleEndOfSync"); }
  // The hand-over entry of (vrfId, prefix) was just written or removed.
  virtual RouteUpdateAnswer handleRouteUpdate(Kor::VrfId vrfId, Prefix const& prefix, uint64_t sequence) {
    unimplemented(helperName, "handleRouteUpdate");
    return RouteUpdateAnswer::failed;
  }
  // The route machine is about to hand (vrfId, prefix) over, a few routes
  // from now: a platform whose route tables live in host memory can start
  // loading the entry's memory here. A hint only; the default does nothing.
  virtual void prefetchHardwareRoute(Kor::VrfId vrfId, Prefix const& prefix) const {}
  // Every route the chip holds for the VRF (after a restart: those of the
  // earlier run).
  virtual void forEachHardwareRoute(Kor::VrfId vrfId, HardwareRouteVisitor const& visit) const {
    unimplemented(helperName, "forEachHardwareRoute");
  }
  // Every VRF id the chip holds at least one route for. A platform that
  // cannot tell visits none (routes of VRFs deleted during a restart then
  // stay in its chip).
  virtual void forEachHardwareVrf(std::function<void(Kor::VrfId)> const& visit) const {}
  // How the chip treats the VRF's routes of this family, from the hardware
  // configuration: dropped packets answered with ICMP unreachable, GRE
  // packets forwarded by their key. Called when a value differs from the
  // chip's start state (both off).
  virtual void icmpUnreachableIs(Kor::VrfId vrfId, bool enabled) { unimplemented(helperName, "icmpUnreachableIs"); }
  virtual void greKeyForwardingIs(Kor::VrfId vrfId, bool enabled) { unimplemented(helperName, "greKeyForwardingIs"); }
  // What the chip's routes of the VRF were programmed under, as last told
  // by programmingRecordIs and kept with the routes across restarts of the
  // library. A platform that keeps no record answers nullopt: its routes
  // are then never purged at start.
  virtual std::optional<Kor::RouteProgrammingRecord> programmingRecord(Kor::VrfId vrfId) const {
    return std::nullopt;
  }
  virtual void programmingRecordIs(Kor::VrfId vrfId, Kor::RouteProgrammingRecord const& record) {}
  // Removes a route the FIB no longer has from the chip.
  virtual void deleteHardwareRoute(Kor::VrfId vrfId, Prefix const& prefix) {
    unimplemented(helperName, "deleteHardwareRoute");
  }
};

using RouteSmHelper = RouteSmHelperT<Nollo::Ipv4>;
using Route6SmHelper = RouteSmHelperT<Nollo::Ipv6>;

}  // namespace KorHelper
