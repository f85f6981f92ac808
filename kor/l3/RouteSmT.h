#pragma once
// The route machine of one VRF and address family: RouteSm (IPv4, trace
// "KorRoutingSm") and Route6Sm (IPv6, trace "KorIp6RoutingSm"), created and
// owned by the VRF's VrfRoot. One implementation; what only IPv6 has
// (overflow routes, aggregate routes, moves between the longest-prefix and
// exact-match tables) is compiled for IPv6 only.
//
// It reads the VRF's FIB route table through a sliced reader (slice =
// quillYieldTime, set by the VRF root) and keeps one FibRoute per prefix.
// Each route's needs go to the platform as an interned AdjInfo (route type,
// FEC, L2 adjacency index) in L3Status::adjInfoList / adjInfo6List, and the
// platform helper answers at once whether the chip took it. A route the chip
// refused is unprogrammed: kept, counted, and handed over again - when
// routing resources come back, or after unprogrammedRetryPeriod.
//
// Work that cannot be done inside a notification (routes queued while
// updates are suspended, all routes when routing comes on or goes off,
// prefix walks after an adjacency changed) waits in the review loop's lanes
// and is done in passes of at most routeReviewQuanta that resume at each
// lane's bookmark: the default route first, next-hop-group routes after all
// others. A deleted route is removed from the chip only once deletionDelay
// has passed, so a delete followed by a re-add never touches the chip; the
// deletions that come due are done in passes of the same quantum, so a mass
// withdraw never holds the loop. Three Vix::ReviewLoops, one clock each:
// review, unprogrammed retries, deletions.
//
// The hardware configuration (Routing::Hardware::Config, hwConfigIs) gives
// maxNumRoutes, parentDropRoute, deletionDelay, icmpUnreachable and
// greKeyForwarding; the last two go to the platform helper as they are.
//
// A chip that refuses to take a deleted route out keeps the prefix in the
// refused-deletion loop: the removal is announced again on the unprogrammed
// retry period until the chip takes it, or the route comes back. Routing is
// not fully off while one waits.
//
// Invariants: a prefix has a hand-over entry iff its FibRoute holds an
// AdjInfo; an unprogrammed prefix has a FibRoute; the unprogrammed counters
// of VrfL3Status and L3Status move with the unprogrammed set.
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <ostream>
#include <type_traits>
#include <utility>
#include <vector>

#include "kor/adj/AdjSm.h"
#include "kor/common/KorBaseSm.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/common/VrfName.h"
#include "kor/helpers/RouteSmHelperT.h"
#include "kor/l3/AdjInfoPool.h"
#include "kor/l3/FibRouteT.h"
#include "kor/records/L3Status.h"
#include "kor/records/RouteProgrammingRecord.h"
#include "kor/l3/RouteCountsT.h"
#include "kor/l3/RouteRestartSyncT.h"
#include "kor/l3/RoutingTrieT.h"
#include "kor/l3/TableType.h"
#include "kor/records/VrfAndPrefixT.h"
#include "kor/records/VrfId.h"
#include "kor/records/VrfL3Status.h"
#include "models/routing/L3Config.h"
#include "models/routing/SequenceConfig.h"
#include "models/routing/hardware/Config.h"
#include "models/routing/hardware/Status.h"
#include "nollo/IpPrefix.h"
#include "quill/ForwardingStatus.h"
#include "quill/RouteStatus.h"
#include "quill/SlicedReader.h"
#include "vix/Clock.h"
#include "kor/l3/FecPrefixList.h"
#include "vix/HashMap.h"
#include "vix/ReviewLoop.h"
#include "vix/Time.h"

namespace Kor {

class VrfRoot;

template <class AF>
class RouteSmT : public KorBaseSm {
 public:
  static constexpr bool isV4 = std::is_same_v<AF, Nollo::Ipv4>;
  using RouteStatus = Quill::Fib::RouteStatusT<AF>;
  using ForwardingStatus = Quill::Fib::ForwardingStatusT<AF>;
  using Route = Quill::Fib::RouteT<AF>;
  using Prefix = Nollo::IpPrefixT<AF>;
  using Helper = KorHelper::RouteSmHelperT<AF>;
  using FibRoute = FibRouteT<AF>;
  using Key = VrfAndPrefixT<AF>;
  using FecId = Quill::Fib::FecId;
  using ReviewLoop = Vix::ReviewLoop<Prefix, bool>;

