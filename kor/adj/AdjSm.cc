#include "kor/adj/AdjSm.h"

#include <algorithm>
#include <charconv>
#include <cstdarg>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "kor/adj/ResilientEcmpSmT.h"
#include "kor/common/MplsStackEntryIndex.h"
#include "kor/records/L2Adjacency.h"
#include "nollo/Ip6Hdr.h"
#include "vix/ActivityLoop.h"
#include "vix/RangeError.h"

namespace Kor {

VIX_LOG_EVENT(ROUTING_MAX_PATHS_EXCEEDED, 3, "Number of paths (%d) for adj %d higher than max supported value (%d)",
              "The system is trying to allocate an ecmp route with more paths than the maximum allowed by the hardware. The route will be programmed to to use only the maximum allowed.",
              "Reduce the number of paths of the route.", 0);
VIX_LOG_EVENT(IP6ROUTING_MAX_PATHS_EXCEEDED, 3, "Number of paths (%d) for adj %d higher than max supported value (%d)",
              "The system is trying to allocate an ecmp route with more paths than the maximum allowed by the hardware. The route cannot be allocated.",
              "Reduce the number of paths of the route.", 0);

namespace {

using Quill::Fib::AdjType;
using Quill::Fib::FecType;

template <class AF>
constexpr uint8_t versionOf() {
  return AF::version == 6 ? Nollo::Ip6Hdr::ipVersion6() : Nollo::Ip6Hdr::ipVersion4();
}

AdjUpdateType updateTypeFor(AdjReviewType t) {
  switch (t) {
    case AdjReviewType::adjReviewLinkDown: return AdjUpdateType::linkDownAdjUpdate;
    case AdjReviewType::adjReviewLinkUp: return AdjUpdateType::linkUpAdjUpdate;
    default: return AdjUpdateType::regularAdjUpdate;
  }
}

std::string formatted(char const* fmt, ...) __attribute__((format(printf, 1, 2)));
std::string formatted(char const* fmt, ...) {
  char buf[512];
  va_list ap;
  va_start(ap, fmt);
  vsnprintf(buf, sizeof buf, fmt, ap);
  va_end(ap);
  return buf;
}

}  // namespace

// --- Reactors ---

class AdjSm::VixVrfL3Status : public Vix::NestedReactor<AdjSm, VrfL3Status::Notifiee> {
 public:
  void handleAdjEntryReviewList(Quill::Fib::FecId const& fecId) override { sm_->scheduleAdjReview(fecId); }
  void handleNextHopList(Nollo::IpAddr4 const& a) override { sm_->handleNextHopList<Nollo::Ipv4>(a); }
  void handleNextHop6List(Nollo::IpAddr6 const& a) override { sm_->handleNextHopList<Nollo::Ipv6>(a); }
  void handleRoutingEnabled() override {
    if (sm_->routingSyncInitialized_) sm_->handleRoutingEnabled();
  }
  void handleRouting6Enabled() override {
    if (sm_->routingSyncInitialized_) sm_->handleRouting6Enabled();
  }
  // Routing being switched off waits for the adjacency queues to drain.
  void handleWaitForRoutingDisabled() override { sm_->maybeScheduleAdjReview(); }
  void handleWaitForRouting6Disabled() override { sm_->maybeScheduleAdjReview(); }
  void handleEndOfV4SyncDone() override {
    if (sm_->initialized() && !sm_->routingSyncInitialized_) sm_->handleInitialized();
  }
};

class AdjSm::VixL3Status : public Vix::NestedReactor<AdjSm, L3Status::Notifiee> {
 public:
  void handleAdjResourceFull() override { sm_->handleAdjResourceFull(); }
};

class AdjSm::VixAdjReviewEvent : public Vix::NestedReactor<AdjSm, Routing::AdjReviewEvent::Notifiee> {
 public:
  void handleReviewRequest() override { sm_->maybeScheduleAdjReview(); }
};

class AdjSm::VixIntfVlanIdTable : public Vix::NestedReactor<AdjSm, IntfVlanId::Table::Notifiee> {
 public:
  void handleVlanId(Nollo::IntfId const& intf) override { sm_->handleIntfVlanId(intf); }
};

// --- Construction ---

AdjSm::AdjSm(VrfId vrfId, VrfName const& vrfName, Vix::Ptr<KorCommonSmData> const& acsd,
             Vix::Ptr<Routing::L3Config const> const& l3Config, Vix::Ptr<L3Status> const& l3Status,
             Vix::Ptr<Quill::Fib::ForwardingStatus const> const& forwardingStatus,
             Vix::Ptr<Quill::Fib6::ForwardingStatus const> const& forwarding6Status,
             Vix::Ptr<Routing::Hardware::Status const> const& routingHwStatus,
             Vix::Ptr<L2AdjHelper> const& l2AdjHelper, Vix::Ptr<IntfVlanId::Table const> const& intfVlanIdTable,
             Vix::Ptr<Routing::AdjReviewEvent const> const& adjReviewEvent,
             Vix::Ptr<NexthopGroupRouteSm> const& nexthopGroupRouteSm,
             Vix::Ptr<NexthopGroup::Status const> const& nexthopGroupStatus,
             Vix::Ptr<NexthopGroup::WatchedNexthopGroupConfig> const& watchedNexthopGroupConfig)
    : KorBaseSm(acsd, "KorAdjSm"), vrfId_(vrfId), vrfName_(vrfName), l3Config_(l3Config), l3Status_(l3Status),
      forwardingStatus_(forwardingStatus), forwarding6Status_(forwarding6Status), routingHwStatus_(routingHwStatus),
      l2AdjHelper_(l2AdjHelper), intfVlanIdTable_(intfVlanIdTable), adjReviewEvent_(adjReviewEvent),
      nexthopGroupRouteSm_(nexthopGroupRouteSm), nexthopGroupStatus_(nexthopGroupStatus),
      watchedNexthopGroupConfig_(watchedNexthopGroupConfig),
      review_(acsd->activityLoop().ptr(), [this] { runAdjReview(); }) {
  auto reviewQueued = [this](FecId const& f, AdjForReviewInfo& info) { return doReviewQueued(f, info); };
  for (int lane = 0; lane < 3; ++lane) review_.laneAdd(reviewQueued);
  review_.laneAdd([this](FecId const& f, AdjForReviewInfo&) { return doRetryUnprogrammed(f); }, Vix::LaneKind::retry);
  review_.retryIntervalIs(0.2);

  if (!l3Status_) korAssert("l3Status()");
  vrfL3Status_ = l3Status_ ? l3Status_->vrfL3Status(vrfName_) : nullptr;
  if (!vrfL3Status_) korAssert("vrfL3Status()");
  auto watch = [this](auto& reactor, auto p) {
    reactor = std::move(p);
    reactorAdd(reactor.get());
  };
  // The FEC tables are read from construction on, the FECs already there
  // first, in slices of quillYieldTime; a read FEC waits in the review queues
  // for the passes, which start with the end of the routing sync
  // (handleInitialized). A reader that drains re-checks the queues, so the
  // owner learns of an empty machine when the last FEC is read, too.
  auto* activityLoop = acsd->activityLoop().ptr();
  if (forwardingStatus_) {
    watch(fecReader_, std::make_unique<FecReader>(
                          forwardingStatus_, activityLoop, [this](FecId const& f) { handleFecT<Nollo::Ipv4>(f); },
                          quillYieldTime_));
    fecReader_->drainedHandlerIs([this] { maybeScheduleAdjReview(); });
  }
  if (forwarding6Status_) {
    watch(fec6Reader_, std::make_unique<Fec6Reader>(
                           forwarding6Status_, activityLoop, [this](FecId const& f) { handleFecT<Nollo::Ipv6>(f); },
                           quillYieldTime_));
    fec6Reader_->drainedHandlerIs([this] { maybeScheduleAdjReview(); });
  }
  vixReactors_.watch<VixVrfL3Status>(vrfL3Status_);
  vixReactors_.watch<VixL3Status>(l3Status_);
  vixReactors_.watch<VixAdjReviewEvent>(adjReviewEvent_);
  vixReactors_.watch<VixIntfVlanIdTable>(intfVlanIdTable_);
  // Interface events become adjEntryReviewList entries, as the review
  // requests of any other writer: a per-VRF machine of its own keeps the
  // interface and layer-2 egress bookkeeping out of the review logic.
  if (nexthopGroupRouteSm_) {
    nexthopGroupRouteSm_->reviewHandlerIs([this](uint64_t adjIndex) {
      if (!adjEntry(adjIndex) && !creationDeferredAdj_.count(adjIndex)) return;
      doQueueRegularReview(FecId(adjIndex), Nollo::Ip6Hdr::ipVersion4());
      // A group's members changing changes its FEC's paths: resilient
      // tables over the FEC follow, as for a FEC update.
      doMaybeHandleResilientFec(FecId(adjIndex), Nollo::Ip6Hdr::ipVersion4());
      doMaybeHandleResilientFec(FecId(adjIndex), Nollo::Ip6Hdr::ipVersion6());
      maybeScheduleAdjReview();
    });
    nexthopGroupRouteSm_->requestHandlerIs(
        [this](uint64_t adjIndex, bool add) { handleNexthopGroupRequest(adjIndex, add); });
  }
  if (vrfL3Status_)
    adjLinkReviewSm_ =
        Vix::makePtr<AdjLinkReviewSm>(acsd, vrfId_, l3Status_, vrfL3Status_, l2AdjHelper_, intfVlanIdTable_);
  if (vrfL3Status_ && routingHwStatus_)
    maxEcmpReviewSm_ = std::make_unique<MaxEcmpReviewSm>(acsd, vrfL3Status_, forwardingStatus_, forwarding6Status_,
                                                         routingHwStatus_);
}

AdjSm::~AdjSm() {
  resilientEcmpSm_ = nullptr;
  resilientEcmp6Sm_ = nullptr;
  adjLinkReviewSm_ = nullptr;
  maxEcmpReviewSm_ = nullptr;
  if (nexthopGroupRouteSm_) {
    nexthopGroupRouteSm_->reviewHandlerIs(nullptr);
    nexthopGroupRouteSm_->requestHandlerIs(nullptr);
  }
  for (auto* r : {static_cast<Vix::NotifieeBase*>(fecReader_.get()), static_cast<Vix::NotifieeBase*>(fec6Reader_.get())})
    if (r) reactorDel(r);
  // The interface map of L3Status is shared by every VRF: this VRF's
  // adjacencies leave it. The chip's L2 adjacencies are left alone, so that
  // a restarted agent finds them and claims them back.
  if (vrfL3Status_) {
    for (auto const& kv : vrfL3Status_->adjEntryListMap())
      if (kv.second) intfMappingsIs(kv.second, {});
  }
}

void AdjSm::hasNotificationActiveIs(bool active) {
  KorBaseSm::hasNotificationActiveIs(active);
  if (adjLinkReviewSm_) adjLinkReviewSm_->hasNotificationActiveIs(active);
}

void AdjSm::quillYieldTimeIs(Vix::Seconds s) {
  quillYieldTime_ = s;
  KOR_TRACE(5, " set yield time to " << s);
  if (fecReader_) fecReader_->yieldTimeIs(s);
  if (fec6Reader_) fec6Reader_->yieldTimeIs(s);
}

Vix::Ptr<AdjEntry> AdjSm::adjEntry(uint64_t adjIndex) const {
  return vrfL3Status_ ? vrfL3Status_->adjEntryList(FecId(adjIndex)) : nullptr;
}

// The routing sync that the passes wait for is that of a hitless restart:
// adjacencies are not reprogrammed before the VRF's route machine has been
// through the FIB once (endOfV4SyncDone). Without one, it is over at once.
void AdjSm::handleInitialized() {
  KOR_TRACE_FUNC();
  if (l3Config_ && l3Config_->hitlessRestart() && !vrfL3Status_->endOfV4SyncDone()) {
    KOR_TRACE(1, "Waiting for routing sync");
    return;
  }
  routingSyncInitialized_ = true;
  if (char const* env = std::getenv("KOR_ADJ_REVIEW_INTERVAL")) {
    int64_t n = 0;
    auto [end, ec] = std::from_chars(env, env + std::strlen(env), n, 10);
    if (ec == std::errc() && end != env) {
      review_.intervalIs(static_cast<Vix::Seconds>(n));
      KOR_TRACE(1, " Overriding default adj review interval: now " << n << " seconds ");
    }
  }
  handleRoutingEnabled();
  handleRouting6Enabled();
  if (intfVlanIdTable_) {
    for (auto const& kv : intfVlanIdTable_->vlanIdMap()) handleIntfVlanId(kv.first);
  }
  maybeScheduleAdjReview();
  // FECs still being read take their turn now, as if queued at once: the
  // pass is armed here, at the end of the sync, so it runs right after the
  // readers' first slice and before machines that start later (the route
  // machines' readers), in the order the review had when the tables were
  // walked here in one go. A pass that finds the lanes empty does nothing.
  if (fecsUnread()) review_.scheduleAt(review_.clock().now() + adjReviewInterval());
}

// --- Queueing ---

void AdjSm::handleFec(FecId const& fecId) { handleFecT<Nollo::Ipv4>(fecId); }
void AdjSm::handleFec6(FecId const& fecId) { handleFecT<Nollo::Ipv6>(fecId); }

template <class AF>
void AdjSm::handleFecT(FecId const& fecId) {
  KOR_TRACE(8, (AF::version == 6 ? "handleFec6" : "handleFec") << " vrf: " << vrfName_ << ", fecId: " << fecId);
  if (!fecId.isValid()) {
    korAssert("fecId != Quill::Fib::FecId( Quill::Fib::FecIdConstants::invalidFecId_ )");
    return;
  }
  // FEC 0 is how routes without a FEC are written: it carries no adjacency.
  if (fecId.value() == 0) return;
  doQueueRegularReview(fecId, versionOf<AF>());
  doMaybeHandleResilientFec(fecId, versionOf<AF>());
  maybeScheduleAdjReview();
}

void AdjSm::doQueueRegularReview(FecId const& fecId, uint8_t ipVersion) {
  AdjForReviewInfo info(ipVersion, AdjUpdateType::regularAdjUpdate);
  if (fecId.adjType() == AdjType::tunnelAdj) {
    enqueue(kTunnelLane, fecId, info);
  } else if (auto* queued = review_.find(kLinkDownLane, fecId)) {
    // A FEC queued by a link going down keeps that entry: its review reads
    // the current FEC anyway. Only the version follows the latest request.
    *queued = AdjForReviewInfo(ipVersion, queued->adjUpdateType());
  } else {
    enqueue(kAdjLane, fecId, info);
  }
}

// Every adjacency over the next hop is queued, coalesced per FEC with
// whatever else is queued for it; the pass rebuilds its L2 adjacency from
// the new list.
template <class AF>
void AdjSm::handleNextHopList(typename AF::Addr const& addr) {
  Vix::Ptr<AdjEntrySet> users;
  if constexpr (AF::version == 6) users = vrfL3Status_->nextHopToAdj6Entry(addr);
  else users = vrfL3Status_->nextHopToAdjEntry(addr);
  KOR_TRACE(8, "handleNextHopList vrf: " << vrfName_ << ", addr: " << addr << ", adjs: " << (users ? users->size() : 0));
  if (!users) return;
  for (auto const& fecId : users->fecIds()) doQueueRegularReview(fecId, ipVersionOf(fecId));
  maybeScheduleAdjReview();
}

template void AdjSm::handleNextHopList<Nollo::Ipv4>(Nollo::IpAddr4 const&);
template void AdjSm::handleNextHopList<Nollo::Ipv6>(Nollo::IpAddr6 const&);

void AdjSm::enqueue(size_t lane, FecId const& fecId, AdjForReviewInfo const& info) {
  review_.enqueue(lane, fecId, info);
}

// The IP version of a FEC id: that of its adjacency, else the table holding it.
uint8_t AdjSm::ipVersionOf(FecId const& fecId) const {
  if (auto e = adjEntry(fecId.value())) return e->ipVersion();
  if (forwarding6Status_ && forwarding6Status_->fecHas(fecId) && !(forwardingStatus_ && forwardingStatus_->fecHas(fecId)))
    return Nollo::Ip6Hdr::ipVersion6();
  return Nollo::Ip6Hdr::ipVersion4();
}

void AdjSm::scheduleAdjReview(FecId const& fecId) {
  if (!vrfL3Status_->adjEntryReviewListHas(fecId)) return;
  KOR_TRACE(8, "scheduleAdjReview vrf: " << vrfName_ << ", fecId: " << fecId);
  AdjReviewType reviewType = vrfL3Status_->adjEntryReviewList(fecId);
  if (fecId.value() == 0) {
  } else if (fecId.adjType() == AdjType::tunnelAdj) {
    enqueue(kTunnelLane, fecId, AdjForReviewInfo(ipVersionOf(fecId), AdjUpdateType::regularAdjUpdate));
  } else {
    // The queued entry carries the update type of the review type: link
    // down / link up tell the L2 adjacency helper why it rebuilds; anything
    // else is a regular update.
    AdjForReviewInfo info(ipVersionOf(fecId), updateTypeFor(reviewType));
    if (reviewType != AdjReviewType::adjReviewLinkDown && reviewType != AdjReviewType::adjReviewLinkUp) {
      // Not a link event (a VLAN change, a next-hop group): a regular review
      // that leaves a queued link-down review where it is.
      doQueueRegularReview(fecId, info.ipVersion());
    } else if (reviewType == AdjReviewType::adjReviewLinkDown) {
      if (review_.erase(kAdjLane, fecId))
        KOR_TRACE(5, " linkDown and entry found in adjReview "
                         << "collection. Deleting it: " << fecId << " ipv: " << int(info.ipVersion()));
      enqueue(kLinkDownLane, fecId, info);
    } else {
      if (review_.erase(kLinkDownLane, fecId))
        KOR_TRACE(5, " linkUp and entry found in linkDown "
                         << "collection. Deleting it: " << fecId << " ipv: " << int(info.ipVersion()));
      enqueue(kAdjLane, fecId, info);
    }
    maybeScheduleAdjReview();
  }
  vrfL3Status_->adjEntryReviewListDel(fecId);
}

void AdjSm::maybeScheduleAdjReview() {
  if (!routingSyncInitialized_) {
    KOR_TRACE(8, "Waiting for routing sync");
    return;
  }
  bool mapsEmpty = adjsForReview() == 0;
  bool mapsPending = review_.pending();
  bool unprogrammed = !unprogrammedAdjList().empty();
  // Every review pass, and every request, ends here: an empty queue is told
  // as it is found, so the end of the initial sync needs no polling.
  if (mapsEmpty && reviewDrainedHandler_) reviewDrainedHandler_();
  if (!unprogrammed && mapsEmpty) {
    // An empty adjacency queue is the moment a pending switch-off of routing
    // may go on: ask the route machines for a pass.
    if (vrfL3Status_->waitForRoutingDisabled()) {
      KOR_TRACE(5, "Scheduling v4 route review");
      l3Status_->unicastReviewPendingInc();
    }
    if (vrfL3Status_->waitForRouting6Disabled()) {
      KOR_TRACE(5, "Scheduling v6 route review");
      l3Status_->unicast6ReviewPendingInc();
    }
    KOR_TRACE(8, "No routes or adjs to be reviewed");
    return;
  }
  if (!unprogrammed && !mapsPending) {
    // Only entries of a version whose routing is off are queued: a pass
    // would skip them all. Enabling routing or a new request re-arms.
    KOR_TRACE(8, "Adj review parked until routing is enabled");
    return;
  }
  Vix::Seconds delay = mapsPending ? adjReviewInterval() : unprogrammedAdjReviewInterval();
  Vix::Seconds due = review_.clock().now() + delay;
  if (review_.armed() && review_.due() <= due) {
    KOR_TRACE(9, "Adj review timer already set");
    return;
  }
  if (mapsPending) review_.schedule();
  else review_.scheduleRetry();
  KOR_TRACE(8, "Adj review scheduled at " << due << ", delay: " << delay);
}

void AdjSm::removeAdjEntryFromReview(FecId const& fecId) {
  if (review_.erase(kLinkDownLane, fecId)) KOR_TRACE(8, "Remove linkDownAdjForReview after update " << fecId);
  if (review_.erase(kAdjLane, fecId)) KOR_TRACE(8, "Remove adjForReview after update " << fecId);
  if (review_.erase(kTunnelLane, fecId)) KOR_TRACE(8, "Remove tunnelForReview after update " << fecId);
  // Every caller has just read the FEC's current value: a change of it not
  // yet read is seen, and reading it again would review it twice.
  if (fecReader_) fecReader_->forget(fecId);
  if (fec6Reader_) fec6Reader_->forget(fecId);
}

// --- The review pass ---

void AdjSm::runAdjReview() {
  KOR_TRACE_FUNC();
  if (adjsForReview() == 0) KOR_TRACE(9, "No adj scheduled for review");
  if (review_.runPass() == Vix::PassResult::yielded) {
    if (auto b = unprogrammedAdjList().bookmark())
      KOR_TRACE(5, "Time's up, unprogrammed adj review yielding. Bookmark: " << b->value());
    else
      KOR_TRACE(5, "Time's up, adj review yielding");
  }
  maybeScheduleAdjReview();
}

// An entry whose IP version has routing off stays queued (parked).
Vix::ReviewAction AdjSm::doReviewQueued(FecId const& fecId, AdjForReviewInfo const& info) {
  if (!reviewEnabledFor(fecId, info.ipVersion())) return Vix::ReviewAction::keep;
  uint64_t adjIndex = fecId.value();
  bool ok;
  bool v6 = info.ipVersion() == Nollo::Ip6Hdr::ipVersion6();
  if (v6 && resilientEcmp6Sm_ && ResilientEcmp6Sm::isResilientAdjIndex(adjIndex))
    ok = reviewResilientAdj6(fecId, adjIndex, info.adjUpdateType());
  else if (!v6 && resilientEcmpSm_ && ResilientEcmpSm::isResilientAdjIndex(adjIndex))
    ok = reviewResilientAdj(fecId, adjIndex, info.adjUpdateType());
  else if (fecId.adjType() == AdjType::nextHopGroupAdj) ok = reviewNexthopAdj(fecId, adjIndex, info.adjUpdateType());
  else if (info.ipVersion() != Nollo::Ip6Hdr::ipVersion4()) {
    // Anything queued that is not IPv4 must be IPv6.
    if (info.ipVersion() != Nollo::Ip6Hdr::ipVersion6()) {
      korAssert("adjIter->ipVersion() == Nollo::Ip6Hdr::ipVersion6()");
      return Vix::ReviewAction::done;
    }
    ok = reviewAdj6(fecId, adjIndex, info.adjUpdateType());
  }
  else ok = reviewAdj(fecId, adjIndex, info.adjUpdateType());
  if (!ok) KOR_TRACE(3, "fecId: " << fecId << ", reviewAdj failed!");
  // The resilient tables built from this FEC follow what its next hops resolve to.
  if (!ResilientEcmpSm::isResilientAdjIndex(adjIndex) && !ResilientEcmp6Sm::isResilientAdjIndex(adjIndex))
    doMaybeHandleResilientFec(fecId, info.ipVersion());
  if (reviewHook_) reviewHook_(fecId);
  return Vix::ReviewAction::done;
}

Vix::ReviewAction AdjSm::doRetryUnprogrammed(FecId const& fecId) {
  auto entry = adjEntry(fecId.value());
  if (!entry || !entry->l2Adj() || !l2AdjHelper_) return Vix::ReviewAction::done;
  L2AdjState state = entry->l2Adj()->state();
  KOR_TRACE(8, "AdjIndex: " << fecId << ", state: " << state);
  if (state == L2AdjState::installed) return Vix::ReviewAction::done;
  if (state != L2AdjState::installNotReady && state != L2AdjState::installFailed) {
    korAssert("l2Adj->state() == L2AdjState::installed_ || l2Adj->state() == L2AdjState::installNotReady_ || "
              "l2Adj->state() == L2AdjState::installFailed_");
    return Vix::ReviewAction::done;
  }
  // A failed install is retried like a not-ready one: under resource full
  // the helper refuses again without asking the platform.
  l2AdjHelper_->updateL2AdjForAdj(*entry, AdjUpdateType::regularAdjUpdate);
  L2AdjState newState = entry->l2Adj() ? entry->l2Adj()->state() : L2AdjState::newborn;
  bool installed = newState == L2AdjState::installed;
  KOR_TRACE(8, "New state: " << newState << ", prefixWalk: " << installed);
  if (!installed) return Vix::ReviewAction::keep;
  if (fecId.adjType() == AdjType::nextHopGroupAdj) {
    l3Status_->nexthopAdjUpdateListIs(entry, true);
  } else if (entry->ipVersion() == Nollo::Ip6Hdr::ipVersion6()) {
    l3Status_->adjUpdate6ListIs(entry, l3Status_->adjUpdate6List(entry) + 1);
  } else {
    l3Status_->adjUpdateListIs(entry, l3Status_->adjUpdateList(entry) + 1);
  }
  schedulePrefixWalk(entry);
  return Vix::ReviewAction::done;
}

bool AdjSm::reviewAdj(FecId const& fecId, uint64_t adjIndex, AdjUpdateType adjUpdateType) {
  return reviewAdjT<Nollo::Ipv4>(fecId, adjIndex, adjUpdateType);
}

bool AdjSm::reviewAdj6(FecId const& fecId, uint64_t adjIndex, AdjUpdateType adjUpdateType) {
  return reviewAdjT<Nollo::Ipv6>(fecId, adjIndex, adjUpdateType);
}

template <class AF>
bool AdjSm::reviewAdjT(FecId const& fecId, uint64_t adjIndex, AdjUpdateType adjUpdateType) {
  constexpr bool v6 = AF::version == 6;
  constexpr uint8_t ipVersion = versionOf<AF>();
  KOR_TRACE(5, (v6 ? "reviewAdj6" : "reviewAdj") << " vrf: " << vrfName_ << ", fecId: " << fecId
                                                 << ", updateType: " << adjUpdateType);
  if (!adjIndex) {
    korAssert("adjIndex");
    return false;
  }
  // Refused again below if it still is.
  if (!refusedAdj_.empty()) refusedAdj_.erase(adjIndex);
  Vix::Ptr<Quill::Fib::FecT<AF> const> fec;
  if constexpr (v6) {
    if (forwarding6Status_) fec = forwarding6Status_->fec(fecId);
  } else {
    if (forwardingStatus_) fec = forwardingStatus_->fec(fecId);
  }
  auto entry = adjEntry(adjIndex);
  if (fec && fec->type() == FecType::attached) {
    KOR_TRACE(5, "Attached fec, ignoring");
    removeAdjEntryFromReview(fecId);
    return true;
  }
  if (!fec) {
    // A FEC id deleted here and published in the other version's table: the
    // review is that version's.
    bool inOther;
    if constexpr (v6) inOther = forwardingStatus_ && forwardingStatus_->fecHas(fecId);
    else inOther = forwarding6Status_ && forwarding6Status_->fecHas(fecId);
    if (inOther) {
      KOR_TRACE(5, "Fec " << fecId << " moved to the other IP version's table");
      removeAdjEntryFromReview(fecId);
      doQueueRegularReview(fecId, v6 ? Nollo::Ip6Hdr::ipVersion4() : Nollo::Ip6Hdr::ipVersion6());
      return true;
    }
    KOR_TRACE(5, "Adj not found or adj deletion");
    if (entry && entry->unused()) {
      KOR_TRACE(5, "Removing unused adj");
      removeAdjEntryFromL2Adj(entry);
    }
    removeAdjEntryFromReview(fecId);
    return true;
  }
  if (entry) entry = doDropOtherVersion<AF>(entry);
  if (entry && entry->routeType() == RouteType::attachedRoute) {
    KOR_TRACE(5, "Attached adj");
    auto const& via = entry->adjViaOf<AF>();
    Nollo::IntfId intf = via && via->vias() ? via->viaList().front().intfId() : Nollo::IntfId();
    doCreateAdjEntryForAttachedRoute<AF>(adjIndex, intf);
    removeAdjEntryFromReview(fecId);
    return true;
  }
  RouteType routeType = routeTypeOfFec(fec->type(), fec->viaCount());
  KOR_TRACE(5, "Route type: " << routeType << ", vias: " << fec->viaCount());
  if (routeType == RouteType::invalidRoute) {
    KOR_TRACE(5, "Invalid route, ignoring");
    removeAdjEntryFromReview(fecId);
    return false;
  }
  if (routeType == RouteType::dropRoute) {
    handleDropFec(ipVersion, fecId);
    removeAdjEntryFromReview(fecId);
    return true;
  }
  if (!routingEnabledFor(ipVersion)) {
    KOR_TRACE(5, "Routing disabled, skip update");
    removeAdjEntryFromReview(fecId);
    return true;
  }
  if (routeType == RouteType::nexthopGroupRoute) return reviewNexthopAdj(fecId, adjIndex, adjUpdateType);

  // ECMP limits, checked before anything is created. Two apply: the
  // hardware's maxEcmp (FEC vias; 0: the platform published none), and what
  // an adjacency can hold at all - one ViaIndex per path, a via of weight w
  // being w paths (kMaxPaths). Over either, the log names the paths, the
  // adjacency and the limit, once per review. An IPv6 FEC over the limit is
  // refused (the route cannot be allocated): no adjacency is made for it -
  // the routes over it wait unprogrammed (isAdjRefused) - and an existing
  // one keeps its last programmed vias until the FEC changes again. An IPv4
  // FEC keeps its first paths in FEC order up to the limit (the route is
  // programmed with the maximum); the last via kept may lose some weight.
  size_t viaCount = fec->viaCount();
  // A forwarding FEC has vias (a FEC without any is typed invalid above).
  if (routeType == RouteType::forwardRoute && !viaCount) {
    korAssert("fec.vias()");
    removeAdjEntryFromReview(fecId);
    return false;
  }
  uint64_t paths = 0;
  for (size_t i = 0; i < viaCount; ++i) paths += std::max<uint32_t>(fec->via(i).weight(), 1);
  uint32_t maxEcmp = routingHwStatus_ ? routingHwStatus_->maxEcmp() : 0;
  bool overEcmp = maxEcmp && viaCount > maxEcmp;
  if (overEcmp || paths > kMaxPaths) {
    uint64_t shown = overEcmp ? viaCount : paths;
    uint32_t limit = overEcmp ? maxEcmp : kMaxPaths;
    KOR_TRACE(3, "Number of vias exceeds maxEcmp: " << limit);
    // The format's %d prints the adjacency index as an int: its low 32 bits.
    (v6 ? IP6ROUTING_MAX_PATHS_EXCEEDED : ROUTING_MAX_PATHS_EXCEEDED)
        .raise(review_.clock().now(), static_cast<int>(std::min<uint64_t>(shown, INT32_MAX)), static_cast<int>(adjIndex),
               static_cast<int>(limit));
    if (v6) {
      if (!entry) refusedAdj_.insert(adjIndex);
      removeAdjEntryFromReview(fecId);
      return false;
    }
    if (overEcmp) viaCount = maxEcmp;
  }

  // The FEC's vias; a via of weight w stands w times, up to kMaxPaths.
  auto adjVia = Vix::makePtr<AdjViaT<AF>>();
  try {
    uint8_t backups = 0;
    for (size_t i = 0; i < viaCount && adjVia->vias() < kMaxPaths; ++i) {
      auto const& fv = fec->via(i);
      // Each label takes a position of the stack: a stack deeper than an
      // adjacency pushes throws, and the FEC is refused.
      for (size_t l = 0; l < fv.mplsLabels().size(); ++l) MplsStackEntryIndex(static_cast<int64_t>(l));
      ViaT<AF> via(fv.nextHop(), fv.intf(), VlanIdOrNone(fv.vlan()), fv.mplsLabels(), fv.backup());
      KOR_TRACE(8, "   Via: " << via);
      for (uint32_t w = 0; w < std::max<uint32_t>(fv.weight(), 1) && adjVia->vias() < kMaxPaths; ++w)
        adjVia->viaAdd(via);
      backups += fv.backup();
    }
    adjVia->numBackupViasIs(backups);
  } catch (Vix::RangeError const& e) {
    KOR_TRACE(1, "fecId: " << fecId << " " << e.what() << ", reviewAdj failed!");
    removeAdjEntryFromReview(fecId);
    return false;
  }

  if (routeType == RouteType::nexthopGroupRoute) korAssert("routeType != nexthopGroupRoute_");
  if (!entry) {
    KOR_TRACE(5, "Create adj entry: " << Quill::Fib::FecId(adjIndex));
    entry = Vix::makePtr<AdjEntry>(fecId);
    entry->vrfIdIs(vrfId_);
    entry->routeTypeIs(routeType);
    vrfL3Status_->adjEntryListIs(fecId, entry);
  } else if (entry->routeType() != routeType) {
    // A FEC id republished with another type re-types its adjacency.
    KOR_TRACE(3, "adjEntry->routeType() == routeType failed for " << Quill::Fib::FecId(adjIndex) << ": " << entry->routeType()
                                                                  << " -> " << routeType);
    entry->routeTypeIs(routeType);
  }
  deleteNextHopMappings(entry);
  addAdjViaToAdjEntry<AF>(entry, adjVia);
  if constexpr (!v6) {
    if (routeType == RouteType::forwardRoute && !entry->adjVia()->vias() && !entry->adjVia()->viaBitmaps())
      korAssert("adjEntry->adjVia()->vias() || adjEntry->adjVia()->viaBitmaps()");
  }
  if (!v6 && entry->adjVia6() && routeType != RouteType::nexthopGroupRoute)
    korAssert("!adjEntry->adjVia6() || routeType == nexthopGroupRoute_");
  createOrUpdateL2Adj(entry, adjUpdateType);
  KOR_TRACE(8, "Increase reviewCnt for adj " << Quill::Fib::FecId(adjIndex));
  vrfL3Status_->adjEntryReviewCntIs(fecId, vrfL3Status_->adjEntryReviewCnt(fecId) + 1);
  creationDeferredAdj_.erase(adjIndex);
  removeAdjEntryFromReview(fecId);
  return true;
}

// Removed as for a deleted FEC when nothing uses it (the new version's
// adjacency is then built afresh); else it keeps its users and binding and
// only loses the old vias. A drop adjacency of the old version gives up its
// index: the next drop FEC of that version makes a new one.
template <class AF>
Vix::Ptr<AdjEntry> AdjSm::doDropOtherVersion(Vix::Ptr<AdjEntry> const& entry) {
  constexpr uint8_t ipVersion = versionOf<AF>();
  uint8_t old = entry->ipVersion();
  if (old == ipVersion || entry->routeType() == RouteType::nexthopGroupRoute) return entry;
  if (!entry->adjVia() && !entry->adjVia6()) return entry;
  uint64_t adjIndex = entry->adjIndex();
  KOR_TRACE(3, "Adj " << Quill::Fib::FecId(adjIndex) << " changes IP version " << int(old) << " -> " << int(ipVersion));
  uint64_t& oldDrop = old == Nollo::Ip6Hdr::ipVersion6() ? dropAdj6Index_ : dropAdjIndex_;
  if (oldDrop == adjIndex) oldDrop = 0;
  if (entry->unused()) {
    KOR_TRACE(5, "Removing unused adj");
    removeAdjEntryFromL2Adj(entry);
    return nullptr;
  }
  deleteNextHopMappings(entry);
  if (old == Nollo::Ip6Hdr::ipVersion6()) entry->adjVia6Is(nullptr);
  else entry->adjViaIs(nullptr);
  return entry;
}

// A next-hop-group FEC (adjacency type nextHopGroupAdj, index the group id)
// has no vias of its own: its adjacency takes the members of the group the
// VRF's NexthopGroupRouteSm knows by that id, resolved through the VRF's
// next-hop lists like any via, into an L2 adjacency of type nexthopAdj. The
// adjacency is wanted while its FEC is published (in either table) or a
// next-hop-group request holds it (pbr). While the group is not published
// the adjacency is kept without an L2 adjacency in creationDeferredAdj, its
// routes handed over with L2 adjacency index 0; the group machine reviews
// it again when the group comes (handleNextHopEntryListColl).
bool AdjSm::reviewNexthopAdj(FecId const& fecId, uint64_t adjIndex, AdjUpdateType adjUpdateType) {
  KOR_TRACE(5, "NexthopGroup adj");
  // A FEC of the next-hop-group type under an id of another adjacency type
  // names no group: refused, its routes stay without an adjacency.
  if (fecId.adjType() != AdjType::nextHopGroupAdj) {
    KOR_TRACE(1, "adjType == Quill::Fib::nextHopGroupAdj() failed for fecId " << fecId);
    removeAdjEntryFromReview(fecId);
    return false;
  }
  auto entry = adjEntry(adjIndex);
  bool hasFec = (forwardingStatus_ && forwardingStatus_->fecHas(fecId)) ||
                (forwarding6Status_ && forwarding6Status_->fecHas(fecId));
  if (!hasFec && !(entry && entry->pbr())) {
    KOR_TRACE(5, "Adj not found or adj deletion");
    if (entry && entry->unused()) {
      KOR_TRACE(5, "Removing unused adj");
      removeAdjEntryFromL2Adj(entry);
    }
    creationDeferredAdj_.erase(adjIndex);
    removeAdjEntryFromReview(fecId);
    return true;
  }
  bool supported = routingHwStatus_ && (vrfId_.isDefault() ? routingHwStatus_->nexthopGroupSupported()
                                                           : routingHwStatus_->nexthopGroupSupportedInNonDefaultVrf());
  if (!supported) {
    KOR_TRACE(3, "nexthopGroup not supported in vrf id " << vrfId_);
    removeAdjEntryFromReview(fecId);
    return false;
  }
  uint64_t nhgId = fecId.index();
  KOR_TRACE(5, "NextHopGroupId: " << nhgId);
  if (!entry) {
    KOR_TRACE(5, "Create adj entry: " << Quill::Fib::FecId(adjIndex));
    entry = Vix::makePtr<AdjEntry>(fecId);
    entry->vrfIdIs(vrfId_);
    entry->routeTypeIs(RouteType::nexthopGroupRoute);
    vrfL3Status_->adjEntryListIs(fecId, entry);
  } else if (entry->routeType() != RouteType::nexthopGroupRoute) {
    KOR_TRACE(3, "adjEntry->routeType() == routeType failed for " << Quill::Fib::FecId(adjIndex) << ": " << entry->routeType()
                                                                  << " -> " << RouteType::nexthopGroupRoute);
    entry->routeTypeIs(RouteType::nexthopGroupRoute);
  }
  NexthopGroup::Group const* group = nullptr;
  if (nexthopGroupRouteSm_) {
    if (!routingHwStatus_->nexthopGroupSupported() && vrfId_.isDefault())
      korAssert("routingHwStatus()->nexthopGroupSupported()");
    nexthopGroupRouteSm_->doCreateNexthopGroupSmForAdj(adjIndex);
    group = nexthopGroupRouteSm_->publishedGroup(nhgId);
  }
  if (!group) {
    KOR_TRACE(5, "Nexthop group " << nhgId << " not known, adj " << Quill::Fib::FecId(adjIndex) << " creation deferred");
    creationDeferredAdj_.insert(adjIndex);
    doReleaseL2AdjOfGroupAdj(entry);
    removeAdjEntryFromReview(fecId);
    return true;
  }
  bool v6 = !group->entries().empty() && group->entries().front().nextHop().isV6();
  deleteNextHopMappings(entry);
  if (v6) {
    entry->adjViaIs(nullptr);
    addAdjViaToAdjEntry<Nollo::Ipv6>(entry, doBuildNexthopGroupVia<Nollo::Ipv6>(*group));
  } else {
    entry->adjVia6Is(nullptr);
    addAdjViaToAdjEntry<Nollo::Ipv4>(entry, doBuildNexthopGroupVia<Nollo::Ipv4>(*group));
  }
  createOrUpdateL2Adj(entry, adjUpdateType);
  KOR_TRACE(8, "Increase reviewCnt for adj " << Quill::Fib::FecId(adjIndex));
  vrfL3Status_->adjEntryReviewCntIs(fecId, vrfL3Status_->adjEntryReviewCnt(fecId) + 1);
  creationDeferredAdj_.erase(adjIndex);
  removeAdjEntryFromReview(fecId);
  return true;
}

// The members of the group's family, in order, each standing weight times
// (up to kMaxPaths); a member of the other family is left out.
template <class AF>
Vix::Ptr<AdjViaT<AF>> AdjSm::doBuildNexthopGroupVia(NexthopGroup::Group const& group) {
  auto adjVia = Vix::makePtr<AdjViaT<AF>>();
  for (auto const& member : group.entries()) {
    if (member.nextHop().version() != AF::version) {
      KOR_TRACE(3, "Nexthop group " << group.id() << " member " << member.str() << " of the other family left out");
      continue;
    }
    typename AF::Addr nh;
    if constexpr (AF::version == 6) nh = member.nextHop().v6();
    else nh = member.nextHop().v4();
    ViaT<AF> via(nh, member.intf(), VlanIdOrNone(member.vlan()), member.labels(), false);
    for (uint32_t w = 0; w < std::max<uint32_t>(member.weight(), 1) && adjVia->vias() < kMaxPaths; ++w)
      adjVia->viaAdd(via);
  }
  adjVia->nextHopGroupSizeIs(uint32_t(group.entries().size()));
  return adjVia;
}

// A group adjacency whose group went away leaves its L2 adjacency: its
// routes are handed over again (without one) by a prefix walk.
void AdjSm::doReleaseL2AdjOfGroupAdj(Vix::Ptr<AdjEntry> const& entry) {
  deleteNextHopMappings(entry);
  entry->adjViaIs(nullptr);
  entry->adjVia6Is(nullptr);
  if (!entry->l2Adj()) return;
  intfMappingsIs(entry, {});
  if (l2AdjHelper_) l2AdjHelper_->doRemoveAdjEntryFromL2Adj(entry->l2Adj(), *entry);
  entry->l2AdjIs(nullptr);
  review_.erase(kUnprogrammedLane, entry->fecId());
  if (entry->prefixs() || entry->prefix6s()) schedulePrefixWalk(entry);
}

// A next-hop-group request came or went: the group's adjacency counts it
// (pbr) and is reviewed; the request alone keeps it.
void AdjSm::handleNexthopGroupRequest(uint64_t adjIndex, bool add) {
  FecId fecId(adjIndex);
  auto entry = adjEntry(adjIndex);
  if (add && !entry) {
    entry = Vix::makePtr<AdjEntry>(fecId);
    entry->vrfIdIs(vrfId_);
    entry->routeTypeIs(RouteType::nexthopGroupRoute);
    vrfL3Status_->adjEntryListIs(fecId, entry);
  }
  if (!entry) return;
  if (!add && !entry->pbr()) {
    korAssert("refCnt >= 1");
    return;
  }
  entry->pbrIs(entry->pbr() + (add ? 1 : -1));
  doQueueRegularReview(fecId, Nollo::Ip6Hdr::ipVersion4());
  maybeScheduleAdjReview();
}

void AdjSm::createOrUpdateL2Adj(Vix::Ptr<AdjEntry> const& adjEntry, AdjUpdateType adjUpdateType) {
  if (!l2AdjHelper_) {
    KOR_TRACE(3, "No L2 adjacency helper, adj " << Quill::Fib::FecId(adjEntry->adjIndex()) << " not programmed");
    return;
  }
  if (!adjEntry->l2Adj()) KOR_TRACE(8, "L2Adj for adjEntry doesn't exist. Create one");
  uint64_t oldIndex = adjEntry->l2Adj() ? adjEntry->l2Adj()->index() : 0;
  l2AdjHelper_->updateL2AdjForAdj(*adjEntry, adjUpdateType);
  // The routes on the entry point at its L2 adjacency by index: a new index
  // (a move to a shared adjacency, or out of one) hands them over again.
  uint64_t newIndex = adjEntry->l2Adj() ? adjEntry->l2Adj()->index() : 0;
  if (newIndex != oldIndex && (adjEntry->prefixs() || adjEntry->prefix6s())) schedulePrefixWalk(adjEntry);
  adjEntry->intfStatusReviewInProgressIs(false);
  auto const& l2Adj = adjEntry->l2Adj();
  if (l2Adj && l2Adj->state() != L2AdjState::installed) review_.enqueue(kUnprogrammedLane, adjEntry->fecId());
  else review_.erase(kUnprogrammedLane, adjEntry->fecId());
}

bool AdjSm::removeAdjEntryFromL2Adj(Vix::Ptr<AdjEntry> const& adjEntry) {
  uint64_t adjIndex = adjEntry->adjIndex();
  if (adjIndex == dropAdjIndex_) {
    KOR_TRACE(5, "Not deleting v4 drop adjacency");
    return false;
  }
  if (adjIndex == dropAdj6Index_) {
    KOR_TRACE(5, "Not deleting v6 drop adjacency");
    return false;
  }
  deleteNextHopMappings(adjEntry);
  intfMappingsIs(adjEntry, {});
  if (l2AdjHelper_ && adjEntry->l2Adj()) l2AdjHelper_->doRemoveAdjEntryFromL2Adj(adjEntry->l2Adj(), *adjEntry);
  adjEntry->l2AdjIs(nullptr);
  l3Status_->adjEntryUpdatesDel(adjEntry);
  review_.erase(kUnprogrammedLane, adjEntry->fecId());
  creationDeferredAdj_.erase(adjIndex);
  if (nexthopGroupRouteSm_ && adjEntry->routeType() == RouteType::nexthopGroupRoute)
    nexthopGroupRouteSm_->doReleaseNexthopGroupSmForAdj(adjIndex);
  vrfL3Status_->adjEntryReviewCntDel(adjEntry->fecId());
  vrfL3Status_->adjEntryListDel(adjEntry->fecId());
  return true;
}

Vix::Ptr<AdjEntry> AdjSm::handleDropFec(uint8_t ipVersion, FecId const& fecId) {
  bool v6 = ipVersion == Nollo::Ip6Hdr::ipVersion6();
  uint64_t& dropIndex = v6 ? dropAdj6Index_ : dropAdjIndex_;
  if (dropIndex) {
    KOR_TRACE(8, "Drop adj already created");
    return adjEntry(dropIndex);
  }
  KOR_TRACE(5, "Drop adj");
  auto entry = adjEntry(fecId.value());
  if (!entry) {
    entry = Vix::makePtr<AdjEntry>(fecId);
    entry->vrfIdIs(vrfId_);
    vrfL3Status_->adjEntryListIs(fecId, entry);
  }
  entry->routeTypeIs(RouteType::dropRoute);
  if (v6) entry->adjVia6Is(Vix::makePtr<AdjVia6>());
  else entry->adjViaIs(Vix::makePtr<AdjVia>());
  dropIndex = fecId.value();
  createOrUpdateL2Adj(entry, AdjUpdateType::regularAdjUpdate);
  vrfL3Status_->adjEntryReviewCntIs(fecId, vrfL3Status_->adjEntryReviewCnt(fecId) + 1);
  return entry;
}

// --- Mappings: next hop -> adjacencies (VrfL3Status), interface ->
// adjacencies (L3Status). Sets are replaced, not changed in place, so that
// watchers of the maps are told.

namespace {

template <class Key, class Get, class Set, class Del>
void adjEntrySetChange(Get const& get, Key const& key, Quill::Fib::FecId fecId, bool add, Set const& set,
                       Del const& del) {
  auto old = get(key);
  auto next = Vix::makePtr<AdjEntrySet>();
  if (old) *next = *old;
  if (add) next->fecIdIs(fecId);
  else next->fecIdDel(fecId);
  if (next->empty()) del(key);
  else set(key, next);
}

}  // namespace

template <class AF>
void AdjSm::nextHopMappingIs(typename AF::Addr const& nextHop, FecId const& fecId, bool add) {
  auto* s = vrfL3Status_.ptr();
  if constexpr (AF::version == 6) {
    adjEntrySetChange(
        [s](auto const& k) { return s->nextHopToAdj6Entry(k); }, nextHop, fecId, add,
        [s](auto const& k, auto const& v) { s->nextHopToAdj6EntryIs(k, v); },
        [s](auto const& k) { s->nextHopToAdj6EntryDel(k); });
  } else {
    adjEntrySetChange(
        [s](auto const& k) { return s->nextHopToAdjEntry(k); }, nextHop, fecId, add,
        [s](auto const& k, auto const& v) { s->nextHopToAdjEntryIs(k, v); },
        [s](auto const& k) { s->nextHopToAdjEntryDel(k); });
  }
}

template <class AF>
void AdjSm::deleteNextHopMappingsT(FecId const& fecId, AdjViaT<AF> const& adjVia) {
  std::set<typename AF::Addr> nextHops;
  for (auto const& v : adjVia.viaList()) nextHops.insert(v.nextHop());
  for (auto const& kv : adjVia.viaBitmapMap()) nextHops.insert(kv.first.nextHop());
  for (auto const& nh : nextHops) {
    bool mapped;
    if constexpr (AF::version == 6) mapped = vrfL3Status_->nextHopToAdj6EntryHas(nh);
    else mapped = vrfL3Status_->nextHopToAdjEntryHas(nh);
    if (!mapped) continue;
    KOR_TRACE(9, "Deleting mapping for next hop " << nh.str());
    nextHopMappingIs<AF>(nh, fecId, false);
  }
}

void AdjSm::deleteNextHopMappings(Vix::Ptr<AdjEntry> const& adjEntry) {
  if (auto const& via = adjEntry->adjVia()) deleteNextHopMappingsT<Nollo::Ipv4>(adjEntry->fecId(), *via);
  if (auto const& via = adjEntry->adjVia6()) deleteNextHopMappingsT<Nollo::Ipv6>(adjEntry->fecId(), *via);
}

template <class AF>
void AdjSm::addAdjViaToAdjEntry(Vix::Ptr<AdjEntry> const& adjEntry, Vix::Ptr<AdjViaT<AF>> const& adjVia) {
  using Addr = typename AF::Addr;
  auto fecId = adjEntry->fecId();
  if constexpr (AF::version == 6) adjEntry->adjVia6Is(adjVia);
  else adjEntry->adjViaIs(adjVia);
  auto add = [&](Addr const& nh) {
    if (nh != Addr{}) nextHopMappingIs<AF>(nh, fecId, true);
  };
  std::set<Addr> nextHops;
  std::set<Nollo::IntfId> intfs;
  for (auto const& v : adjVia->viaList()) {
    if (nextHops.insert(v.nextHop()).second) {
      KOR_TRACE(9, "Adding mapping for next hop " << v.nextHop().str());
      add(v.nextHop());
    }
    if (!v.intfId().isNone()) intfs.insert(v.intfId());
  }
  for (auto const& kv : adjVia->viaBitmapMap()) {
    if (nextHops.insert(kv.first.nextHop()).second) {
      KOR_TRACE(9, "Adding mapping for bitmap next hop " << kv.first.nextHop().str());
      add(kv.first.nextHop());
    }
    if (!kv.first.intfId().isNone()) intfs.insert(kv.first.intfId());
  }
  intfMappingsIs(adjEntry, intfs);
}

void AdjSm::intfMappingsIs(Vix::Ptr<AdjEntry> const& adjEntry, std::set<Nollo::IntfId> const& intfs) {
  for (auto const& intf : adjEntry->adjToIntf()) {
    if (intfs.count(intf)) continue;
    if (auto child = l3Status_->intfToAdjEntry(intf)) {
      child->adjEntryDel(adjEntry);
      if (!child->adjEntrySize()) l3Status_->intfToAdjEntryDel(intf);
    }
  }
  for (auto const& intf : intfs) {
    if (adjEntry->adjToIntf().count(intf)) continue;
    auto child = l3Status_->intfToAdjEntry(intf);
    if (!child) child = l3Status_->newIntfToAdjEntry(intf);
    child->adjEntryIs(adjEntry, true);
  }
  adjEntry->adjToIntfIs(intfs);
}

// --- Users of adjacencies ---

void AdjSm::handleAdjReviewCompletion(Vix::Ptr<AdjEntry> const& adjEntry) {
  if (adjEntry->reviewPendingPrefixs() || adjEntry->reviewPendingPrefix6s()) {
    korAssert("!adjEntry->reviewPendingPrefixs() && !adjEntry->reviewPendingPrefix6s()");
    return;
  }
  KOR_TRACE(8, "handleAdjReviewCompletion adj " << Quill::Fib::FecId(adjEntry->adjIndex()));
  if (l2AdjHelper_ && adjEntry->l2Adj()) l2AdjHelper_->doHandleAdjReviewCompletion(adjEntry->l2Adj(), *adjEntry);
}

void AdjSm::schedulePrefixWalk(Vix::Ptr<AdjEntry> const& adjEntry) {
  // A group adjacency serves the routes of both versions.
  if (adjEntry->routeType() == RouteType::nexthopGroupRoute) {
    if (adjEntry->prefix6s()) vrfL3Status_->adjEntryIp6PrefixWalkListIs(adjEntry->fecId(), true);
    if (adjEntry->prefixs() || !adjEntry->prefix6s()) vrfL3Status_->adjEntryPrefixWalkListIs(adjEntry->fecId(), true);
    return;
  }
  if (adjEntry->ipVersion() == Nollo::Ip6Hdr::ipVersion6())
    vrfL3Status_->adjEntryIp6PrefixWalkListIs(adjEntry->fecId(), true);
  else vrfL3Status_->adjEntryPrefixWalkListIs(adjEntry->fecId(), true);
}

void AdjSm::addReviewPendingPrefix(Nollo::IpPrefix const& prefix, Vix::Ptr<AdjEntry> const& adjEntry) {
  KOR_TRACE(8, "addReviewPendingPrefix vrf: " << vrfName_ << ", adj: " << Quill::Fib::FecId(adjEntry->adjIndex()) << ", prefix: "
                                              << prefix.str());
  adjEntry->reviewPendingPrefixIs(prefix);
}

void AdjSm::addReviewPendingPrefix6(Nollo::Ip6Prefix const& prefix, Vix::Ptr<AdjEntry> const& adjEntry) {
  KOR_TRACE(8, "addReviewPendingPrefix6 vrf: " << vrfName_ << ", adj: " << Quill::Fib::FecId(adjEntry->adjIndex()) << ", prefix: "
                                               << prefix.str());
  adjEntry->reviewPendingPrefixIs(prefix);
}

void AdjSm::removeReviewPendingPrefix(Nollo::IpPrefix const& prefix, Vix::Ptr<AdjEntry> const& adjEntry) {
  KOR_TRACE(8, "removeReviewPendingPrefix vrf: " << vrfName_ << ", adj: " << Quill::Fib::FecId(adjEntry->adjIndex()) << ", prefix: "
                                                 << prefix.str());
  if (adjEntry->reviewPendingPrefixDel(prefix) && !adjEntry->reviewPendingPrefixs() &&
      !adjEntry->reviewPendingPrefix6s())
    handleAdjReviewCompletion(adjEntry);
}

void AdjSm::removeReviewPendingPrefix6(Nollo::Ip6Prefix const& prefix, Vix::Ptr<AdjEntry> const& adjEntry) {
  KOR_TRACE(8, "removeReviewPendingPrefix6 vrf: " << vrfName_ << ", adj: " << Quill::Fib::FecId(adjEntry->adjIndex()) << ", prefix: "
                                                  << prefix.str());
  if (adjEntry->reviewPendingPrefixDel(prefix) && !adjEntry->reviewPendingPrefixs() &&
      !adjEntry->reviewPendingPrefix6s())
    handleAdjReviewCompletion(adjEntry);
}

uint64_t AdjSm::getL2AdjIndex(FecId const& fecId, FecId const& oldFecId, uint8_t ipVersion, uint64_t syncNextHopId,
                              Vix::Ptr<AdjEntry>* fecEntry) {
  KOR_TRACE(8, "getL2AdjIndex vrf: " << vrfName_ << ", fecId: " << fecId << ", oldFecId: " << oldFecId
                                     << ", ipv: " << int(ipVersion) << ", syncNextHopId: " << syncNextHopId);
  if (!fecId.isValid() || fecId.value() == 0) return 0;
  bool v6 = ipVersion == Nollo::Ip6Hdr::ipVersion6();
  auto entry = adjEntry(fecId.value());
  if (fecEntry) *fecEntry = entry;
  // A refused FEC stays refused (and logged once) until it is reviewed
  // again for a change of its own.
  if (!entry && isAdjRefused(fecId.value())) return 0;
  if (!entry) {
    KOR_TRACE(8, "AdjEntry not found");
    if (v6) reviewAdj6(fecId, fecId.value(), AdjUpdateType::regularAdjUpdate);
    else reviewAdj(fecId, fecId.value(), AdjUpdateType::regularAdjUpdate);
    entry = adjEntry(fecId.value());
    if (fecEntry) *fecEntry = entry;
    // Every drop FEC of a version resolves to its one drop adjacency.
    if (!entry && dropAdjIndex(ipVersion)) {
      bool isDrop = v6 ? forwarding6Status_ && forwarding6Status_->fec(fecId) &&
                             forwarding6Status_->fec(fecId)->type() == FecType::drop
                       : forwardingStatus_ && forwardingStatus_->fec(fecId) &&
                             forwardingStatus_->fec(fecId)->type() == FecType::drop;
      if (isDrop) entry = adjEntry(dropAdjIndex(ipVersion));
    }
  }
  if (entry && entry->l2Adj()) {
    KOR_TRACE(8, "Found adj in shared memory!");
    uint64_t index = entry->l2Adj()->index();
    if (!index) korAssert("l2Adj->key().index()");
    return index;
  }
  KOR_TRACE(8, "L2 adjIndex not found");
  return 0;
}

void AdjSm::addPrefixToAdjEntry(uint64_t adjIndex, Nollo::IpPrefix const& prefix) {
  auto entry = adjEntry(adjIndex);
  if (!entry) {
    KOR_TRACE(8, "addPrefixToAdjEntry vrf: " << vrfName_ << ", adj: " << Quill::Fib::FecId(adjIndex) << ", prefix: " << prefix.str());
    korAssert("adjEntry");
    return;
  }
  addPrefixToAdjEntry(*entry, prefix);
}

void AdjSm::addPrefixToAdjEntry(uint64_t adjIndex, Nollo::Ip6Prefix const& prefix) {
  auto entry = adjEntry(adjIndex);
  if (!entry) {
    KOR_TRACE(8, "addPrefixToAdjEntry vrf: " << vrfName_ << ", adj: " << Quill::Fib::FecId(adjIndex) << ", prefix: " << prefix.str());
    korAssert("adjEntry");
    return;
  }
  addPrefixToAdjEntry(*entry, prefix);
}

void AdjSm::addPrefixToAdjEntry(AdjEntry& entry, Nollo::IpPrefix const& prefix) {
  KOR_TRACE(8, "addPrefixToAdjEntry vrf: " << vrfName_ << ", adj: " << entry.fecId()
                                           << ", prefix: " << prefix.str());
  entry.prefixIs(prefix);
  if (entry.routeType() == RouteType::nexthopGroupRoute && nexthopGroupRouteSm_)
    nexthopGroupRouteSm_->doCreateNexthopGroupSmForAdj(entry.adjIndex());
}

void AdjSm::addPrefixToAdjEntry(AdjEntry& entry, Nollo::Ip6Prefix const& prefix) {
  KOR_TRACE(8, "addPrefixToAdjEntry vrf: " << vrfName_ << ", adj: " << entry.fecId()
                                           << ", prefix: " << prefix.str());
  entry.prefixIs(prefix);
  if (entry.routeType() == RouteType::nexthopGroupRoute && nexthopGroupRouteSm_)
    nexthopGroupRouteSm_->doCreateNexthopGroupSmForAdj(entry.adjIndex());
}

namespace {

template <class AF>
bool fecGone(Vix::Ptr<Quill::Fib::ForwardingStatusT<AF> const> const& t, Quill::Fib::FecId f) {
  return !t || !t->fecHas(f);
}

}  // namespace

// The last user of an adjacency whose FEC is gone queues it: the next pass
// deletes it (deleteUnusedKorAdjs).
void AdjSm::deletePrefixFromAdjEntry(uint64_t adjIndex, Nollo::IpPrefix const& prefix) {
  KOR_TRACE(8, "deletePrefixFromAdjEntry vrf: " << vrfName_ << ", adj: " << Quill::Fib::FecId(adjIndex) << ", prefix: " << prefix.str());
  auto entry = adjEntry(adjIndex);
  if (!entry || !entry->prefixDel(prefix)) return;
  if (entry->unused() && fecGone(forwardingStatus_, entry->fecId())) {
    enqueue(kAdjLane, entry->fecId(), AdjForReviewInfo(entry->ipVersion(), AdjUpdateType::regularAdjUpdate));
    maybeScheduleAdjReview();
  }
}

void AdjSm::deletePrefixFromAdjEntry(uint64_t adjIndex, Nollo::Ip6Prefix const& prefix) {
  KOR_TRACE(8, "deletePrefixFromAdjEntry vrf: " << vrfName_ << ", adj: " << Quill::Fib::FecId(adjIndex) << ", prefix: " << prefix.str());
  auto entry = adjEntry(adjIndex);
  if (!entry || !entry->prefixDel(prefix)) return;
  if (entry->unused() && fecGone(forwarding6Status_, entry->fecId())) {
    enqueue(kAdjLane, entry->fecId(), AdjForReviewInfo(entry->ipVersion(), AdjUpdateType::regularAdjUpdate));
    maybeScheduleAdjReview();
  }
}

// The VRF's resilient-ECMP machine is asked first; when it answers false
// nothing more happens. Else the prefix leaves the old adjacency; adding it
// to the new one is the caller's business.
void AdjSm::updatePrefixAdjEntry(Nollo::IpPrefix const& prefix, uint64_t oldAdjIndex, uint64_t newAdjIndex) {
  KOR_TRACE(8, "updatePrefixAdjEntry vrf: " << vrfName_ << ", prefix: " << prefix.str() << ", old: " << Quill::Fib::FecId(oldAdjIndex)
                                            << ", new: " << Quill::Fib::FecId(newAdjIndex));
  if (resilientEcmpSm_ && !resilientEcmpSm_->handleUpdatePrefixAdjEntry(prefix, oldAdjIndex, newAdjIndex)) return;
  deletePrefixFromAdjEntry(oldAdjIndex, prefix);
}

void AdjSm::updatePrefixAdjEntry(Nollo::Ip6Prefix const& prefix, uint64_t oldAdjIndex, uint64_t newAdjIndex) {
  KOR_TRACE(8, "updatePrefixAdjEntry vrf: " << vrfName_ << ", prefix: " << prefix.str() << ", old: " << Quill::Fib::FecId(oldAdjIndex)
                                            << ", new: " << Quill::Fib::FecId(newAdjIndex));
  if (resilientEcmp6Sm_ && !resilientEcmp6Sm_->handleUpdatePrefixAdjEntry(prefix, oldAdjIndex, newAdjIndex)) return;
  deletePrefixFromAdjEntry(oldAdjIndex, prefix);
}

template <class AF>
Vix::Ptr<AdjEntry> AdjSm::doCreateAdjEntryForAttachedRoute(uint64_t adjIndex, Nollo::IntfId intf) {
  KOR_TRACE(5, "Attached adj " << Quill::Fib::FecId(adjIndex) << ", intf: " << intf.str());
  if (!adjIndex) {
    korAssert("adjIndex");
    return nullptr;
  }
  FecId fecId(adjIndex);
  auto entry = adjEntry(adjIndex);
  if (!entry) {
    KOR_TRACE(5, "Create adj entry: " << Quill::Fib::FecId(adjIndex));
    entry = Vix::makePtr<AdjEntry>(fecId);
    entry->vrfIdIs(vrfId_);
    vrfL3Status_->adjEntryListIs(fecId, entry);
  }
  entry->routeTypeIs(RouteType::attachedRoute);
  auto adjVia = Vix::makePtr<AdjViaT<AF>>();
  adjVia->viaAdd(ViaT<AF>(typename AF::Addr{}, intf));
  deleteNextHopMappings(entry);
  addAdjViaToAdjEntry<AF>(entry, adjVia);
  createOrUpdateL2Adj(entry, AdjUpdateType::regularAdjUpdate);
  vrfL3Status_->adjEntryReviewCntIs(fecId, vrfL3Status_->adjEntryReviewCnt(fecId) + 1);
  return entry;
}

template Vix::Ptr<AdjEntry> AdjSm::doCreateAdjEntryForAttachedRoute<Nollo::Ipv4>(uint64_t, Nollo::IntfId);
template Vix::Ptr<AdjEntry> AdjSm::doCreateAdjEntryForAttachedRoute<Nollo::Ipv6>(uint64_t, Nollo::IntfId);

// --- Inputs ---

void AdjSm::handleRoutingEnabled() {
  routingEnabled_ = vrfL3Status_->routingEnabled();
  KOR_TRACE(5, "handleRoutingEnabled vrf: " << vrfName_ << ", enabled: " << routingEnabled_);
  if (routingEnabled_) review_.wake();
  maybeScheduleAdjReview();
}

void AdjSm::routingDeferredIs(uint8_t ipVersion, bool deferred) {
  bool& flag = ipVersion == 6 ? routing6Deferred_ : routingDeferred_;
  if (flag == deferred) return;
  flag = deferred;
  KOR_TRACE(5, "Routing deferred vrf: " << vrfName_ << ", ipv: " << int(ipVersion) << ", deferred: " << deferred);
  if (deferred) review_.wake();
  maybeScheduleAdjReview();
}

void AdjSm::handleRouting6Enabled() {
  routing6Enabled_ = vrfL3Status_->routing6Enabled();
  KOR_TRACE(5, "handleRouting6Enabled vrf: " << vrfName_ << ", enabled: " << routing6Enabled_);
  if (routing6Enabled_) review_.wake();
  maybeScheduleAdjReview();
}

// Leaving resource full retries the waiting adjacencies at once, not after
// unprogrammedAdjReviewInterval.
void AdjSm::handleAdjResourceFull() {
  if (l3Status_->adjResourceFull()) return;
  KOR_TRACE(3, "Recovered from adj resource full condition");
  maybeScheduleAdjReview();
  if (routingSyncInitialized_) review_.retryNow();
}

void AdjSm::handleIntfVlanId(Nollo::IntfId const& intfId) {
  for (auto const& kv : vlanIdToL3IntfId_) {
    if (kv.second == intfId) {
      vlanIdToL3IntfId_.erase(kv.first);
      break;
    }
  }
  uint16_t vlan = intfVlanIdTable_ ? intfVlanIdTable_->vlanId(intfId) : 0;
  KOR_TRACE(8, "handleIntfVlanId intf: " << intfId.str() << ", vlan: " << vlan);
  if (vlan) vlanIdToL3IntfId_.insert_or_assign(vlan, intfId);
}

void AdjSm::handleVerify() {
  std::string faults;
  // Entries of a version whose routing is off are parked, not stuck: they
  // wait for routing to come on.
  size_t active = fecsUnread();
  for (size_t lane : {kLinkDownLane, kAdjLane, kTunnelLane})
    review_.lane(lane).forEach([&](FecId const& fecId, AdjForReviewInfo const& info) {
      if (reviewEnabledFor(fecId, info.ipVersion())) ++active;
    });
  if (active)
    faults += "vrf " + vrfName_.str() + ": " + "Adjacencies (" + std::to_string(active) + ") sitting in review queue" +
              " (link down " + std::to_string(review_.size(kLinkDownLane)) + ", adj " +
              std::to_string(review_.size(kAdjLane)) + ", tunnel " + std::to_string(review_.size(kTunnelLane)) +
              ", fecs unread " + std::to_string(fecsUnread()) + "); ";
  if (l2AdjHelper_) {
    for (auto const& [fecId, entry] : sortedAdjEntries())
      if (!entry->l2Adj() && !creationDeferredAdj_.count(fecId.value()))
        faults += "adj " + fecId.str() + " has no L2 adjacency; ";
  }
  if (faults.empty()) KOR_VERIFY_REPORT(KorTypes::verifySuccess, "vrf " + vrfName_.str() + " adjacencies consistent");
  else KOR_VERIFY_REPORT(KorTypes::verifyFail, faults);
}

// --- Dumps ---

std::map<Quill::Fib::FecId, Vix::Ptr<AdjEntry>> AdjSm::sortedAdjEntries() const {
  std::map<FecId, Vix::Ptr<AdjEntry>> sorted;
  for (auto const& kv : vrfL3Status_->adjEntryListMap()) sorted.emplace(kv.first, kv.second);
  return sorted;
}

void AdjSm::showFibFecs(std::ostream& os, bool ipv6, std::optional<FecId> fecId) const {
  if (ipv6) showFibFecT<Nollo::Ipv6>(os, fecId);
  else showFibFecT<Nollo::Ipv4>(os, fecId);
}

template <class AF>
void AdjSm::showFibFecT(std::ostream& os, std::optional<FecId> fecId) const {
  Vix::Ptr<Quill::Fib::ForwardingStatusT<AF> const> table;
  if constexpr (AF::version == 6) table = forwarding6Status_;
  else table = forwardingStatus_;
  os << "               FecId               FecType     L2Adj   Prefixes   Next hop                         Weight   Intf\n";
  if (!table) return;
  std::map<FecId, Vix::Ptr<Quill::Fib::FecT<AF> const>> fecs;
  if (fecId) {
    if (auto f = table->fec(*fecId)) fecs[*fecId] = f;
  } else {
    for (auto const& kv : table->fecMap()) fecs[kv.first] = kv.second;
  }
  for (auto const& [id, fec] : fecs) {
    auto entry = adjEntry(id.value());
    unsigned long long l2 = entry && entry->l2Adj() ? entry->l2Adj()->index() : 0;
    size_t prefixes = entry ? (AF::version == 6 ? entry->prefix6s() : entry->prefixs()) : 0;
    std::string head = formatted("%20s%22s%10llu%11zu", id.str().c_str(),
                                 Quill::Fib::str(fec->type()).c_str(), l2, prefixes);
    if (!fec->viaCount()) {
      os << head << "   -\n";
      continue;
    }
    for (size_t i = 0; i < fec->viaCount(); ++i) {
      auto const& v = fec->via(i);
      os << (i ? std::string(head.size(), ' ') : head)
         << formatted("   %-33s%6u   %s\n", v.nextHop().str().c_str(), v.weight(),
                      v.intf().isNone() ? "-" : v.intf().str().c_str());
    }
  }
}

void AdjSm::showAdjEntries(std::ostream& os, std::optional<uint64_t> adjIndex) const {
  if (adjIndex) {
    if (auto e = adjEntry(*adjIndex)) showKorAdj(os, *e);
    return;
  }
  for (auto const& kv : sortedAdjEntries()) showKorAdj(os, *kv.second);
}

void AdjSm::showKorAdj(std::ostream& os, AdjEntry const& adjEntry) const {
  os << formatted("FecId: %lld, type: %s, l2Adj: %lld, prefixes: %d\n", static_cast<long long>(adjEntry.adjIndex()),
                  toString(adjEntry.routeType()),
                  static_cast<long long>(adjEntry.l2Adj() ? adjEntry.l2Adj()->index() : 0),
                  static_cast<int>(adjEntry.prefixs() + adjEntry.prefix6s()));
  os << "  Via   Next hop                        Weight Vlan   Intf\n";
  if (adjEntry.adjVia6() && adjEntry.routeType() != RouteType::nexthopGroupRoute)
    showKorAdjVias<Nollo::Ipv6>(os, adjEntry);
  else showKorAdjVias<Nollo::Ipv4>(os, adjEntry);
}

// One line per distinct via, its repetitions as the weight.
template <class AF>
void AdjSm::showKorAdjVias(std::ostream& os, AdjEntry const& adjEntry) const {
  auto const& adjVia = adjEntry.adjViaOf<AF>();
  if (!adjVia) return;
  std::vector<ViaT<AF>> distinct;
  for (auto const& v : adjVia->viaList())
    if (std::find(distinct.begin(), distinct.end(), v) == distinct.end()) distinct.push_back(v);
  unsigned n = 0;
  for (auto const& v : distinct) {
    std::string vlan = v.vlanId().isNone() ? "-" : std::to_string(v.vlanId().value());
    os << formatted("%5u   %-32s%6u %-6s %s%s\n", n++, v.nextHop().str().c_str(), adjVia->weight(v), vlan.c_str(),
                    v.intfId().isNone() ? "-" : v.intfId().str().c_str(), v.isBackupVia() ? " backup" : "");
  }
}

// Each L2 adjacency used by this VRF's adjacencies, once, with the rewrite
// data the L2 adjacency helper resolved for it.
void AdjSm::showL2Adjacencies(std::ostream& os, std::optional<uint64_t> l2AdjIndex) const {
  std::map<uint64_t, Vix::Ptr<L2Adjacency>> l2Adjs;
  for (auto const& kv : vrfL3Status_->adjEntryListMap())
    if (auto const& l2 = kv.second->l2Adj()) l2Adjs[l2->index()] = l2;
  for (auto const& [index, l2] : l2Adjs) {
    if (l2AdjIndex && *l2AdjIndex != index) continue;
    os << formatted("L2Adj: %llu, state: %s, adjs: %zu\n", static_cast<unsigned long long>(index),
                    toString(l2->state()), l2->adjEntry().size())
       << "  " << l2->via() << "\n";
  }
}

// The resilient machines' adjacencies are built in AdjSmResilient.cc.
template void AdjSm::addAdjViaToAdjEntry<Nollo::Ipv4>(Vix::Ptr<AdjEntry> const&, Vix::Ptr<AdjVia> const&);
template void AdjSm::addAdjViaToAdjEntry<Nollo::Ipv6>(Vix::Ptr<AdjEntry> const&, Vix::Ptr<AdjVia6> const&);

}  // namespace Kor
