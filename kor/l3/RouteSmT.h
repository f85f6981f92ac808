#pragma once
// The route machine of one VRF and address family: RouteSm (IPv4, trace
// "KorRoutingSm") and Route6Sm (IPv6, trace "KorIp6RoutingSm"), created and
// owned by the VRF's VrfRoot. It reads the VRF's shared-memory FIB route
// table through a sliced reader whose slice is quillYieldTime (set by the VRF
// root). The first time the reader has delivered the whole table the VRF's
// initial sync is over: endOfV4SyncDone (endOfV6SyncDone) is set in the
// VrfL3Status, the platform helper is told, and the VRF root's end-of-sync
// check runs. For now the routes read are only counted; reviewing them and
// writing the hand-over lists is the route work still to come.
#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>
#include <type_traits>

#include "kor/common/KorBaseSm.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/common/VrfName.h"
#include "kor/helpers/RouteSmHelperT.h"
#include "kor/l3/VrfL3Status.h"
#include "nollo/IpPrefix.h"
#include "quill/RouteStatus.h"
#include "quill/SlicedReader.h"
#include "vix/Clock.h"
#include "vix/Time.h"

namespace Kor {

class VrfRoot;

template <class AF>
class RouteSmT : public KorBaseSm {
 public:
  static constexpr bool isV4 = std::is_same_v<AF, Nollo::Ipv4>;
  using RouteStatus = Quill::Fib::RouteStatusT<AF>;
  using Prefix = Nollo::IpPrefixT<AF>;
  using Helper = KorHelper::RouteSmHelperT<AF>;

  RouteSmT(Vix::Ptr<KorCommonSmData> const& acsd, VrfRoot* vrfRoot, Vix::Ptr<RouteStatus const> const& routeStatus,
           Vix::Ptr<VrfL3Status> const& vrfL3Status, Vix::Ptr<Helper> const& helper);
  ~RouteSmT() override;

  void handleInitialized() override;

  Vix::Ptr<RouteStatus const> const& routeStatus() const { return routeStatus_; }
  Vix::Seconds quillYieldTime() const { return quillYieldTime_; }
  void quillYieldTimeIs(Vix::Seconds s);
  bool endOfSyncDone() const;
  uint64_t updatesSeen() const { return updatesSeen_; }

  // "FR4" / "FR6": the FIB's routes (one, or all when prefix is empty).
  void showFibRoutes(std::ostream&, std::optional<Prefix> prefix) const {}
  // "AR4" / "AR6": the library's own route records.
  void showKorRoutes(std::ostream&, std::optional<Prefix> prefix) const {}
  // "SR4u" / "SR6u" for this VRF, from the VrfL3Status counters.
  void doShowRoutesUnprogrammedInVrf(std::ostream& out, VrfName const& vrfName) const;

 private:
  void handleRoute(Prefix const& prefix);
  void doEndOfSync();

  VrfRoot* vrfRoot_;
  Vix::Ptr<RouteStatus const> routeStatus_;
  Vix::Ptr<VrfL3Status> vrfL3Status_;
  Vix::Ptr<Helper> helper_;
  Vix::Seconds quillYieldTime_ = 0.05;
  uint64_t updatesSeen_ = 0;
  std::unique_ptr<Quill::SlicedReader<RouteStatus>> reader_;
  Vix::Clock syncClock_;
};

extern template class RouteSmT<Nollo::Ipv4>;
extern template class RouteSmT<Nollo::Ipv6>;

}  // namespace Kor