  struct Inputs {
    Vix::Ptr<Routing::L3Config const> l3Config;
    Vix::Ptr<L3Status> l3Status;
    Vix::Ptr<VrfL3Status> vrfL3Status;
    Vix::Ptr<RouteStatus const> routeStatus;
    Vix::Ptr<ForwardingStatus const> forwardingStatus;
    Vix::Ptr<Routing::Hardware::Status const> routingHwStatus;
    Vix::Ptr<Routing::SequenceConfig const> seqConfig;
    Vix::Ptr<AdjSm> adjSm;
    Vix::Ptr<Helper> helper;
  };

  RouteSmT(Vix::Ptr<KorCommonSmData> const& acsd, VrfRoot* vrfRoot, VrfId vrfId, Inputs inputs);
  ~RouteSmT() override;

  // The VRF root deletes the adjacency machine before the route machines:
  // from here on this machine neither holds it nor hears its inputs (nothing
  // of it may run again) until its root deletes it too.
  void doReleaseAdjSm() {
    hasNotificationActiveIs(false);
    in_.adjSm = nullptr;
  }

  void handleInitialized() override;
  void handleVerify() override;
  // Routes against the hand-over list and the chip (see RouteChipCheckT).
  void verifyAllRoutes();
  // Queues one route for a review (a resilient prefix whose table must change).
  void doReviewResilientRoute(Prefix const& prefix);

  VrfId vrfId() const { return vrfId_; }
  Vix::Ptr<RouteStatus const> const& routeStatus() const { return in_.routeStatus; }
  Vix::Ptr<Helper> const& routingHelper() const { return in_.helper; }

  // Tunables (seconds).
  Vix::Seconds quillYieldTime() const { return quillYieldTime_; }
  void quillYieldTimeIs(Vix::Seconds s);
  Vix::Seconds routesReviewInterval() const { return review_.interval(); }
  void routesReviewIntervalIs(Vix::Seconds s) { review_.intervalIs(s); }
  // The quantum of every pass: reviews, unprogrammed retries, deletions.
  Vix::Seconds routeReviewQuanta() const { return review_.quantum(); }
  void routeReviewQuantaIs(Vix::Seconds s);
  Vix::Seconds unprogrammedRetryPeriod() const { return unprogrammedRoute_.retryPeriod(); }
  void unprogrammedRetryPeriodIs(Vix::Seconds s) {
    unprogrammedRoute_.retryPeriodIs(s);
    refusedDeletions_.retryPeriodIs(s);
  }
  Vix::Seconds unprogrammedReviewInterval() const { return unprogrammedRoute_.retryInterval(); }
  void unprogrammedReviewIntervalIs(Vix::Seconds s) {
    unprogrammedRoute_.retryIntervalIs(s);
    refusedDeletions_.retryIntervalIs(s);
  }
  Vix::Seconds deletionDelay() const { return deletionDelay_; }
  void handleDeletionDelay(Vix::Seconds s);
  // 0: no limit of the number of routes.
  uint64_t maxRoutes() const { return maxRoutes_; }
  void handleMaxNumRoutes(uint64_t n);
  // Whether the hardware offers parent drop routes.
  bool parentDropRoute() const { return parentDropRoute_; }
  void handleParentDropRoute(bool enabled) { parentDropRoute_ = enabled; }
  bool icmpUnreachable() const { return icmpUnreachable_; }
  void handleIcmpUnreachable(bool enabled);
  bool greKeyForwarding() const { return greKeyForwarding_; }
  void handleGreKeyForwarding();
  // The hardware configuration the five settings above come from (null:
  // they keep what their handlers were last given).
  void hwConfigIs(Vix::Ptr<Routing::Hardware::Config const> const& config);

