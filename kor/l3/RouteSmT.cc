#include "kor/l3/RouteSmT.h"

#include <cstdio>

#include "kor/l3/VrfRoot.h"

namespace Kor {

template <class AF>
RouteSmT<AF>::RouteSmT(Vix::Ptr<KorCommonSmData> const& acsd, VrfRoot* vrfRoot,
                       Vix::Ptr<RouteStatus const> const& routeStatus, Vix::Ptr<VrfL3Status> const& vrfL3Status,
                       Vix::Ptr<Helper> const& helper)
    : KorBaseSm(acsd, isV4 ? "KorRoutingSm" : "KorIp6RoutingSm"), vrfRoot_(vrfRoot), routeStatus_(routeStatus),
      vrfL3Status_(vrfL3Status), helper_(helper), syncClock_(acsd->activityLoop().ptr(), [this] { doEndOfSync(); }) {}

template <class AF>
RouteSmT<AF>::~RouteSmT() = default;

template <class AF>
void RouteSmT<AF>::handleInitialized() {
  KOR_TRACE_FUNC();
  if (reader_ || !routeStatus_) return;
  auto* loop = acsd()->activityLoop().ptr();
  reader_ = std::make_unique<Quill::SlicedReader<RouteStatus>>(
      routeStatus_, loop, [this](Prefix const& p) { handleRoute(p); }, quillYieldTime_);
  reader_->drainedHandlerIs([this] { doEndOfSync(); });
  // An empty table never makes the reader pass: its sync ends on the next
  // turn of the loop.
  if (reader_->drained()) syncClock_.timeMinIs(loop->now());
}

template <class AF>
void RouteSmT<AF>::quillYieldTimeIs(Vix::Seconds s) {
  quillYieldTime_ = s;
  KOR_TRACE(5, " Yield time " << s);
  if (reader_) reader_->yieldTimeIs(s);
}

template <class AF>
bool RouteSmT<AF>::endOfSyncDone() const {
  if constexpr (isV4) return vrfL3Status_->endOfV4SyncDone();
  else return vrfL3Status_->endOfV6SyncDone();
}

template <class AF>
void RouteSmT<AF>::handleRoute(Prefix const& prefix) {
  ++updatesSeen_;
  KOR_TRACE(8, "Route update " << prefix);
}

template <class AF>
void RouteSmT<AF>::doEndOfSync() {
  if (endOfSyncDone()) return;
  if constexpr (isV4) vrfL3Status_->endOfV4SyncDoneIs(true);
  else vrfL3Status_->endOfV6SyncDoneIs(true);
  KOR_TRACE(1, "End of sync done");
  if (helper_) helper_->handleEndOfSync(vrfL3Status_->vrfName());
  if constexpr (isV4) vrfRoot_->handleEndOfV4Sync();
  else vrfRoot_->handleEndOfV6Sync();
}

template <class AF>
void RouteSmT<AF>::doShowRoutesUnprogrammedInVrf(std::ostream& out, VrfName const& vrfName) const {
  uint32_t unprogrammed = isV4 ? vrfL3Status_->numUnprogrammedRoutes() : vrfL3Status_->numUnprogrammedV6Routes();
  uint32_t parentDrop = isV4 ? vrfL3Status_->numParentDropRoutes() : vrfL3Status_->numParentDropV6Routes();
  char buf[160];
  std::snprintf(buf, sizeof(buf), "Vrf: %s\n", vrfName.str().c_str());
  out << buf;
  if (unprogrammed == 0) {
    out << "No unprogrammed routes\n";
    return;
  }
  std::snprintf(buf, sizeof(buf), "Num unprogrammed routes: %d\n", int(unprogrammed));
  out << buf;
  std::snprintf(buf, sizeof(buf), "Num parent drop routes: %d\n\n", int(parentDrop));
  out << buf;
}

template class RouteSmT<Nollo::Ipv4>;
template class RouteSmT<Nollo::Ipv6>;

}  // namespace Kor
