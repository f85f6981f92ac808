#include "kor/l3/RouteSmT.h"

#include "kor/adj/ResilientEcmpSmT.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>

#include "kor/common/KorAssert.h"
#include "kor/l3/RouteChipCheckT.h"
#include "kor/l3/RouteShowT.h"
#include "kor/l3/VrfRoot.h"
#include "nollo/Ip6Hdr.h"

namespace Kor {

namespace {

// An integer environment variable (base 10); nullopt when unset or not a
// number.
std::optional<int64_t> envInt(char const* name) {
  char const* env = std::getenv(name);
  if (!env) return std::nullopt;
  int64_t n = 0;
  auto [end, ec] = std::from_chars(env, env + std::strlen(env), n, 10);
  if (ec != std::errc() || end == env) return std::nullopt;
  return n;
}

}  // namespace

// --- Reactors ---

template <class AF>
class RouteSmT<AF>::VixVrfL3Status : public Vix::NestedReactor<RouteSmT<AF>, typename VrfL3Status::Notifiee> {
 public:
  void handleRoutingEnabled() override {
    if constexpr (isV4) this->sm_->handleRoutingEnabled(this->sm_->in_.vrfL3Status->routingEnabled());
  }
  void handleRouting6Enabled() override {
    if constexpr (!isV4) this->sm_->handleRoutingEnabled(this->sm_->in_.vrfL3Status->routing6Enabled());
  }
  void handleAdjEntryPrefixWalkList(Quill::Fib::FecId const& f) override {
    if constexpr (isV4) this->sm_->handlePrefixWalk(f);
  }
  void handleAdjEntryIp6PrefixWalkList(Quill::Fib::FecId const& f) override {
    if constexpr (!isV4) this->sm_->handlePrefixWalk(f);
  }
  // A review of the FEC's adjacency completed (it may have been created or
  // found a new L2 adjacency): the routes that waited for it go again.
  void handleAdjEntryReviewCnt(Quill::Fib::FecId const& f) override { this->sm_->handleFec(f); }
  void handleWaitForRoutingDisabled() override {
    if constexpr (isV4) this->sm_->handleWaitForRoutingDisabled();
  }
  void handleWaitForRouting6Disabled() override {
    if constexpr (!isV4) this->sm_->handleWaitForRoutingDisabled();
  }
  void handleSkipRouteReview() override {
    if constexpr (isV4) this->sm_->handleSkipRouteReview();
  }
  void handleSkipRoute6Review() override {
    if constexpr (!isV4) this->sm_->handleSkipRouteReview();
  }
};

template <class AF>
class RouteSmT<AF>::VixL3Status : public Vix::NestedReactor<RouteSmT<AF>, typename L3Status::Notifiee> {
 public:
  void handleRoutingResourceFull() override {
    if constexpr (isV4) this->sm_->handleRoutingResourceFull();
  }
  void handleIp6RoutingResourceFull() override {
    if constexpr (!isV4) this->sm_->handleRoutingResourceFull();
  }
  void handleSuspendRouteUpdates() override {
    if constexpr (isV4) this->sm_->maybeScheduleRouteReview();
  }
  void handleSuspendIp6RouteUpdates() override {
    if constexpr (!isV4) this->sm_->maybeScheduleRouteReview();
  }
  void handleUnicastReviewPending() override {
    if constexpr (isV4) this->sm_->maybeScheduleRouteReview();
  }
  void handleUnicast6ReviewPending() override {
    if constexpr (!isV4) this->sm_->maybeScheduleRouteReview();
  }
  void handleIp6OverflowRoute(Nollo::Ip6Prefix const& p) override {
    if constexpr (!isV4) this->sm_->handleOverflowRoute(p);
  }
  void handleAdjResourceFull() override {
    if constexpr (!isV4) this->sm_->handleAdjResourceFull();
  }
  void handleUrpfEnabled() override { this->sm_->doRecordProgramming(); }
};

template <class AF>
class RouteSmT<AF>::VixForwardingStatus : public Vix::NestedReactor<RouteSmT<AF>, typename ForwardingStatus::Notifiee> {
 public:
  void handleFec(Quill::Fib::FecId const& f) override { this->sm_->handleFec(f); }
};

template <class AF>
class RouteSmT<AF>::VixL3Config : public Vix::NestedReactor<RouteSmT<AF>, typename Routing::L3Config::Notifiee> {
 public:
  void handleAggregateRoute6(Nollo::Ip6Prefix const& p) override {
    if constexpr (!isV4) this->sm_->handleAggregateRoute(p);
  }
  void handleDeferredRouting() override { this->sm_->handleDeferredRouting(this->notifier()->deferredRouting()); }
};

template <class AF>
class RouteSmT<AF>::VixHwStatus : public Vix::NestedReactor<RouteSmT<AF>, typename Routing::Hardware::Status::Notifiee> {
 public:
  void handlePrefixLenInExactMatch(Routing::RoutesInExactMatch const&) override {
    this->sm_->doRecordProgramming();
    this->sm_->handleRoutesInExactMatch();
  }
};

template <class AF>
class RouteSmT<AF>::VixHwConfig : public Vix::NestedReactor<RouteSmT<AF>, typename Routing::Hardware::Config::Notifiee> {
 public:
  void handleMaxNumRoutes() override { this->sm_->handleMaxNumRoutes(this->notifier()->maxNumRoutes()); }
  void handleParentDropRoute() override { this->sm_->handleParentDropRoute(this->notifier()->parentDropRoute()); }
  void handleDeletionDelay() override { this->sm_->handleDeletionDelay(this->notifier()->deletionDelay()); }
  void handleIcmpUnreachable() override { this->sm_->handleIcmpUnreachable(this->notifier()->icmpUnreachable()); }
  void handleGreKeyForwarding() override { this->sm_->handleGreKeyForwarding(); }
};

// --- Construction ---

template <class AF>
RouteSmT<AF>::RouteSmT(Vix::Ptr<KorCommonSmData> const& acsd, VrfRoot* vrfRoot, VrfId vrfId, Inputs inputs)
    : KorBaseSm(acsd, isV4 ? "KorRoutingSm" : "KorIp6RoutingSm"), vrfRoot_(vrfRoot), vrfId_(vrfId),
      in_(std::move(inputs)), review_(acsd->activityLoop().ptr(), [this] { runReview(); }),
      unprogrammedRoute_(acsd->activityLoop().ptr(), [this] { reviewUnprogrammedRoutes(); }),
      deletions_(acsd->activityLoop().ptr(), [this] { runDeletions(); }),
      refusedDeletions_(acsd->activityLoop().ptr(), [this] { runRefusedDeletions(); }),
      pendingClock_(acsd->activityLoop().ptr(), [this] { doReviewPending(); }) {
  // The default route has a lane of its own, walked first (enqueueForReview
  // puts nothing else there).
  review_.laneAdd([this](Prefix const& p, bool&) {
    if (!p.isDefault()) korAssert("isDefaultRoute( prefix )");
    KOR_TRACE(8, "Default prefix found, first processing default route");
    return doReviewRoute(p);
  });
  review_.laneAdd([this](Prefix const& p, bool&) { return doReviewRoute(p); });
  review_.laneAdd(
      [this](Prefix const& p, bool&) {
        if (!nexthopGroupRouteReviewStart_) KOR_TRACE(8, "All non-nexthop group routes have been reviewed");
        nexthopGroupRouteReviewStart_ = true;
        return doReviewRoute(p);
      },
      Vix::LaneKind::last);
  review_.aheadIs([this](Prefix const& p) { prefetchRoute(p); });
  unprogrammedRoute_.laneAdd([this](Prefix const& p, bool&) { return doRetryUnprogrammed(p); }, Vix::LaneKind::retry);
  unprogrammedRoute_.retryPeriodIs(10);
  unprogrammedRoute_.retryIntervalIs(0.1);
  deletions_.laneAdd([this](Prefix const& p, Vix::Seconds& due) { return doDeleteWhenDue(p, due); });
  refusedDeletions_.laneAdd([this](Prefix const& p, bool&) { return doRetryDeletion(p); }, Vix::LaneKind::retry);
  refusedDeletions_.retryPeriodIs(10);
  refusedDeletions_.retryIntervalIs(0.1);
  if (!in_.l3Status) korAssert("l3Status()");
  if (!in_.vrfL3Status) korAssert("vrfL3Status()");
  if (!in_.adjSm) korAssert("adjSm()");
  vixReactors_.template watch<VixVrfL3Status>(in_.vrfL3Status);
  vixReactors_.template watch<VixL3Status>(in_.l3Status);
  vixReactors_.template watch<VixForwardingStatus>(in_.forwardingStatus);
  vixReactors_.template watch<VixL3Config>(in_.l3Config);
  vixReactors_.template watch<VixHwStatus>(in_.routingHwStatus);
}

// The VRF goes, or the agent restarts: its routes leave the hand-over list
// (and so the chip, unless a restart detached the chip's resolver first).
// The counters this machine added to stay with the VrfL3Status and
// L3Status, which outlive a restart: they lose what this machine counted,
// so that the next run starts from its own unprogrammed and parent-drop
// routes only. The adjacency machine may already be gone; its records are
// not touched.
template <class AF>
RouteSmT<AF>::~RouteSmT() {
  reader_.reset();
  auto& l3 = *in_.l3Status;
  for (auto const& kv : fibRoute_) {
    if (!kv.second.adjInfo()) continue;
    if constexpr (isV4) l3.adjInfoListDel(Key{vrfId_, kv.first});
    else l3.adjInfo6ListDel(Key{vrfId_, kv.first});
  }
  if (!fibRoute_.empty()) {
    if constexpr (isV4) l3.ipv4FibRoutesDec(fibRoute_.size());
    else l3.ipv6FibRoutesDec(fibRoute_.size());
  }
  counts_.doForget(unprogrammedRoute_.size());
}

template <class AF>
void RouteSmT<AF>::handleInitialized() {
  KOR_TRACE_FUNC();
  if (reader_ || !in_.routeStatus) return;
  routingEnabled_ = isV4 ? in_.vrfL3Status->routingEnabled() : in_.vrfL3Status->routing6Enabled();
  deferralOver_ = routingEnabled_;
  deferredRoutingEnabled_ = in_.l3Config && in_.l3Config->deferredRouting();
  doTellDeferral();
  if (!envVarInitialized_) handleRoutingEnabled(routingEnabled_);
  syncRoutingStateOnInit();
  if constexpr (!isV4) {
    if (in_.l3Config)
      for (auto const& kv : in_.l3Config->aggregateRoute6Map()) aggregateTrie_.add(kv.first);
    if (in_.routingHwStatus)
      for (auto const& kv : in_.routingHwStatus->prefixLenInExactMatchMap()) lastExactMatch_[kv.first] = true;
  }
  auto* loop = acsd()->activityLoop().ptr();
  reader_ = std::make_unique<Quill::SlicedReader<RouteStatus>>(
      in_.routeStatus, loop, [this](Prefix const& p) { handleRoute(p); }, quillYieldTime_);
  reader_->drainedHandlerIs([this] { maybeEndOfSync(); });
  reader_->aheadHandlerIs([this](Prefix const& p) { prefetchRoute(p); });
  // An empty table never makes the reader pass: its sync ends on the next
  // turn of the loop.
  pendingClock_.timeMinEarlierIs(loop->now());
}

// A full table arrives in bursts of many keys, and a review pass may walk as
// many: the FIB entry, the record, the hand-over entry and the chip entry of
// the keys coming next are loaded while the current one is handled.
template <class AF>
void RouteSmT<AF>::prefetchRoute(Prefix const& p) const {
  if (in_.routeStatus) in_.routeStatus->routeMap().prefetch(p);
  fibRoute_.prefetch(p);
  if constexpr (isV4) in_.l3Status->adjInfoListMap().prefetch(Key{vrfId_, p});
  else in_.l3Status->adjInfo6ListMap().prefetch(Key{vrfId_, p});
  if (in_.helper) in_.helper->prefetchHardwareRoute(vrfId_, p);
}

template <class AF>
void RouteSmT<AF>::quillYieldTimeIs(Vix::Seconds s) {
  quillYieldTime_ = s;
  KOR_TRACE(5, " Yield time " << s);
  if (reader_) reader_->yieldTimeIs(s);
}

template <class AF>
void RouteSmT<AF>::routeReviewQuantaIs(Vix::Seconds s) {
  review_.quantumIs(s);
  unprogrammedRoute_.quantumIs(s);
  deletions_.quantumIs(s);
}

template <class AF>
void RouteSmT<AF>::handleDeletionDelay(Vix::Seconds s) {
  KOR_TRACE(5, "handleDeletionDelay " << s);
  deletionDelay_ = s;
}

// Read once when handed over, then on each change.
template <class AF>
void RouteSmT<AF>::hwConfigIs(Vix::Ptr<Routing::Hardware::Config const> const& config) {
  if (hwConfig_ || !config) return;
  hwConfig_ = config;
  vixReactors_.template watch<VixHwConfig>(config);
  handleMaxNumRoutes(config->maxNumRoutes());
  handleParentDropRoute(config->parentDropRoute());
  handleDeletionDelay(config->deletionDelay());
  handleIcmpUnreachable(config->icmpUnreachable());
  handleGreKeyForwarding();
}

template <class AF>
void RouteSmT<AF>::handleMaxNumRoutes(uint64_t n) {
  if (n == maxRoutes_) return;
  KOR_TRACE(5, "handleMaxNumRoutes " << n);
  maxRoutes_ = n;
  if (!unprogrammedRoute_.empty()) scheduleUnprogrammedReview(true);
}

template <class AF>
void RouteSmT<AF>::handleIcmpUnreachable(bool enabled) {
  if (enabled == icmpUnreachable_) return;
  KOR_TRACE(5, "handleIcmpUnreachable " << enabled);
  icmpUnreachable_ = enabled;
  if (in_.helper) in_.helper->icmpUnreachableIs(vrfId_, enabled);
}

template <class AF>
void RouteSmT<AF>::handleGreKeyForwarding() {
  bool enabled = hwConfig_ && hwConfig_->greKeyForwarding();
  if (enabled == greKeyForwarding_) return;
  KOR_TRACE(5, "handleGreKeyForwarding " << enabled);
  greKeyForwarding_ = enabled;
  if (in_.helper) in_.helper->greKeyForwardingIs(vrfId_, enabled);
}

template <class AF>
bool RouteSmT<AF>::endOfSyncDone() const {
  if constexpr (isV4) return in_.vrfL3Status->endOfV4SyncDone();
  else return in_.vrfL3Status->endOfV6SyncDone();
}

template <class AF>
typename RouteSmT<AF>::FibRoute const* RouteSmT<AF>::fibRoute(Prefix const& p) const {
  auto it = fibRoute_.find(p);
  return it == fibRoute_.end() ? nullptr : &it->second;
}

template <class AF>
typename RouteSmT<AF>::Route const* RouteSmT<AF>::fibEntry(Prefix const& prefix) const {
  auto const& m = in_.routeStatus->routeMap();
  auto it = m.find(prefix);
  if (it == m.end() || !it->second.fecId().isValid()) return nullptr;
  return &it->second;
}

template <class AF>
bool RouteSmT<AF>::isNhgRoute(Prefix const& prefix) const {
  if (Route const* r = fibEntry(prefix)) return r->fecId().adjType() == Quill::Fib::AdjType::nextHopGroupAdj;
  auto it = fibRoute_.find(prefix);
  return it != fibRoute_.end() && it->second.adjInfo() &&
         it->second.adjInfo()->routeType() == RouteType::nexthopGroupRoute;
}

template <class AF>
bool RouteSmT<AF>::resourceFull() const {
  return isV4 ? in_.l3Status->routingResourceFull() : in_.l3Status->ip6RoutingResourceFull();
}

// --- The notification path ---

template <class AF>
void RouteSmT<AF>::handleRoute(Prefix const& prefix) {
  Route const* route = fibEntry(prefix);
  KOR_TRACE(8, "handleRoute, vrf: " << vrfId_ << ", prefix: " << prefix << ", fib: " << (route != nullptr)
                                    << ", sequence: " << (route ? route->seqNo() : 0));
  if (!setupRoute(prefix, route)) {
    KOR_TRACE(8, "Skipping route update");
    return;
  }
  bool suspended = isV4 ? in_.l3Status->suspendRouteUpdates() : in_.l3Status->suspendIp6RouteUpdates();
  if (suspended || !initialized() || reviewHeld()) {
    if (!initialized()) KOR_TRACE(5, "Received unexpected notification");
    else if (suspended) KOR_TRACE(8, "Adding prefix to review since route updates suspended");
    else KOR_TRACE(8, "Adding prefix to review since route review skipped");
    enqueueForReview(prefix);
    maybeScheduleRouteReview();
    return;
  }
  review_.erase(prefix);
  ++updatesSeen_;
  processRouteUpdate(prefix, false, routingActive() ? route : nullptr);
}

template <class AF>
bool RouteSmT<AF>::setupRoute(Prefix const& prefix, Route const* route) {
  // A route present while routing is on always goes on; whether its record
  // exists matters only to the traces.
  if (route && routingActive() && !tf().enabled(8)) return true;
  auto it = fibRoute_.find(prefix);
  bool known = it != fibRoute_.end();
  if (!routingActive() && !known) {
    KOR_TRACE(8, "Deferred routing not enabled - Returning");
    return false;
  }
  if (route) {
    KOR_TRACE(8, (known ? "Fib already exists" : "Fib does not exist"));
  } else if (!known) {
    KOR_TRACE(8, "Fib not found, nothing to do");
    return false;
  } else {
    KOR_TRACE(8, "Fib route deleted");
  }
  if (known && unprogrammedRoute_.contains(prefix)) KOR_TRACE(8, "Unprogrammed route. Marking route state clean");
  return true;
}

template <class AF>
bool RouteSmT<AF>::processRouteUpdate(Prefix const& prefix, bool force) {
  return processRouteUpdate(prefix, force, routingActive() ? fibEntry(prefix) : nullptr);
}

template <class AF>
bool RouteSmT<AF>::processRouteUpdate(Prefix const& prefix, bool force, Route const* route) {
  if (route) {
    // One probe finds the record or makes it.
    // A route is only read with routing off while it is deferred.
    if (!routingEnabled_ && !deferredRoutingEnabled_) korAssert("deferredRoutingEnabled()");
    auto [it, fresh] = fibRoute_.try_emplace(prefix);
    KOR_TRACE(8, "processRouteUpdate " << prefix << ", routePresent: 1, pgmRoute: " << !fresh
                                       << ", deferred: " << !routingEnabled_);
    if (route->seqNo() > lastProcessedSeq_) lastProcessedSeq_ = route->seqNo();
    // Re-added before its deletion time: the chip never saw it go.
    if (!deletions_.empty() && deletions_.erase(0, prefix))
      KOR_TRACE(5, "Route " << prefix << " re-added before its deletion time");
    // Handed over again below: the chip's entry is rewritten, not removed.
    if (!refusedDeletions_.empty()) refusedDeletions_.erase(0, prefix);
    if (fresh) {
      KOR_TRACE(8, "Create state machine for " << prefix);
      trie_.add(prefix);
      if constexpr (isV4) in_.l3Status->ipv4FibRoutesInc();
      else in_.l3Status->ipv6FibRoutesInc();
    }
    // Over the limit a route not handed over yet stays unprogrammed (a
    // retry too); a deletion or a higher limit lets it in.
    if (maxRoutes_ && fibRoute_.size() > maxRoutes_ && !it->second.adjInfo()) {
      bool logged = isV4 ? in_.l3Status->resource4FullLog() : in_.l3Status->resource6FullLog();
      if (!logged) {
        KOR_TRACE(1, "Max num routes limit reached " << maxRoutes_);
        if constexpr (isV4) in_.l3Status->resource4FullLogIs(true);
        else in_.l3Status->resource6FullLogIs(true);
      }
      addUnprogrammed(prefix);
      return true;
    }
    if (!fresh && it->second.state() == RouteReviewState::cleanRoute && !force) {
      KOR_TRACE(8, "Updating route " << prefix);
    }
    updateAdjInfo(prefix, it->second, route, force);
    return true;
  }
  auto it = fibRoute_.find(prefix);
  KOR_TRACE(8, "processRouteUpdate " << prefix << ", routePresent: 0, pgmRoute: " << (it != fibRoute_.end())
                                     << ", deferred: " << routingDeferred());
  if (it == fibRoute_.end()) {
    KOR_TRACE(8, "Route " << prefix << " already deleted");
    return true;
  }
  // A deletion waits for its deletion time while routing is on: the routing
  // agent replaces a route by a delete and an add.
  if (deletionDelay_ > 0 && routingActive()) {
    Vix::Seconds now = acsd()->activityLoop()->now();
    Vix::Seconds const* due = deletions_.find(0, prefix);
    if (!due) {
      deletions_.enqueue(0, prefix, now + deletionDelay_);
      deletions_.scheduleAt(now + deletionDelay_);
      return false;
    }
    if (now < *due) {
      if (prefix.isDefault()) KOR_TRACE(8, "Skip default route deletion, time not reached yet");
      else KOR_TRACE(8, "Skip route " << prefix << ", deletion time not reached yet");
      return false;
    }
    deletions_.erase(0, prefix);
  }
  KOR_TRACE(8, "Deleting route " << prefix << ", routing: " << routingEnabled_);
  deleteFibRoute(prefix);
  return true;
}

template <class AF>
void RouteSmT<AF>::deleteFibRoute(Prefix const& prefix) {
  auto it = fibRoute_.find(prefix);
  if (it == fibRoute_.end()) return;
  if (it->second.parentDrop()) {
    // A parent turned into a drop route for an unprogrammed child left
    // the FIB: it goes like any route, and stops counting as a drop.
    KOR_TRACE(8, "No fibRoute for parent drop route, delete it");
    it->second.parentDropIs(false);
    counts_.parentDropCountIs(-1);
  }
  updateAdjInfo(prefix, it->second, nullptr, false);
  removeUnprogrammed(prefix);
  restartSync_.release(prefix);
  deferredAdjCreation_.erase(prefix);
  if (!deletions_.empty()) deletions_.erase(0, prefix);
  fibRoute_.erase(prefix);
  trie_.del(prefix);
  if constexpr (isV4) in_.l3Status->ipv4FibRoutesDec();
  else in_.l3Status->ipv6FibRoutesDec();
  if (maxRoutes_ && !unprogrammedRoute_.empty()) scheduleUnprogrammedReview(true);
}

template <class AF>
void RouteSmT<AF>::updateAdjInfo(Prefix const& prefix, FibRoute& fib, Route const* route, bool force) {
  if (fib.parentDrop() && route) {
    KOR_TRACE(8, "Parent drop route. Skip update");
    return;
  }
  // A FIB entry is only read while routing is on or deferred
  // (processRouteUpdate).
  if (route && !routingActive()) korAssert("routeSm()->routingEnabled()");
  AdjInfo const* old = fib.adjInfo();
  KOR_TRACE(8, "updateAdjInfo, prefix: " << prefix << " Old fib adjIndex: " << (old ? FecId(old->fibAdjIndex()) : FecId())
                                         << ", l2 adjIndex: " << (old ? old->l2AdjIndex() : 0)
                                         << ", route type: " << (old ? old->routeType() : RouteType::invalidRoute));
  if (old && old->routeType() == RouteType::invalidRoute) KOR_TRACE(8, "Invalid old adjInfo");
  KOR_TRACE(8, "Route present: " << (route != nullptr) << ", default: " << prefix.isDefault());
  Vix::Ptr<AdjInfo> next;
  Vix::Ptr<AdjEntry> fecEntry;
  bool unprogram = false;
  bool resilientSeen = false;
  if (!route) KOR_TRACE(8, "No route in the fib");
  if (route) {
    FecId fecId = route->fecId();
    if (fecId.value() == 0 && prefix.isDefault()) KOR_TRACE(8, "FecId 0, default route");
    auto const* fecs = in_.forwardingStatus ? &in_.forwardingStatus->fecMap() : nullptr;
    auto fit = fecs && fecId.value() ? fecs->find(fecId) : decltype(fecs->find(fecId)){};
    if (fecs && fecId.value() && fit == fecs->end() && old && old->fibAdjIndex() != fecId.value() &&
        endOfSyncDone() && fecs->find(FecId(old->fibAdjIndex())) != fecs->end()) {
      // Moved to a FEC not published yet while its old FEC still is: the
      // chip keeps forwarding on the old one (make before break), and the
      // new FEC's arrival (handleFec) hands the route over again.
      KOR_TRACE(8, "No fib adj. Ignoring the update");
      waitingForFec_[fecId].push_back(prefix);
      fib.stateIs(RouteReviewState::cleanRoute);
      return;
    }
    if (!fecs || fecId.value() == 0 || fit == fecs->end()) {
      // Not in the chip until its FEC is published: unprogrammed, and woken
      // by the FEC's arrival (handleFec).
      if (endOfSyncDone()) KOR_TRACE(8, "No fib adj, but route in prefix walk. Unprogram the route");
      else KOR_TRACE(8, "No fib adj, but route in sync mode. Unprogram the route");
      if (fecId.value()) waitingForFec_[fecId].push_back(prefix);
      unprogram = true;
    } else if (!isV4 && isContainedByAggrRoute(prefix)) {
      KOR_TRACE(8, "Covered by an aggregate route, not handed over on its own");
    } else {
      auto const& fec = *fit->second;
      RouteType type = routeTypeOfFec(fec.type(), fec.viaCount());
      uint64_t l2 = 0;
      auto& adjSm = *in_.adjSm;
      if (type == RouteType::attachedRoute && fec.viaCount()) {
        auto entry = adjSm.adjEntry(fecId.value());
        fecEntry = entry;
        if (!entry || entry->routeType() != RouteType::attachedRoute)
          entry = adjSm.template doCreateAdjEntryForAttachedRoute<AF>(fecId.value(), fec.via(0).intf());
        l2 = entry && entry->l2Adj() ? entry->l2Adj()->index() : 0;
        if (entry) fecEntry = entry;
      } else {
        uint64_t sync = restartSync_.claimedNextHop(prefix);
        l2 = adjSm.getL2AdjIndex(fecId, old ? FecId(old->fibAdjIndex()) : FecId(), uint8_t(AF::version), sync,
                                 &fecEntry);
      }
      // A resilient prefix is handed over with its own adjacency's L2
      // adjacency, built from the FEC's.
      if (auto* rsm = adjSm.template resilientEcmpSmOf<AF>();
          rsm && (rsm->isResilient(prefix) || rsm->hasResilientEntry(prefix))) {
        l2 = rsm->handleResilientEcmpRoute(prefix, fecId, l2);
        resilientSeen = true;
      }
      if (!l2 && adjSm.isAdjRefused(fecId.value())) {
        // The adjacency machine refused the FEC (over an ECMP limit, logged
        // there): handed over, the route would point at no adjacency and
        // drop its traffic unseen. It waits unprogrammed, and the FEC's
        // next change wakes it.
        KOR_TRACE(5, "Adj of fec " << fecId << " refused. Unprogram the route " << prefix);
        waitingForFec_[fecId].push_back(prefix);
        unprogram = true;
      } else {
        next = adjInfoPool_.intern(type, fecId.value(), l2, fec.viaCount() > 0);
        KOR_TRACE(8, "Fib adjIndex: " << fecId << ", L2 adjIndex: " << l2);
      }
    }
  }
  // A route gone, without FEC or not spreadable leaves its resilient table.
  if (auto* rsm = in_.adjSm->template resilientEcmpSmOf<AF>()) {
    if (!resilientSeen && rsm->hasResilientEntry(prefix)) rsm->handleResilientEcmpRoute(prefix, FecId(), 0);
    if (!rsm->isResilient(prefix) && rsm->hasResilientEntry(prefix))
      korAssert("!routeSm()->hasResilientEntry( prefix() )");
  }
  if (next.ptr() == old && !force && !unprogram && fib.state() == RouteReviewState::cleanRoute) {
    KOR_TRACE(8, "Route " << prefix << " up to date");
    return;
  }
  if (!old && !next && !unprogram && !force) {
    KOR_TRACE(8, "No old adj and no new adj, returning");
    fib.stateIs(RouteReviewState::cleanRoute);
    return;
  }
  uint64_t oldFec = old ? old->fibAdjIndex() : 0;
  uint64_t newFec = next ? next->fibAdjIndex() : 0;
  auto& adjSm = *in_.adjSm;
  if (oldFec != newFec && oldFec) {
    if (!next) KOR_TRACE(8, "Deleting prefix " << prefix << " from adjInfoList");
    if (fib.attached()) detachFromFec(prefix, fib, oldFec);
  }
  // A route with a new FEC resolved it above, which found the FEC's
  // adjacency (fecEntry).
  if (newFec && !fib.attached() && fecEntry) attachToFec(prefix, fib, newFec, *fecEntry);
  if (newFec && adjSm.isAdjCreationDeferred(newFec)) {
    KOR_TRACE(5, "L2 adj creation for " << prefix << " is deferred");
    deferredAdjCreation_[prefix] = newFec;
  } else if (!deferredAdjCreation_.empty()) {
    deferredAdjCreation_.erase(prefix);
  }
  doUpdateRoute(prefix, fib, next, force);
  if (unprogram) {
    if (!unprogrammedRoute_.contains(prefix)) KOR_TRACE(8, "Prefix not in unprogrammed routes yet");
    addUnprogrammed(prefix);
  }
}

template <class AF>
void RouteSmT<AF>::doUpdateRoute(Prefix const& prefix, FibRoute& fib, Vix::Ptr<AdjInfo> const& newEntry, bool retry) {
  if (newEntry && prefix.isHost() && !newEntry->vias() && newEntry->routeType() == RouteType::forwardRoute)
    korAssert("newEntry->vias()");
  Key key{vrfId_, prefix};
  auto& l3 = *in_.l3Status;
  Vix::Ptr<AdjInfo> old = fib.adjInfoPtr();
  fib.adjInfoIs(newEntry);
  fib.stateIs(RouteReviewState::cleanRoute);
  KOR_TRACE(8, "doUpdateRoute " << prefix << ", l2 adjIndex: " << (newEntry ? newEntry->l2AdjIndex() : 0)
                                << ", vias: " << (newEntry && newEntry->vias()) << ", fib adjIndex: "
                                << (newEntry ? FecId(newEntry->fibAdjIndex()) : FecId())
                                << " Old type: " << (old ? old->routeType() : RouteType::invalidRoute)
                                << " New type: " << (newEntry ? newEntry->routeType() : RouteType::invalidRoute));
  if (newEntry) {
    KOR_TRACE(8, "Updating prefix " << prefix << " in adjInfoList");
    if constexpr (isV4) {
      if (old == newEntry) l3.adjInfoListNotify(key);
      else l3.adjInfoListIs(key, newEntry);
    } else {
      if (old == newEntry) l3.adjInfo6ListNotify(key);
      else l3.adjInfo6ListIs(key, newEntry);
    }
  } else if (old) {
    if constexpr (isV4) l3.adjInfoListDel(key);
    else l3.adjInfo6ListDel(key);
  } else {
    return;
  }
  // A route claimed back at start, handed over as the chip holds it, is no
  // change for the consumers of the hand-over list: a restart that changes
  // nothing wakes none of them.
  bool claimedAsHeld = false;
  if (newEntry && !old && restartSync_.claimed(prefix))
    claimedAsHeld = restartSync_.claimedNextHop(prefix) == newEntry->l2AdjIndex();
  if (!reviewPendingBump_) {
    reviewPendingBump_ = !claimedAsHeld;
    pendingClock_.timeMinEarlierIs(acsd()->activityLoop()->now());
  }
  KOR_TRACE(8, "Notifying platform helper, sequence " << lastProcessedSeq_);
  auto answer = in_.helper ? in_.helper->handleRouteUpdate(vrfId_, prefix, lastProcessedSeq_)
                           : KorHelper::RouteUpdateAnswer::programmed;
  if (!newEntry) {
    if (unprogrammedRoute_.contains(prefix)) {
      KOR_TRACE(8, "Deleted uninstalled route");
      removeUnprogrammed(prefix);
    } else if (answer != KorHelper::RouteUpdateAnswer::programmed) {
      // The chip still holds the route: its removal is announced again.
      KOR_TRACE(5, "Deleting the route since platformRouteUpdateFail is set " << prefix << ", answer " << answer);
      refusedDeletions_.enqueue(0, prefix);
      refusedDeletions_.scheduleRetry();
    }
    return;
  }
  if (answer == KorHelper::RouteUpdateAnswer::programmed) {
    if (unprogrammedRoute_.contains(prefix)) {
      KOR_TRACE(8, "Removed route from unprogrammed list");
      removeUnprogrammed(prefix);
    }
    return;
  }
  if (answer == KorHelper::RouteUpdateAnswer::resourceFull) {
    if (!old && !retry) KOR_TRACE(5, "New route, but resource full");
  } else {
    KOR_TRACE(5, "Hw update failure, adding unprogrammed route. " << prefix);
  }
  refusedSincePass_ = true;
  if (unprogrammedRoute_.contains(prefix)) KOR_TRACE(8, "Member of unprogrammed route list, state: " << answer);
  addUnprogrammed(prefix);
  if (answer == KorHelper::RouteUpdateAnswer::resourceFull && parentDropRoute_) programParentDropRoute(prefix);
}

template <class AF>
void RouteSmT<AF>::attachToFec(Prefix const& prefix, FibRoute& fib, uint64_t fec, AdjEntry& entry) {
  in_.adjSm->addPrefixToAdjEntry(entry, prefix);
  fecPrefixes_[fec].attach(prefix);
  fib.attachedIs(true);
}

template <class AF>
void RouteSmT<AF>::detachFromFec(Prefix const& prefix, FibRoute& fib, uint64_t fec) {
  fib.attachedIs(false);
  in_.adjSm->deletePrefixFromAdjEntry(fec, prefix);
  auto it = fecPrefixes_.find(fec);
  if (it == fecPrefixes_.end()) return;
  if (!it->second.detach()) return;
  if (!it->second.live()) {
    fecPrefixes_.erase(fec);
    return;
  }
  it->second.compact([&](Prefix const& p) {
    if (p == prefix) return false;
    auto r = fibRoute_.find(p);
    return r != fibRoute_.end() && r->second.attached() && r->second.adjInfo() &&
           r->second.adjInfo()->fibAdjIndex() == fec;
  });
}

// --- FEC, prefix walk ---

template <class AF>
void RouteSmT<AF>::handleFec(FecId const& fecId) {
  if (waitingForFec_.empty()) return;
  auto it = waitingForFec_.find(fecId);
  if (it == waitingForFec_.end()) return;
  std::vector<Prefix> prefixes = std::move(it->second);
  waitingForFec_.erase(fecId);
  KOR_TRACE(5, "Fec " << fecId << " published, " << prefixes.size() << " routes waited for it");
  for (auto const& p : prefixes) enqueueForReview(p);
  maybeScheduleRouteReview();
}

// One route reviewed again (its resilient configuration changed).
template <class AF>
void RouteSmT<AF>::doReviewResilientRoute(Prefix const& prefix) {
  auto it = fibRoute_.find(prefix);
  if (it == fibRoute_.end()) return;
  it->second.stateIs(RouteReviewState::changedRoute);
  enqueueForReview(prefix);
  maybeScheduleRouteReview();
}

// The adjacency machine changed the L2 adjacency of a FEC: every prefix on
// it is handed over again with the new index.
template <class AF>
void RouteSmT<AF>::handlePrefixWalk(FecId const& fecId) {
  auto& vrf = *in_.vrfL3Status;
  bool set = isV4 ? vrf.adjEntryPrefixWalkList(fecId) : vrf.adjEntryIp6PrefixWalkList(fecId);
  if (!set) return;
  if constexpr (isV4) vrf.adjEntryPrefixWalkListDel(fecId);
  else vrf.adjEntryIp6PrefixWalkListDel(fecId);
  auto list = fecPrefixes_.find(fecId.value());
  if (list == fecPrefixes_.end()) return;
  size_t n = 0;
  for (auto const& p : list->second.prefixes()) {
    auto it = fibRoute_.find(p);
    if (it == fibRoute_.end() || !it->second.attached() || !it->second.adjInfo() ||
        it->second.adjInfo()->fibAdjIndex() != fecId.value())
      continue;
    it->second.stateIs(RouteReviewState::changedRoute);
    enqueueForReview(p);
    ++n;
  }
  KOR_TRACE(5, "Prefix walk of adj " << fecId << ": " << n << " routes");
  maybeScheduleRouteReview();
}

// --- Review ---

template <class AF>
void RouteSmT<AF>::enqueueForReview(Prefix const& prefix) {
  if (prefix.isDefault()) {
    review_.enqueue(kDefaultLane, prefix);
  } else if (isNhgRoute(prefix)) {
    review_.erase(kRoutesLane, prefix);
    review_.enqueue(kNhgLane, prefix);
  } else {
    review_.erase(kNhgLane, prefix);
    review_.enqueue(kRoutesLane, prefix);
  }
}

template <class AF>
void RouteSmT<AF>::maybeScheduleRouteReview(bool force) {
  KOR_TRACE(9, "maybeScheduleRouteReview, reviewComplete: " << reviewComplete_
                                                             << " routesForReview: " << routesForReviews());
  bool suspended = isV4 ? in_.l3Status->suspendRouteUpdates() : in_.l3Status->suspendIp6RouteUpdates();
  if (suspended) {
    KOR_TRACE(8, "Route updates suspended");
    return;
  }
  bool work = routesForReviews() || !overflowRoutesForReview_.empty() || (disabling_ && fullyDisabled());
  if (isV4) in_.vrfL3Status->routesForReviewIs(routesForReviews() != 0);
  else in_.vrfL3Status->routes6ForReviewIs(routesForReviews() != 0);
  if (!work && !force) {
    KOR_TRACE(9, "No routes to review");
    handleWaitForRoutingDisabled();
    return;
  }
  if (review_.armed()) {
    KOR_TRACE(9, "Routes review timer already set");
    return;
  }
  Vix::Seconds t = acsd()->activityLoop()->now() + review_.interval();
  review_.scheduleAt(t);
  KOR_TRACE(8, "Review scheduled at " << t << ", delay: " << review_.interval());
}

template <class AF>
void RouteSmT<AF>::runReview() {
  bool suspended = isV4 ? in_.l3Status->suspendRouteUpdates() : in_.l3Status->suspendIp6RouteUpdates();
  if (suspended) {
    KOR_TRACE(8, "Route updates suspended");
    return;
  }
  if (reviewHeld()) {
    KOR_TRACE(8, "Skip route review set, review held");
    return;
  }
  reviewRouteChanges();
  if constexpr (!isV4) reviewOverflowRoutes();
  if (disabling_ && fullyDisabled()) actuallyDisableRouting();
  if (batchMode_) {
    KOR_TRACE(5, "Enable notifications");
    batchModeIs(false);
  }
  if (isV4) in_.vrfL3Status->routesForReviewIs(routesForReviews() != 0);
  else in_.vrfL3Status->routes6ForReviewIs(routesForReviews() != 0);
  pendingClock_.timeMinEarlierIs(acsd()->activityLoop()->now());
}

template <class AF>
void RouteSmT<AF>::reviewRouteChanges() {
  auto* loop = acsd()->activityLoop().ptr();
  Vix::Seconds start = loop->now();
  if (!routingActive() && fibRoute_.empty()) {
    if (!routesForReviews()) {
      KOR_TRACE(8, "Route review skipped");
      return;
    }
    KOR_TRACE(8, "Routing disabled, skip review");
    for (size_t lane : {kDefaultLane, kRoutesLane, kNhgLane}) review_.clear(lane);
    return;
  }
  if (!envVarInitialized_) {
    envVarInitialized_ = true;
    if (auto n = envInt("KOR_YIELD_REVIEW_AFTER_EACH_ROUTE")) {
      review_.yieldEachItemIs(*n != 0);
      KOR_TRACE(1, "Setting yield after each review to " << review_.yieldEachItem());
    }
  }
  processedInPass_ = 0;
  auto result = review_.runPass();
  if (result == Vix::PassResult::complete && review_.size(kNhgLane) &&
      review_.size(kDefaultLane) + review_.size(kRoutesLane))
    KOR_TRACE(8, "NHG route, skipping all NHGs");
  timeUsed_ += loop->now() - start;
  if (result == Vix::PassResult::yielded) {
    ++yieldBeforeFinishingCount_;
    KOR_TRACE(5, "Route review yielding " << routesForReviews() << " Processed " << processedInPass_);
  }
}

template <class AF>
Vix::ReviewAction RouteSmT<AF>::doReviewRoute(Prefix const& p) {
  // Dequeued first: a change the review itself causes queues it again.
  review_.erase(p);
  processRouteUpdate(p);
  if (restartSync_.release(p)) KOR_TRACE(8, "Restart nextHopId " << p << " cleared");
  ++updatesProcessed_;
  ++processedInPass_;
  if (reviewHook_) reviewHook_(p);
  return Vix::ReviewAction::done;
}

// Deleted routes whose deletion time has come, in passes of the review
// quantum: a mass withdraw is worked off in slices like any other review.
template <class AF>
void RouteSmT<AF>::runDeletions() {
  if (deletions_.runPass() == Vix::PassResult::stopped) deletions_.scheduleAt(nextDeletionDue_);
  if (disabling_) maybeScheduleRouteReview(true);
  pendingClock_.timeMinEarlierIs(acsd()->activityLoop()->now());
}

// In deletion order, so the first one not due ends the pass.
template <class AF>
Vix::ReviewAction RouteSmT<AF>::doDeleteWhenDue(Prefix const& prefix, Vix::Seconds due) {
  if (due > acsd()->activityLoop()->now()) {
    nextDeletionDue_ = due;
    return Vix::ReviewAction::stop;
  }
  processRouteUpdate(prefix);
  return Vix::ReviewAction::done;
}

template <class AF>
void RouteSmT<AF>::reviewOverflowRoutes() {
  if (overflowRoutesForReview_.empty()) return;
  for (auto const& kv : overflowRoutesForReview_) {
    if (fibRoute_.find(kv.first) == fibRoute_.end()) continue;
    if (!unprogrammedRoute_.contains(kv.first))
      KOR_TRACE(3, "Route " << kv.first << " moved to unprogrammed list because of route overflow");
    addUnprogrammed(kv.first);
  }
  overflowRoutesForReview_.clear();
}

template <class AF>
void RouteSmT<AF>::scheduleAllRoutes(bool handOverAgain) {
  KOR_TRACE(5, "scheduleAllRoutes " << in_.routeStatus->routeSize());
  for (auto const& kv : in_.routeStatus->routeMap()) {
    if (!kv.second.fecId().isValid()) continue;
    if (auto it = fibRoute_.find(kv.first); handOverAgain && it != fibRoute_.end())
      it->second.stateIs(RouteReviewState::changedRoute);
    enqueueForReview(kv.first);
  }
  maybeScheduleRouteReview();
}

// Once per turn of the loop after changes: one review request for the
// consumers of the hand-over list (not one per route), the sequence
// acknowledgement and the end-of-sync check.
template <class AF>
void RouteSmT<AF>::doReviewPending() {
  pendingClock_.timeMinIs(Vix::kNever);
  if (reviewPendingBump_) {
    reviewPendingBump_ = false;
    if constexpr (isV4) in_.l3Status->unicastReviewPendingInc();
    else in_.l3Status->unicast6ReviewPendingInc();
  }
  maybeAckSequence();
  maybeEndOfSync();
}

// --- Unprogrammed routes ---

template <class AF>
void RouteSmT<AF>::addUnprogrammed(Prefix const& prefix) {
  if (!unprogrammedRoute_.enqueue(0, prefix)) return;
  counts_.unprogrammedCountIs(+1);
  scheduleUnprogrammedReview(false);
}

template <class AF>
void RouteSmT<AF>::removeUnprogrammed(Prefix const& prefix) {
  if (unprogrammedRoute_.erase(0, prefix)) counts_.unprogrammedCountIs(-1);
}

template <class AF>
void RouteSmT<AF>::scheduleUnprogrammedReview(bool now) {
  if (now) unprogrammedRoute_.retryNow();
  else unprogrammedRoute_.scheduleRetry();
}

template <class AF>
void RouteSmT<AF>::handleRoutingResourceFull() {
  if (resourceFull()) {
    resourceFullSeen_ = true;
    return;
  }
  if (!resourceFullSeen_) return;
  resourceFullSeen_ = false;
  KOR_TRACE(1, "Recovered from routing resource full condition");
  if constexpr (isV4) in_.l3Status->resource4FullLogIs(false);
  else in_.l3Status->resource6FullLogIs(false);
  // Room came back: retry now, not after the retry period.
  scheduleUnprogrammedReview(true);
}

template <class AF>
void RouteSmT<AF>::handleAdjResourceFull() {
  if (in_.l3Status->adjResourceFull()) return;
  KOR_TRACE(5, "handleAdjResourceFull Vrf: " << vrfId_);
  KOR_TRACE(3, "Recovered from adj resource full comdition");
  maybeScheduleRouteReview(true);
}

template <class AF>
void RouteSmT<AF>::reviewUnprogrammedRoutes() {
  auto* loop = acsd()->activityLoop().ptr();
  if (unprogrammedRoute_.empty()) return;
  Vix::Seconds now = loop->now();
  bool newRound = !unprogrammedRoute_.lane(0).bookmark();
  Vix::Seconds last = unprogrammedRoute_.roundStart(0);
  if (newRound && now < last + unprogrammedRoute_.retryPeriod()) {
    KOR_TRACE(8, "Retry period not reached: " << now << ", last: " << last);
    scheduleUnprogrammedReview(false);
    return;
  }
  if (newRound) refusedSincePass_ = false;
  fullAgain_ = false;
  auto result = unprogrammedRoute_.runPass();
  if (fullAgain_) {
    // Woken by the resource coming back (handleRoutingResourceFull), or
    // after the retry period.
    scheduleUnprogrammedReview(false);
  } else if (result == Vix::PassResult::yielded) {
    KOR_TRACE(5, "Unprogrammed route review is yielding");
  } else if (unprogrammedRoute_.empty()) {
    KOR_TRACE(3, "Unprogrammed routes successfully reprogrammed");
    restoreParentDropRoutes();
  } else {
    KOR_TRACE(3, "Unable to restore all the unprogrammed routes");
    if (refusedSincePass_ || resourceFull()) scheduleUnprogrammedReview(false);
  }
  KOR_TRACE(5, "Unprogrammed route review complete");
  pendingClock_.timeMinEarlierIs(loop->now());
}

template <class AF>
Vix::ReviewAction RouteSmT<AF>::doRetryUnprogrammed(Prefix const& p) {
  if (fullAgain_) return Vix::ReviewAction::keep;
  KOR_TRACE(8, "Trying to program unprogrammed fib route " << p);
  auto it = fibRoute_.find(p);
  if (it == fibRoute_.end()) {
    KOR_TRACE(8, "No fib route for prefix " << p);
    counts_.unprogrammedCountIs(-1);
    return Vix::ReviewAction::done;
  }
  if (resourceFull()) {
    KOR_TRACE(3, "Routing resources are full");
    fullAgain_ = true;
    return Vix::ReviewAction::keep;
  }
  if (!fibEntry(p)) {
    KOR_TRACE(8, "Unprogrammed route deleted. Remove fibRoute");
    processRouteUpdate(p, true);
    if (unprogrammedRoute_.contains(p)) return Vix::ReviewAction::keep;
    // The deleted default route's removal reached the chip: its retry is done.
    if (p.isDefault()) KOR_TRACE(8, "Programmed as clean route");
    return Vix::ReviewAction::done;
  }
  it->second.stateIs(RouteReviewState::changedRoute);
  processRouteUpdate(p, true);
  return Vix::ReviewAction::keep;
}

// Removals the chip refused: announced again (the hand-over entry is gone)
// until the chip takes them.
template <class AF>
void RouteSmT<AF>::runRefusedDeletions() {
  refusedDeletions_.runPass();
  if (!refusedDeletions_.empty()) refusedDeletions_.scheduleRetry();
  else if (disabling_) maybeScheduleRouteReview(true);
}

template <class AF>
Vix::ReviewAction RouteSmT<AF>::doRetryDeletion(Prefix const& p) {
  auto it = fibRoute_.find(p);
  if (it != fibRoute_.end() && it->second.adjInfo()) return Vix::ReviewAction::done;
  KOR_TRACE(8, "Retrying refused deletion of " << p);
  auto answer = in_.helper ? in_.helper->handleRouteUpdate(vrfId_, p, lastProcessedSeq_)
                           : KorHelper::RouteUpdateAnswer::programmed;
  if (answer != KorHelper::RouteUpdateAnswer::programmed) return Vix::ReviewAction::keep;
  KOR_TRACE(5, "Refused deletion of " << p << " taken by the chip");
  return Vix::ReviewAction::done;
}

// --- Parent drop routes ---

template <class AF>
std::optional<typename RouteSmT<AF>::Prefix> RouteSmT<AF>::getParentRoute(Prefix const& prefix) const {
  return trie_.parent(prefix, [this](Prefix const& p) { return fibRoute_.find(p) != fibRoute_.end(); });
}

// A route the chip could not take would follow its parent's next hop: the
// parent drops instead until the child is programmed.
template <class AF>
bool RouteSmT<AF>::programParentDropRoute(Prefix const& prefix) {
  auto parent = getParentRoute(prefix);
  if (!parent) {
    KOR_TRACE(5, "Parent prefix for " << prefix << " not found");
    return false;
  }
  if (unprogrammedRoute_.contains(*parent)) {
    KOR_TRACE(5, "Parent prefix " << *parent << " already unprogrammed");
    return false;
  }
  auto it = fibRoute_.find(*parent);
  if (it->second.parentDrop()) return true;
  if (!initialized() || !routingActive()) {
    KOR_TRACE(3, "Parent route programming failure");
    return false;
  }
  KOR_TRACE(5, "Create drop adjacency for " << *parent);
  uint64_t drop = in_.adjSm->dropAdjIndex(uint8_t(AF::version));
  auto info = adjInfoPool_.intern(RouteType::dropRoute, drop, drop, false);
  FibRoute& fib = it->second;
  // A drop route uses no FEC adjacency until it is restored.
  if (fib.attached()) detachFromFec(*parent, fib, fib.adjInfo()->fibAdjIndex());
  doUpdateRoute(*parent, fib, info, false);
  if (unprogrammedRoute_.contains(*parent)) {
    KOR_TRACE(3, "Failed to convert route to drop");
    return false;
  }
  fib.parentDropIs(true);
  counts_.parentDropCountIs(+1);
  return true;
}

template <class AF>
void RouteSmT<AF>::restoreParentDropRoutes() {
  if (!counts_.parentDropRoutes()) return;
  std::vector<Prefix> parents;
  for (auto const& kv : fibRoute_)
    if (kv.second.parentDrop()) parents.push_back(kv.first);
  for (auto const& p : parents) {
    auto it = fibRoute_.find(p);
    it->second.parentDropIs(false);
    it->second.stateIs(RouteReviewState::changedRoute);
    counts_.parentDropCountIs(-1);
    enqueueForReview(p);
  }
  maybeScheduleRouteReview();
}

// --- Routing on and off ---

template <class AF>
bool RouteSmT<AF>::fullyDisabled() const {
  return fibRoute_.empty() && review_.empty() && unprogrammedRoute_.empty() && refusedDeletions_.empty();
}

template <class AF>
void RouteSmT<AF>::handleRoutingEnabled(bool enabled) {
  KOR_TRACE(5, "handleRoutingEnabled, en: " << enabled);
  if (!envVarInitialized_) {
    if (auto n = envInt("KOR_ROUTES_REVIEW_INTERVAL")) {
      review_.intervalIs(Vix::Seconds(*n));
      KOR_TRACE(1, "Overriding default routes review interval: now " << *n << " seconds");
    }
  }
  if (!initialized()) {
    KOR_TRACE(5, "RouteSm not initialized");
    return;
  }
  KOR_TRACE(5, "RoutingEnabled: " << routingEnabled_ << ", deferred: " << routingDeferred());
  if (enabled == routingEnabled_ && !disabling_) return;
  if (enabled) {
    bool const deferred = routingDeferred();
    if (disabling_) {
      // Back on before every route was gone: the review re-checks them all.
      disabling_ = false;
    } else if (!deferred) {
      enableRoutingWhenFullyDisabled();
    }
    // Deferred routes are in the chip already: the review finds them up to
    // date.
    routingEnabled_ = true;
    deferralOver_ = true;
    doTellDeferral();
    lastRoutingEnabledTime_ = acsd()->activityLoop()->now();
    KOR_TRACE(1, "Routing enabled is now " << routingEnabled_);
    scheduleAllRoutes(!deferred);
    return;
  }
  routingEnabled_ = false;
  lastRoutingDisabledTime_ = acsd()->activityLoop()->now();
  KOR_TRACE(1, "Routing enabled is now " << routingEnabled_);
  doWithdrawAll();
}

// Every route leaves the chip through the review: routing went off, or the
// routes handed over while it was deferred may no longer stay.
template <class AF>
void RouteSmT<AF>::doWithdrawAll() {
  disabling_ = true;
  doTellDeferral();
  for (auto& kv : fibRoute_) {
    KOR_TRACE(9, "Schedule deletion for " << kv.first);
    kv.second.stateIs(RouteReviewState::changedRoute);
    enqueueForReview(kv.first);
  }
  if (in_.routeStatus->frozen()) {
    KOR_TRACE(3, "Quill tables frozen. Seq: " << lastProcessedSeq_ << ", routes: " << fibRoute_.size());
    batchModeIs(true);
  }
  // Suspended updates hold the review back, so the sequence the routing
  // agent waits for is acknowledged now: every route of it goes.
  bool suspended = isV4 ? in_.l3Status->suspendRouteUpdates() : in_.l3Status->suspendIp6RouteUpdates();
  if (suspended && in_.seqConfig && in_.seqConfig->sequenceEnabled()) {
    KOR_TRACE(3, "Route updates suspended, acking seq");
    if constexpr (isV4) in_.vrfL3Status->sequenceProgrammedIs(lastProcessedSeq_);
    else in_.vrfL3Status->sequence6ProgrammedIs(lastProcessedSeq_);
  }
  maybeScheduleRouteReview(true);
}

template <class AF>
void RouteSmT<AF>::enableRoutingWhenFullyDisabled() {
  if (routesForReviews() != 0) korAssert("routesForReviews() == 0");
  if (unprogrammedRoutes() != 0) korAssert("unprogrammedRoutes() == 0");
  if (fibRoutes() != 0) korAssert("fibRoutes() == 0");
}

template <class AF>
void RouteSmT<AF>::actuallyDisableRouting() {
  disabling_ = false;
  doTellDeferral();
  KOR_TRACE(1, "Routing fully disabled");
  handleWaitForRoutingDisabled();
}

// A VRF asked to switch routing off (uRPF start) is told when it is off.
// Routes it still defers leave the chip first, and its deferral is over:
// they come back when routing comes on.
template <class AF>
void RouteSmT<AF>::handleWaitForRoutingDisabled() {
  auto& vrf = *in_.vrfL3Status;
  bool waiting = isV4 ? vrf.waitForRoutingDisabled() : vrf.waitForRouting6Disabled();
  if (waiting && !deferralOver_ && !routingEnabled_ && initialized()) {
    bool deferred = routingDeferred();
    deferralOver_ = true;
    doTellDeferral();
    if (deferred && !fibRoute_.empty()) {
      KOR_TRACE(3, "Routing disabled while deferred. Withdraw deferred routes");
      doWithdrawAll();
      return;
    }
  }
  if (!waiting || routingEnabled_ || disabling_ || !fullyDisabled()) return;
  KOR_TRACE(3, "Turn off wait for routing disabled");
  if constexpr (isV4) vrf.waitForRoutingDisabledIs(false);
  else vrf.waitForRouting6DisabledIs(false);
  in_.l3Status->waitForRoutingDisabledRefCntIs(in_.l3Status->waitForRoutingDisabledRefCnt() + 1);
}

// The adjacency machine reviews this family's FECs while its routes are
// deferred as it does with routing on: the routes handed over before routing
// comes on carry their FEC's L2 adjacency, and routing coming on finds them
// up to date (no second hand-over).
template <class AF>
void RouteSmT<AF>::doTellDeferral() {
  if (in_.adjSm) in_.adjSm->routingDeferredIs(uint8_t(AF::version), routingDeferred());
}

// Deferred routing switched while routing is not on yet: the routes are
// taken in, or those handed over leave the chip again.
template <class AF>
void RouteSmT<AF>::handleDeferredRouting(bool enabled) {
  if (enabled != deferredRoutingEnabled_) {
    bool was = routingDeferred();
    deferredRoutingEnabled_ = enabled;
    KOR_TRACE(3, "Deferred routing enabled: " << enabled);
    if (initialized() && reader_) doTellDeferral();
    if (initialized() && reader_) {
      if (!was && routingDeferred()) scheduleAllRoutes();
      else if (was && !routingDeferred() && !fibRoute_.empty()) doWithdrawAll();
    }
  }
  handleAggregateRoute();
}

// Cleared: the review held back while a uRPF start had routing off runs.
template <class AF>
void RouteSmT<AF>::handleSkipRouteReview() {
  bool skip = isV4 ? in_.vrfL3Status->skipRouteReview() : in_.vrfL3Status->skipRoute6Review();
  KOR_TRACE(5, "Skip route review: " << skip);
  if (!skip && initialized()) maybeScheduleRouteReview(true);
}

// --- Start ---

// The chip's routes of an earlier run: claimed back or removed (RouteRestartSyncT).
template <class AF>
void RouteSmT<AF>::syncRoutingStateOnInit() {
  if (!in_.helper) return;
  restartSync_.doSyncOnInit(*in_.helper, programmingRecord(), routingActive(),
                            [this](Prefix const& p) { return fibEntry(p) != nullptr; });
}

template <class AF>
RouteProgrammingRecord RouteSmT<AF>::programmingRecord() const {
  return RouteRestartSyncT<AF>::recordOf(*in_.l3Status, in_.routingHwStatus.ptr());
}

// The chip's routes follow a change while the machine runs (uRPF switched,
// routes moved between the IPv6 tables): the record follows with them.
template <class AF>
void RouteSmT<AF>::doRecordProgramming() {
  if (reader_ && in_.helper) restartSync_.doRecord(*in_.helper, programmingRecord());
}

template <class AF>
void RouteSmT<AF>::maybeEndOfSync() {
  if (!reader_ || !reader_->drained() || routesForReviews()) return;
  if (!reviewComplete_) {
    reviewComplete_ = true;
    restartSync_.doEndClaims(in_.helper.ptr(), [this](Prefix const& p) { return fibRoute(p) != nullptr; });
  }
  if (!endOfSyncDone()) {
    if constexpr (isV4) in_.vrfL3Status->endOfV4SyncDoneIs(true);
    else in_.vrfL3Status->endOfV6SyncDoneIs(true);
    KOR_TRACE(1, "End of sync done");
    if (in_.helper) in_.helper->handleEndOfSync(in_.vrfL3Status->vrfName());
    if (vrfRoot_) {
      if constexpr (isV4) vrfRoot_->handleEndOfV4Sync();
      else vrfRoot_->handleEndOfV6Sync();
    }
  }
  if (!adjSmWoken_) {
    adjSmWoken_ = true;
    if (in_.adjSm->initialized() && !in_.adjSm->routingSyncInitialized()) {
      KOR_TRACE(3, "Wake up the adj state machine");
      in_.adjSm->handleInitialized();
    }
  }
}

template <class AF>
void RouteSmT<AF>::handleSeqConfig() {
  maybeAckSequence();
}

template <class AF>
void RouteSmT<AF>::maybeAckSequence() {
  if (!in_.seqConfig || !in_.seqConfig->sequenceEnabled()) return;
  if (routesForReviews() || (reader_ && !reader_->drained())) return;
  if constexpr (isV4) in_.vrfL3Status->sequenceProgrammedIs(lastProcessedSeq_);
  else in_.vrfL3Status->sequence6ProgrammedIs(lastProcessedSeq_);
}

// --- IPv6: overflow, aggregates, table moves ---

template <class AF>
void RouteSmT<AF>::handleOverflowRoute(Prefix const& prefix) {
  if constexpr (!isV4) {
    if (!in_.l3Status->ip6OverflowRouteHas(prefix)) return;
    KOR_TRACE(5, "handleOverflowRoute, prefix: " << prefix);
    // Consumed: the platform reports each overflow once.
    in_.l3Status->ip6OverflowRouteDel(prefix);
    overflowRoutesForReview_[prefix] = true;
    maybeScheduleRouteReview(true);
  }
}

template <class AF>
bool RouteSmT<AF>::isContainedByAggrRoute(Prefix const& prefix, bool log) const {
  if constexpr (isV4) {
    return false;
  } else {
    if (!aggregateTrie_.size() || !in_.l3Config || !deferredRoutingEnabled_) return false;
    auto const& aggregates = in_.l3Config->aggregateRoute6Map();
    auto parent = aggregateTrie_.parent(prefix, [&](Prefix const& p) { return aggregates.find(p) != aggregates.end(); });
    if (parent && log) KOR_TRACE(8, "AggrRoute " << *parent << " contains " << prefix);
    return parent.has_value();
  }
}

template <class AF>
void RouteSmT<AF>::handleAggregateRoute(Prefix const& prefix) {
  if constexpr (!isV4) {
    bool added = in_.l3Config && in_.l3Config->aggregateRoute6Has(prefix);
    if (added) aggregateTrie_.add(prefix);
    else aggregateTrie_.del(prefix);
    if (!deferredRoutingEnabled_) {
      KOR_TRACE(5, "Deferred Routing NOT enabled - Returning");
      return;
    }
    if (added) {
      KOR_TRACE(5, "Aggregate route added");
      if (isContainedByAggrRoute(prefix, true)) {
        KOR_TRACE(5, "Aggregate prefix " << prefix << " covers this. Skipping");
      } else if (fibRoute_.find(prefix) != fibRoute_.end()) {
        KOR_TRACE(5, "Fib already exists");
        enqueueForReview(prefix);
      } else if (fibEntry(prefix)) {
        KOR_TRACE(5, "Fib does not exist. Adding " << prefix << " to review list");
        enqueueForReview(prefix);
      }
    } else {
      KOR_TRACE(5, "Aggregate route deleted");
      KOR_TRACE(5, "Delete all routes encapsulated by aggregate prefix:" << prefix);
    }
    // Every route under the aggregate is reviewed: added, they leave the
    // chip; deleted, each is handed over on its own again.
    for (auto const& kv : in_.routeStatus->routeMap()) {
      if (kv.first == prefix || !prefix.contains(kv.first) || !kv.second.fecId().isValid()) continue;
      auto it = fibRoute_.find(kv.first);
      if (it == fibRoute_.end()) {
        KOR_TRACE(8, "In delete, FibSm does not exist. Adding " << kv.first);
      } else {
        KOR_TRACE(9, "Schedule this state machine for change.");
        it->second.stateIs(RouteReviewState::changedRoute);
      }
      enqueueForReview(kv.first);
    }
    maybeScheduleRouteReview();
  }
}

template <class AF>
void RouteSmT<AF>::handleAggregateRoute() {
  if constexpr (!isV4) {
    if (!in_.l3Config) return;
    for (auto const& kv : in_.l3Config->aggregateRoute6Map()) handleAggregateRoute(kv.first);
  }
}

// The exact-match lengths changed: routes whose table changes are moved.
template <class AF>
void RouteSmT<AF>::handleRoutesInExactMatch() {
  if constexpr (!isV4) {
    if (!in_.routingHwStatus) return;
    auto const& lengths = in_.routingHwStatus->prefixLenInExactMatchMap();
    std::vector<std::pair<Prefix, TableType>> moves;
    for (auto const& kv : fibRoute_) {
      if (!kv.second.adjInfo()) continue;
      TableType to = tableTypeOf(kv.first, lengths);
      TableType from = to == TableType::tableTypeExactMatch ? TableType::tableTypeLongestPrefix
                                                            : TableType::tableTypeExactMatch;
      // Only the lengths that can be in the exact-match table can move.
      Routing::RoutesInExactMatch len;
      if (!Routing::RoutesInExactMatch::fromBits(unsigned(kv.first.len()), len)) continue;
      auto it = lastExactMatch_.find(len);
      bool was = it != lastExactMatch_.end();
      if (was == (to == TableType::tableTypeExactMatch)) continue;
      moves.emplace_back(kv.first, from);
    }
    lastExactMatch_.clear();
    for (auto const& kv : lengths) lastExactMatch_[kv.first] = true;
    for (auto const& [p, from] : moves)
      moveRouteBetweenTables(p, from, tableTypeOf(p, lengths));
  }
}

template <class AF>
bool RouteSmT<AF>::moveRouteBetweenTables(Prefix const& prefix, TableType from, TableType to) {
  KOR_TRACE(5, "moveRouteBetweenTables, for prefix: " << prefix << " from: " << from << " to: " << to);
  auto it = fibRoute_.find(prefix);
  if (it == fibRoute_.end()) {
    KOR_TRACE(3, "Could not find fibRoute for " << prefix);
    return false;
  }
  FibRoute& fib = it->second;
  Vix::Ptr<AdjInfo> info = fib.adjInfoPtr();
  if (!info) return false;
  // Out of the old table, then handed over again for the new one.
  doUpdateRoute(prefix, fib, nullptr, false);
  doUpdateRoute(prefix, fib, info, false);
  if (unprogrammedRoute_.contains(prefix)) {
    KOR_TRACE(3, "Rem route " << prefix << " move from " << from << " to " << to << " failed."
                              << " Adding route to unprogrammed routes.");
    return false;
  }
  KOR_TRACE(8, "Route " << prefix << " moved. Adding route for review.");
  return true;
}

// --- Verification and dumps ---

template <class AF>
void RouteSmT<AF>::handleVerify() {
  verifyAllRoutes();
}

// Every route against its hand-over entry, then the chip's routes of the VRF
// against the hand-over (RouteChipCheckT); each disagreement is one report.
template <class AF>
void RouteSmT<AF>::verifyAllRoutes() {
  size_t bad = 0;
  auto const& l3 = *in_.l3Status;
  RouteChipCheckT<AF> chip(vrfId_, *in_.helper);
  for (auto const& kv : fibRoute_) {
    Key key{vrfId_, kv.first};
    Vix::Ptr<AdjInfo> handed;
    if constexpr (isV4) handed = l3.adjInfoList(key);
    else handed = l3.adjInfo6List(key);
    if (handed.ptr() != kv.second.adjInfo()) {
      ++bad;
      std::ostringstream os;
      os << "route " << kv.first << " differs from its hand-over entry";
      KOR_VERIFY_REPORT(KorTypes::verifyFail, os.str());
    }
    chip.routeIs(kv.first, kv.second.adjInfo(), unprogrammedRoute_.contains(0, kv.first));
  }
  // Behind the records: the FIB and the hand-over list. Once the initial
  // sync is over and nothing waits for review, a FIB route with no record
  // was lost on its way in; a hand-over entry of the VRF with neither a
  // record nor a FIB route leaked on its way out.
  auto fault = [&](std::string const& what) {
    ++bad;
    KOR_TRACE(1, what);
    KOR_VERIFY_REPORT(KorTypes::verifyFail, what);
  };
  bool suspended = isV4 ? l3.suspendRouteUpdates() : l3.suspendIp6RouteUpdates();
  if (routingActive() && endOfSyncDone() && !routesForReviews() && !suspended && !reviewHeld()) {
    for (auto const& kv : in_.routeStatus->routeMap()) {
      if (!kv.second.fecId().isValid() || fibRoute_.find(kv.first) != fibRoute_.end()) continue;
      std::string what = "Route not in trie but in shmem: ";
      what += kv.first.str();
      fault(what);
    }
  }
  auto leaked = [&](Key const& key) {
    if (key.vrfId != vrfId_ || fibRoute_.find(key.prefix) != fibRoute_.end() || fibEntry(key.prefix)) return;
    std::string what = "Route not in trie and shmem: ";
    what += key.prefix.str();
    fault(what);
  };
  if constexpr (isV4) {
    for (auto const& kv : l3.adjInfoListMap()) leaked(kv.first);
  } else {
    for (auto const& kv : l3.adjInfo6ListMap()) leaked(kv.first);
  }
  auto faults = chip.faults(endOfSyncDone());
  for (auto const& f : faults) KOR_VERIFY_REPORT(KorTypes::verifyFail, f);
  if (!bad && faults.empty())
    KOR_VERIFY_REPORT(KorTypes::verifySuccess, std::to_string(fibRoute_.size()) + " routes verified");
}

template <class AF>
void RouteSmT<AF>::showFibRoutes(std::ostream& out, std::optional<Prefix> prefix) const {
  RouteShowT<AF>::showFibRoutes(out, *in_.routeStatus, prefix);
}

template <class AF>
void RouteSmT<AF>::showKorRoutes(std::ostream& out, std::optional<Prefix> prefix) const {
  RouteShowT<AF>(fibRoute_, unprogrammedRoute_).showKorRoutes(out, prefix);
}

template <class AF>
void RouteSmT<AF>::doShowRoutesUnprogrammedInVrf(std::ostream& out, VrfName const& vrfName) const {
  auto const& vrf = *in_.vrfL3Status;
  RouteShowT<AF>(fibRoute_, unprogrammedRoute_)
      .showUnprogrammed(out, vrfName, isV4 ? vrf.numUnprogrammedRoutes() : vrf.numUnprogrammedV6Routes(),
                        isV4 ? vrf.numParentDropRoutes() : vrf.numParentDropV6Routes());
}

template class RouteSmT<Nollo::Ipv4>;
template class RouteSmT<Nollo::Ipv6>;

}  // namespace Kor