  // State.
  bool routingEnabled() const { return routingEnabled_; }
  // Deferred routing (L3Config::deferredRouting): a VRF whose routing has not
  // come on yet hands its routes over all the same, so the chip is full
  // when routing comes on. It ends when routing first comes on, or when a
  // uRPF start asks the VRF to switch routing off; from then on routing off
  // means no routes. Without it, routes wait for routing ("Deferred routing
  // not enabled - Returning") and are all reviewed when it comes on. The
  // same flag lets IPv6 aggregate routes cover their more specific routes.
  bool deferredRoutingEnabled() const { return deferredRoutingEnabled_; }
  // Routing is off and the routes are handed over nonetheless.
  bool routingDeferred() const {
    return deferredRoutingEnabled_ && !routingEnabled_ && !deferralOver_ && !disabling_;
  }
  Vix::Seconds lastRoutingEnabledTime() const { return lastRoutingEnabledTime_; }
  Vix::Seconds lastRoutingDisabledTime() const { return lastRoutingDisabledTime_; }
  bool reviewComplete() const { return reviewComplete_; }
  bool endOfSyncDone() const;
  size_t fibRoutes() const { return fibRoute_.size(); }
  FibRoute const* fibRoute(Prefix const& p) const;
  // Queued for review (next-hop-group routes included).
  size_t routesForReviews() const { return review_.size(); }
  // Set while routing is switched off over frozen shared-memory tables: the
  // whole table goes in one batch, and the next review pass ends it.
  bool batchMode() const { return batchMode_; }
  void batchModeIs(bool b) { batchMode_ = b; }
  bool routeForReview(Prefix const& p) const { return review_.contains(p); }
  size_t unprogrammedRoutes() const { return unprogrammedRoute_.size(); }
  bool unprogrammed(Prefix const& p) const { return unprogrammedRoute_.contains(0, p); }
  size_t parentDropRoutes() const { return counts_.parentDropRoutes(); }
  size_t overflowRoutesForReview() const { return overflowRoutesForReview_.size(); }
  size_t pendingDeletions() const { return deletions_.size(); }
  // Deletions the chip refused, announced again until it takes them.
  size_t refusedDeletions() const { return refusedDeletions_.size(); }
  size_t adjInfoRecords() const { return adjInfoPool_.size(); }
  std::optional<Prefix> routesForReviewBookmark() const { return review_.lane(kRoutesLane).bookmark(); }
  Vix::Clock const& reviewClock() const { return review_.clock(); }
  Vix::Clock const& unprogrammedClock() const { return unprogrammedRoute_.clock(); }
  // The loop of the deletions that wait for their deletion time (its pass
  // counters tell how long a pass held the loop).
  Vix::ReviewLoop<Prefix, Vix::Seconds> const& deletions() const { return deletions_; }
  Quill::SlicedReader<RouteStatus> const* reader() const { return reader_.get(); }

  // Counters.
  uint64_t updatesSeen() const { return updatesSeen_; }
  uint64_t updatesProcessed() const { return updatesProcessed_; }
  uint64_t dispatchCount() const { return dispatchCount_; }
  uint64_t yieldBeforeFinishingCount() const { return yieldBeforeFinishingCount_; }
  Vix::Seconds timeUsed() const { return timeUsed_; }
  uint64_t lastProcessedSeq() const { return lastProcessedSeq_; }
  // Called after each route a review pass handled (tests advance a manual
  // clock here to make a pass run over its quantum).
  void reviewHookIs(std::function<void(Prefix const&)> h) { reviewHook_ = std::move(h); }

  // Inputs.
  void handleRoute(Prefix const& prefix);
  void handleRoutingEnabled(bool enabled);
  void handleDeferredRouting(bool enabled);
  // VrfL3Status::skipRouteReview / skipRoute6Review: set while a uRPF start
  // has switched routing off. Reviews that only take routes out go on (the
  // start waits for them); a review that would hand routes over - routing
  // switched back on before the start is done - and the notifications of
  // such routes wait until the flag clears, then run at once.
  void handleSkipRouteReview();
  void handleRoutingResourceFull();
  void handlePrefixWalk(FecId const& fecId);
  void handleFec(FecId const& fecId);
  void handleWaitForRoutingDisabled();
  void handleSeqConfig();
  // IPv6 only.
  void handleOverflowRoute(Prefix const& prefix);
  void handleAggregateRoute(Prefix const& prefix);
  void handleAggregateRoute();
  void handleRoutesInExactMatch();
  bool isContainedByAggrRoute(Prefix const& prefix, bool log = false) const;
  bool moveRouteBetweenTables(Prefix const& prefix, TableType from, TableType to);
  void handleAdjResourceFull();

  std::optional<Prefix> getParentRoute(Prefix const& prefix) const;
  bool programParentDropRoute(Prefix const& prefix);

  // Dumps. "FR4" / "FR6": the FIB's routes (one, or all when prefix is empty).
  void showFibRoutes(std::ostream& out, std::optional<Prefix> prefix) const;
  // "AR4" / "AR6": the library's own route records.
  void showKorRoutes(std::ostream& out, std::optional<Prefix> prefix) const;
  // "SR4u" / "SR6u" for this VRF.
  void doShowRoutesUnprogrammedInVrf(std::ostream& out, VrfName const& vrfName) const;

 private:
  class VixVrfL3Status;
  class VixL3Status;
  class VixForwardingStatus;
  class VixL3Config;
  class VixHwStatus;
  class VixHwConfig;

  // The notification path.
  bool setupRoute(Prefix const& prefix, Route const* route);
  // False when the route must wait (a deletion before its deletionTime).
  void prefetchRoute(Prefix const& prefix) const;
  bool processRouteUpdate(Prefix const& prefix, bool force = false);
  // The same with the prefix's FIB entry already read (null: none, or
  // routing is off).
  bool processRouteUpdate(Prefix const& prefix, bool force, Route const* route);
  void updateAdjInfo(Prefix const& prefix, FibRoute& fib, Route const* route, bool force);
  void doUpdateRoute(Prefix const& prefix, FibRoute& fib, Vix::Ptr<AdjInfo> const& newEntry, bool retry);
  Vix::Ptr<AdjInfo> adjInfoFor(Prefix const& prefix, Route const& route, AdjInfo const* old);
  Route const* fibEntry(Prefix const& prefix) const;
  bool isNhgRoute(Prefix const& prefix) const;
  void deleteFibRoute(Prefix const& prefix);
  // The route as a user of its FEC's adjacency (counted there, listed here).
  void attachToFec(Prefix const& prefix, FibRoute& fib, uint64_t fec, AdjEntry& entry);
  void detachFromFec(Prefix const& prefix, FibRoute& fib, uint64_t fec);

  // Review.
  void enqueueForReview(Prefix const& prefix);
  void maybeScheduleRouteReview(bool force = false);
  void runReview();
  void reviewRouteChanges();
  void reviewOverflowRoutes();
  void runDeletions();
  Vix::ReviewAction doDeleteWhenDue(Prefix const& prefix, Vix::Seconds due);
  Vix::ReviewAction doReviewRoute(Prefix const& prefix);
  Vix::ReviewAction doRetryUnprogrammed(Prefix const& prefix);
  void runRefusedDeletions();
  Vix::ReviewAction doRetryDeletion(Prefix const& prefix);
  // Every FIB route reviewed; handOverAgain: records handed over again even
  // when nothing changed (not after deferral: those are current).
  void scheduleAllRoutes(bool handOverAgain = true);
  void doReviewPending();

  // Unprogrammed routes.
  void addUnprogrammed(Prefix const& prefix);
  void removeUnprogrammed(Prefix const& prefix);
  void scheduleUnprogrammedReview(bool now);
  void reviewUnprogrammedRoutes();
  void restoreParentDropRoutes();

  // Routing on/off, start, sync.
  void enableRoutingWhenFullyDisabled();
  void doWithdrawAll();
  void doTellDeferral();
  // Routes are read and handed over: routing on, or deferred.
  bool routingActive() const { return routingEnabled_ || routingDeferred(); }
  bool reviewHeld() const {
    bool skip = isV4 ? in_.vrfL3Status->skipRouteReview() : in_.vrfL3Status->skipRoute6Review();
    return skip && routingActive();
  }
  void actuallyDisableRouting();
  bool fullyDisabled() const;
  void syncRoutingStateOnInit();
  // What the routes are programmed under now (uRPF, exact-match lengths).
  RouteProgrammingRecord programmingRecord() const;
  // Tells the platform the record when it changed.
  void doRecordProgramming();
  void maybeEndOfSync();
  void maybeAckSequence();
  bool resourceFull() const;

  VrfRoot* vrfRoot_;
  VrfId vrfId_;
  Inputs in_;

  Vix::Seconds quillYieldTime_ = 0.05;
  Vix::Seconds deletionDelay_ = 0;
  uint64_t maxRoutes_ = 0;
  bool parentDropRoute_ = false;
  bool icmpUnreachable_ = false;
  bool greKeyForwarding_ = false;
  Vix::Ptr<Routing::Hardware::Config const> hwConfig_;

  bool routingEnabled_ = false;
  bool deferredRoutingEnabled_ = false;
  // Routing came on once, or a uRPF start switched it off: no more deferral.
  bool deferralOver_ = false;
  Vix::Seconds lastRoutingEnabledTime_ = 0;
  Vix::Seconds lastRoutingDisabledTime_ = 0;
  bool disabling_ = false;
  bool batchMode_ = false;
  bool envVarInitialized_ = false;
  bool reviewComplete_ = false;
  bool adjSmWoken_ = false;
  bool nexthopGroupRouteReviewStart_ = false;
  bool reviewPendingBump_ = false;
  bool resourceFullSeen_ = false;
  // The platform refused a hand-over since the last unprogrammed round
  // started: only then is a timed retry worth it (routes waiting for their
  // FEC are woken by the FEC).
  bool refusedSincePass_ = false;
  // The unprogrammed pass found the resources full: the rest of its round
  // waits for them.
  bool fullAgain_ = false;
  size_t processedInPass_ = 0;
  // When the deletion the last deletion pass stopped at is due.
  Vix::Seconds nextDeletionDue_ = 0;

  Vix::HashMap<Prefix, FibRoute> fibRoute_;
  RouteRestartSyncT<AF> restartSync_{tf(), vrfId_};
  Vix::HashMap<Prefix, uint64_t> deferredAdjCreation_;
  Vix::HashMap<Prefix, bool> overflowRoutesForReview_;
  // The exact-match lengths the routes were last placed by.
  Vix::HashMap<Routing::RoutesInExactMatch, bool> lastExactMatch_;
  // The routes attached to each FEC's adjacency, for prefix walks.
  Vix::HashMap<uint64_t, FecPrefixList<Prefix>> fecPrefixes_;
  // Routes whose FEC is not in the FEC table yet, by FEC.
  Vix::HashMap<FecId, std::vector<Prefix>> waitingForFec_;
  RoutingTrieT<AF> trie_;
  RoutingTrieT<AF> aggregateTrie_;
  AdjInfoPool adjInfoPool_;
  RouteCountsT<AF> counts_{in_.vrfL3Status, in_.l3Status};
  uint64_t lastProcessedSeq_ = 0;

  uint64_t updatesSeen_ = 0;
  uint64_t updatesProcessed_ = 0;
  uint64_t dispatchCount_ = 0;
  uint64_t yieldBeforeFinishingCount_ = 0;
  Vix::Seconds timeUsed_ = 0;
  std::function<void(Prefix const&)> reviewHook_;

  std::unique_ptr<Quill::SlicedReader<RouteStatus>> reader_;
  Vix::ReactorSet<RouteSmT> vixReactors_{this};
  // Lanes of the review: the default route first, next-hop-group routes
  // only once every other route is done.
  static constexpr size_t kDefaultLane = 0, kRoutesLane = 1, kNhgLane = 2;
  ReviewLoop review_;
  // One retry lane: the routes the chip refused or that wait for their FEC.
  ReviewLoop unprogrammedRoute_;
  // One lane: deleted routes and their deletion times, in deletion order
  // (the delay is one value, so the order is the order of their times).
  Vix::ReviewLoop<Prefix, Vix::Seconds> deletions_;
  // One retry lane: hand-over removals the chip refused.
  ReviewLoop refusedDeletions_;
  // Once per turn of the loop: acknowledges the sequence, wakes the
  // review-pending consumers, checks the end of the initial sync.
  Vix::Clock pendingClock_;
};

extern template class RouteSmT<Nollo::Ipv4>;
extern template class RouteSmT<Nollo::Ipv6>;

}  // namespace Kor
