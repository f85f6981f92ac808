#pragma once
// The adjacency machine of one VRF (trace "KorAdjSm"), created and owned by
// the VRF's VrfRoot. It turns the FECs of the VRF's FIB tables into AdjEntry
// records (VrfL3Status::adjEntryList) and, through the L2 adjacency helper,
// into shared L2 adjacencies.
//
// The FEC tables are read by one sliced reader per family (Quill::SlicedReader
// on the runtime's review loop): a FEC change is coalesced per FEC id and
// read in passes of at most quillYieldTime, each read only queueing the FEC
// for review. A FEC notified but not yet read counts as queued work
// (adjsForReview), so nothing that waits for the queues to drain - the end of
// the L2 adjacency sync above all - goes on before it has been read.
//
// It never reviews a FEC when told about it: FEC changes, interface link changes (VrfL3Status::adjEntryReviewList) and
// tunnel FECs are queued by FEC id in the three work lanes of the review
// loop - linkDownAdjForReview, adjForReview, tunnelForReview - and worked
// off by timer-driven passes that walk them in that order under one deadline
// (adjReviewQuanta), yield, and re-arm the timer. A FEC is in at most one of
// the two link queues; the later request wins. The timer is only ever moved
// earlier. Adjacencies whose L2 adjacency is not installed wait in the
// loop's retry lane, unprogrammedAdjList, walked after the others by the
// same passes. The route machines ask synchronously for a FEC's L2 adjacency index
// (getL2AdjIndex reviews on the spot), attach and detach their prefixes, and
// learn of finished reviews through VrfL3Status::adjEntryReviewCnt. Past its
// routing sync, it tells its owner (reviewDrainedHandler) each time it finds
// its review queues empty: the VRF root ends the L2 adjacency helper's sync
// on the last of these.
//
// A FEC over an ECMP limit - the hardware's maxEcmp, or kMaxPaths, the most
// paths an adjacency can number - is logged and cut to the limit (IPv4) or
// refused (IPv6): a refused FEC without adjacency is isAdjRefused until a
// review finds it within the limit, so its routes wait unprogrammed.
//
// A change of a next hop's layer-2 information (VrfL3Status::nextHopList /
// nextHop6List: neighbour entry, MAC table, VLAN) queues a regular review of
// every adjacency using that next hop (VrfL3Status::nextHopToAdjEntry /
// nextHopToAdj6Entry); interface events reach it as adjEntryReviewList
// entries written by its AdjLinkReviewSm.
//
// Inputs: the VRF's FIB FEC tables (both families), its VrfL3Status (review
// requests, next-hop lists, routing-enabled flags, end of sync),
// L3Status::adjResourceFull,
// the hardware routing capabilities (maxEcmp), the interface VLAN table and
// the external review-request counter.
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <set>
#include <vector>

#include "kor/records/AdjEntry.h"
#include "kor/adj/AdjForReviewInfo.h"
#include "kor/adj/AdjLinkReviewSm.h"
#include "kor/adj/L2AdjHelper.h"
#include "kor/adj/MaxEcmpReviewSm.h"
#include "kor/common/KorBaseSm.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/common/ViaIndex.h"
#include "kor/common/VrfName.h"
#include "kor/records/AdjUpdateType.h"
#include "kor/records/L3Status.h"
#include "kor/adj/NexthopGroupRouteSm.h"
#include "kor/adj/ResilientTableShow.h"
#include "kor/records/VrfId.h"
#include "kor/records/VrfL3Status.h"
#include "models/ip/IntfVlanIdTable.h"
#include "models/nexthopgroup/Status.h"
#include "models/nexthopgroup/WatchedNexthopGroupConfig.h"
#include "models/routing/AdjReviewEvent.h"
#include "models/routing/L3Config.h"
#include "models/routing/hardware/Status.h"
#include "nollo/IpPrefix.h"
#include "nollo/Ipv4.h"
#include "nollo/Ipv6.h"
#include "quill/FecId.h"
#include "quill/ForwardingStatus.h"
#include "quill/SlicedReader.h"
#include "vix/Clock.h"
#include "vix/HashMap.h"
#include "vix/Log.h"
#include "vix/ReviewLoop.h"
#include "vix/ReviewQueue.h"
#include "vix/Time.h"

namespace Kor {

VIX_LOG_EXTERN(ROUTING_MAX_PATHS_EXCEEDED);
VIX_LOG_EXTERN(IP6ROUTING_MAX_PATHS_EXCEEDED);

template <class AF>
class ResilientEcmpSmT;

class KOR_EXPORT AdjSm : public KorBaseSm {
 public:
  using FecId = Quill::Fib::FecId;
  using ReviewQueue = Vix::ReviewQueue<FecId, AdjForReviewInfo>;
  using UnprogrammedQueue = ReviewQueue;
  // Called after each FEC a review pass has handled (tests advance a manual
  // clock here to make a pass run over its quantum).
  using ReviewHook = std::function<void(FecId)>;
  // Called whenever the machine, past its routing sync, finds its review
  // queues empty: its owner learns that every FEC it was told of is reviewed.
  using ReviewDrainedHandler = std::function<void()>;
  // The paths one adjacency holds at most, whatever the hardware's maxEcmp:
  // one ViaIndex each (a via of weight w is w paths).
  static constexpr uint32_t kMaxPaths = ViaIndex::max - ViaIndex::min + 1;

  AdjSm(VrfId vrfId, VrfName const& vrfName, Vix::Ptr<KorCommonSmData> const& acsd,
        Vix::Ptr<Routing::L3Config const> const& l3Config, Vix::Ptr<L3Status> const& l3Status,
        Vix::Ptr<Quill::Fib::ForwardingStatus const> const& forwardingStatus,
        Vix::Ptr<Quill::Fib6::ForwardingStatus const> const& forwarding6Status,
        Vix::Ptr<Routing::Hardware::Status const> const& routingHwStatus, Vix::Ptr<L2AdjHelper> const& l2AdjHelper,
        Vix::Ptr<IntfVlanId::Table const> const& intfVlanIdTable,
        Vix::Ptr<Routing::AdjReviewEvent const> const& adjReviewEvent,
        Vix::Ptr<NexthopGroupRouteSm> const& nexthopGroupRouteSm,
        Vix::Ptr<NexthopGroup::Status const> const& nexthopGroupStatus,
        Vix::Ptr<NexthopGroup::WatchedNexthopGroupConfig> const& watchedNexthopGroupConfig);
  ~AdjSm() override;

  VrfId vrfId() const { return vrfId_; }
  VrfName const& vrfName() const { return vrfName_; }
  Vix::Ptr<L3Status> const& l3Status() const { return l3Status_; }
  Vix::Ptr<VrfL3Status> const& vrfL3Status() const { return vrfL3Status_; }
  Vix::Ptr<Quill::Fib::ForwardingStatus const> const& forwardingStatus() const { return forwardingStatus_; }
  Vix::Ptr<Quill::Fib6::ForwardingStatus const> const& forwarding6Status() const { return forwarding6Status_; }
  Vix::Ptr<Routing::Hardware::Status const> const& routingHwStatus() const { return routingHwStatus_; }
  Vix::Ptr<L2AdjHelper> const& l2AdjHelper() const { return l2AdjHelper_; }

  // Slice of the VRF's FEC-table reading, set by the VRF root's time sharing.
  Vix::Seconds quillYieldTime() const { return quillYieldTime_; }
  void quillYieldTimeIs(Vix::Seconds s);

  Vix::Seconds adjReviewInterval() const { return review_.interval(); }
  void adjReviewIntervalIs(Vix::Seconds s) { review_.intervalIs(s); }
  Vix::Seconds adjReviewQuanta() const { return review_.quantum(); }
  void adjReviewQuantaIs(Vix::Seconds s) { review_.quantumIs(s); }
  Vix::Seconds unprogrammedAdjReviewInterval() const { return review_.retryInterval(); }
  void unprogrammedAdjReviewIntervalIs(Vix::Seconds s) { review_.retryIntervalIs(s); }

  ReviewQueue const& linkDownAdjForReview() const { return review_.lane(kLinkDownLane); }
  ReviewQueue const& adjForReview() const { return review_.lane(kAdjLane); }
  ReviewQueue const& tunnelForReview() const { return review_.lane(kTunnelLane); }
  UnprogrammedQueue const& unprogrammedAdjList() const { return review_.lane(kUnprogrammedLane); }
  std::set<uint64_t> const& creationDeferredAdj() const { return creationDeferredAdj_; }
  Vix::HashMap<uint16_t, Nollo::IntfId> const& vlanIdToL3IntfId() const { return vlanIdToL3IntfId_; }
  // Entries in the three review queues, and the FECs notified but not yet
  // read: each of those becomes a review when it is read.
  size_t adjsForReview() const {
    return review_.size(kLinkDownLane) + review_.size(kAdjLane) + review_.size(kTunnelLane) + fecsUnread();
  }
  size_t fecsUnread() const {
    return (fecReader_ ? fecReader_->pending() : 0) + (fec6Reader_ ? fec6Reader_->pending() : 0);
  }
  using FecReader = Quill::SlicedReader<Quill::Fib::ForwardingStatus>;
  using Fec6Reader = Quill::SlicedReader<Quill::Fib6::ForwardingStatus>;
  // The readers of the FEC tables (null when the table is not given).
  FecReader const* fecReader() const { return fecReader_.get(); }
  Fec6Reader const* fec6Reader() const { return fec6Reader_.get(); }

  bool routingEnabled() const { return routingEnabled_; }
  bool routing6Enabled() const { return routing6Enabled_; }
  bool routingSyncInitialized() const { return routingSyncInitialized_; }
  Vix::Clock const& clock() const { return review_.clock(); }
  // The VRF's resilient ECMP machines, owned here (null when the VRF has none).
  Vix::Ptr<ResilientEcmpSmT<Nollo::Ipv4>> const& resilientEcmpSm() const { return resilientEcmpSm_; }
  Vix::Ptr<ResilientEcmpSmT<Nollo::Ipv6>> const& resilientEcmp6Sm() const { return resilientEcmp6Sm_; }
  void resilientEcmpSmIs(Vix::Ptr<ResilientEcmpSmT<Nollo::Ipv4>> const& sm);
  void resilientEcmp6SmIs(Vix::Ptr<ResilientEcmpSmT<Nollo::Ipv6>> const& sm);
  template <class AF>
  ResilientEcmpSmT<AF>* resilientEcmpSmOf() const;
  // The drop adjacency of IP version 4 or 6 (0 while there is none).
  uint64_t dropAdjIndex(uint8_t ipVersion) const { return ipVersion == 6 ? dropAdj6Index_ : dropAdjIndex_; }
  Vix::Ptr<AdjEntry> adjEntry(uint64_t adjIndex) const;
  Vix::Ptr<AdjLinkReviewSm> const& adjLinkReviewSm() const { return adjLinkReviewSm_; }
  void reviewHookIs(ReviewHook h) { reviewHook_ = std::move(h); }
  void reviewDrainedHandlerIs(ReviewDrainedHandler h) { reviewDrainedHandler_ = std::move(h); }

  // Start-up: waits for the end of the VRF's initial route sync, then reads
  // KOR_ADJ_REVIEW_INTERVAL, the routing flags and the FEC tables.
  void handleInitialized() override;
  // "Adjacencies (n) sitting in review queue", adjacencies without an L2
  // adjacency, FECs without an adjacency.
  void handleVerify() override;
  void hasNotificationActiveIs(bool active) override;

  // Queueing.
  void handleFec(FecId const& fecId);
  void handleFec6(FecId const& fecId);
  void scheduleAdjReview(FecId const& fecId);
  void maybeScheduleAdjReview();
  void removeAdjEntryFromReview(FecId const& fecId);
  // The layer-2 information of a next hop changed.
  template <class AF>
  void handleNextHopList(typename AF::Addr const& addr);

  // The review pass and its steps.
  void runAdjReview();
  bool reviewAdj(FecId const& fecId, uint64_t adjIndex, AdjUpdateType adjUpdateType);
  bool reviewAdj6(FecId const& fecId, uint64_t adjIndex, AdjUpdateType adjUpdateType);
  bool reviewNexthopAdj(FecId const& fecId, uint64_t adjIndex, AdjUpdateType adjUpdateType);
  // A next-hop-group request for the group of the adjacency came or went.
  void handleNexthopGroupRequest(uint64_t adjIndex, bool add);
  // A resilient adjacency (an index of a resilient id space): its machine rebuilds it.
  bool reviewResilientAdj(FecId const& fecId, uint64_t adjIndex, AdjUpdateType adjUpdateType);
  bool reviewResilientAdj6(FecId const& fecId, uint64_t adjIndex, AdjUpdateType adjUpdateType);
  // Called by the resilient machines: sets a resilient adjacency's vias and
  // binds it to its L2 adjacency; queues one for a review.
  template <class AF>
  void doUpdateResilientAdjEntry(Vix::Ptr<AdjEntry> const& adjEntry, Vix::Ptr<AdjViaT<AF>> const& adjVia);
  void doQueueResilientAdjReview(FecId const& adjId, uint8_t ipVersion);
  void createOrUpdateL2Adj(Vix::Ptr<AdjEntry> const& adjEntry, AdjUpdateType adjUpdateType);
  // Leaves the entry's L2 adjacency and deletes the entry; never the drop
  // adjacency of either version. Returns false when the entry was kept.
  bool removeAdjEntryFromL2Adj(Vix::Ptr<AdjEntry> const& adjEntry);
  Vix::Ptr<AdjEntry> handleDropFec(uint8_t ipVersion, FecId const& fecId);
  void handleAdjReviewCompletion(Vix::Ptr<AdjEntry> const& adjEntry);
  void schedulePrefixWalk(Vix::Ptr<AdjEntry> const& adjEntry);

  void handleRoutingEnabled();
  void handleRouting6Enabled();
  // Set by the family's route machine while it defers routing (hands routes
  // over before the VRF's routing first comes on): that family's FECs are
  // reviewed as with routing on, so each route goes to the chip once, with
  // its FEC's L2 adjacency, rather than with none and again when routing
  // comes on.
  void routingDeferredIs(uint8_t ipVersion, bool deferred);
  void handleAdjResourceFull();
  void handleIntfVlanId(Nollo::IntfId const& intfId);

  // Called by the route machines.
  // `fecEntry`, when given, receives the FEC's own adjacency (null when it
  // has none), so the caller need not look it up again.
  uint64_t getL2AdjIndex(FecId const& fecId, FecId const& oldFecId, uint8_t ipVersion, uint64_t syncNextHopId = 0,
                         Vix::Ptr<AdjEntry>* fecEntry = nullptr);
  void addPrefixToAdjEntry(uint64_t adjIndex, Nollo::IpPrefix const& prefix);
  void addPrefixToAdjEntry(uint64_t adjIndex, Nollo::Ip6Prefix const& prefix);
  // The same for an adjacency the caller already holds.
  void addPrefixToAdjEntry(AdjEntry& entry, Nollo::IpPrefix const& prefix);
  void addPrefixToAdjEntry(AdjEntry& entry, Nollo::Ip6Prefix const& prefix);
  void deletePrefixFromAdjEntry(uint64_t adjIndex, Nollo::IpPrefix const& prefix);
  void deletePrefixFromAdjEntry(uint64_t adjIndex, Nollo::Ip6Prefix const& prefix);
  void updatePrefixAdjEntry(Nollo::IpPrefix const& prefix, uint64_t oldAdjIndex, uint64_t newAdjIndex);
  void updatePrefixAdjEntry(Nollo::Ip6Prefix const& prefix, uint64_t oldAdjIndex, uint64_t newAdjIndex);
  bool isAdjCreationDeferred(uint64_t adjIndex) const { return creationDeferredAdj_.count(adjIndex) != 0; }
  // The FEC's last review refused it over an ECMP limit and it has no
  // adjacency (IPv6): its routes cannot be programmed until it changes.
  bool isAdjRefused(uint64_t adjIndex) const { return refusedAdj_.count(adjIndex) != 0; }
  void addReviewPendingPrefix(Nollo::IpPrefix const& prefix, Vix::Ptr<AdjEntry> const& adjEntry);
  void addReviewPendingPrefix6(Nollo::Ip6Prefix const& prefix, Vix::Ptr<AdjEntry> const& adjEntry);
  void removeReviewPendingPrefix(Nollo::IpPrefix const& prefix, Vix::Ptr<AdjEntry> const& adjEntry);
  void removeReviewPendingPrefix6(Nollo::Ip6Prefix const& prefix, Vix::Ptr<AdjEntry> const& adjEntry);
  // The adjacency of a connected subnet on `intf`: one via to the interface
  // itself (next hop unspecified), bound to an L2 adjacency at once.
  template <class AF>
  Vix::Ptr<AdjEntry> doCreateAdjEntryForAttachedRoute(uint64_t adjIndex, Nollo::IntfId intf);

  // "FF4" / "FF6": the FIB's FECs (one, or all when fecId is empty).
  void showFibFecs(std::ostream& os, bool ipv6, std::optional<FecId> fecId) const;
  // "AA3": the adjacency records.
  void showAdjEntries(std::ostream& os, std::optional<uint64_t> adjIndex) const;
  // The bucket tables of the resilient machines (both families).
  void resilientTableShowsAdd(std::vector<ResilientTableShow>& out) const;
  // "AA2": the L2 adjacency records (the L2 adjacency helper prints them).
  void showL2Adjacencies(std::ostream& os, std::optional<uint64_t> l2AdjIndex) const;

 private:
  class VixVrfL3Status;
  class VixL3Status;
  class VixAdjReviewEvent;
  class VixIntfVlanIdTable;

  template <class AF>
  void handleFecT(FecId const& fecId);
  // The resilient adjacencies built from the FEC are reviewed after it.
  void doMaybeHandleResilientFec(FecId const& fecId, uint8_t ipVersion);
  // The visitors of the review lanes.
  Vix::ReviewAction doReviewQueued(FecId const& fecId, AdjForReviewInfo const& info);
  Vix::ReviewAction doRetryUnprogrammed(FecId const& fecId);
  template <class AF>
  bool reviewAdjT(FecId const& fecId, uint64_t adjIndex, AdjUpdateType adjUpdateType);
  template <class AF>
  Vix::Ptr<AdjViaT<AF>> doBuildNexthopGroupVia(NexthopGroup::Group const& group);
  void doReleaseL2AdjOfGroupAdj(Vix::Ptr<AdjEntry> const& entry);
  template <class AF>
  void addAdjViaToAdjEntry(Vix::Ptr<AdjEntry> const& adjEntry, Vix::Ptr<AdjViaT<AF>> const& adjVia);
  void deleteNextHopMappings(Vix::Ptr<AdjEntry> const& adjEntry);
  template <class AF>
  void deleteNextHopMappingsT(FecId const& fecId, AdjViaT<AF> const& adjVia);
  // Adds or removes the FEC in the next hop -> adjacencies set of its family.
  template <class AF>
  void nextHopMappingIs(typename AF::Addr const& nextHop, FecId const& fecId, bool add);
  void intfMappingsIs(Vix::Ptr<AdjEntry> const& adjEntry, std::set<Nollo::IntfId> const& intfs);
  template <class AF>
  void showFibFecT(std::ostream& os, std::optional<FecId> fecId) const;
  template <class AF>
  void showKorAdjVias(std::ostream& os, AdjEntry const& adjEntry) const;
  void showKorAdj(std::ostream& os, AdjEntry const& adjEntry) const;
  std::map<FecId, Vix::Ptr<AdjEntry>> sortedAdjEntries() const;
  uint8_t ipVersionOf(FecId const& fecId) const;
  // Routing on, or deferred (routes handed over before it comes on).
  bool routingEnabledFor(uint8_t ipVersion) const {
    return ipVersion == 6 ? routing6Enabled_ || routing6Deferred_ : routingEnabled_ || routingDeferred_;
  }
  // A group adjacency serves routes of both versions: parked only while
  // both are off, whatever version its review was queued under.
  bool reviewEnabledFor(FecId const& fecId, uint8_t ipVersion) const {
    return fecId.adjType() == Quill::Fib::AdjType::nextHopGroupAdj ? routingEnabledFor(4) || routingEnabledFor(6)
                                                                    : routingEnabledFor(ipVersion);
  }
  void enqueue(size_t lane, FecId const& fecId, AdjForReviewInfo const& info);
  // Queues a regular review: tunnels in their queue, the rest in adjForReview
  // unless a link-down review is already queued.
  void doQueueRegularReview(FecId const& fecId, uint8_t ipVersion);
  // The entry holds the vias of the other IP version (its FEC id was deleted
  // there and added in this one): it sheds them before this version's are built.
  template <class AF>
  Vix::Ptr<AdjEntry> doDropOtherVersion(Vix::Ptr<AdjEntry> const& entry);

  VrfId vrfId_;
  VrfName vrfName_;
  Vix::Ptr<Routing::L3Config const> l3Config_;
  Vix::Ptr<L3Status> l3Status_;
  Vix::Ptr<VrfL3Status> vrfL3Status_;
  Vix::Ptr<Quill::Fib::ForwardingStatus const> forwardingStatus_;
  Vix::Ptr<Quill::Fib6::ForwardingStatus const> forwarding6Status_;
  Vix::Ptr<Routing::Hardware::Status const> routingHwStatus_;
  Vix::Ptr<L2AdjHelper> l2AdjHelper_;
  Vix::Ptr<IntfVlanId::Table const> intfVlanIdTable_;
  Vix::Ptr<Routing::AdjReviewEvent const> adjReviewEvent_;
  Vix::Ptr<NexthopGroupRouteSm> nexthopGroupRouteSm_;
  Vix::Ptr<NexthopGroup::Status const> nexthopGroupStatus_;
  Vix::Ptr<NexthopGroup::WatchedNexthopGroupConfig> watchedNexthopGroupConfig_;

  std::set<uint64_t> creationDeferredAdj_;
  // FECs refused over an ECMP limit that have no adjacency (isAdjRefused).
  std::set<uint64_t> refusedAdj_;
  Vix::HashMap<uint16_t, Nollo::IntfId> vlanIdToL3IntfId_;
  bool routingEnabled_ = false;
  bool routing6Enabled_ = false;
  bool routingDeferred_ = false;
  bool routing6Deferred_ = false;
  bool routingSyncInitialized_ = false;
  Vix::Seconds quillYieldTime_ = 0.05;
  uint64_t dropAdjIndex_ = 0;
  uint64_t dropAdj6Index_ = 0;
  ReviewHook reviewHook_;
  ReviewDrainedHandler reviewDrainedHandler_;
  // Lanes of the review loop, in the order a pass walks them: link-down
  // first (traffic is leaving a dead link), then the rest, then tunnels,
  // whose underlay the earlier entries may have changed; last the retries
  // of uninstalled adjacencies. An entry whose IP version has routing off
  // is kept (parked) until routing or the queues change.
  static constexpr size_t kLinkDownLane = 0, kAdjLane = 1, kTunnelLane = 2, kUnprogrammedLane = 3;
  Vix::ReviewLoop<FecId, AdjForReviewInfo> review_;
  Vix::Ptr<AdjLinkReviewSm> adjLinkReviewSm_;
  // Re-reviews the FECs over a changed maxEcmp.
  std::unique_ptr<MaxEcmpReviewSm> maxEcmpReviewSm_;

  Vix::ReactorSet<AdjSm> vixReactors_{this};
  // The FEC tables' readers: sliced readers, not nested reactors (they take
  // the loop and the slice), so registered by hand.
  std::unique_ptr<FecReader> fecReader_;
  std::unique_ptr<Fec6Reader> fec6Reader_;
  // Last, so they go first: they read this machine's records as they go.
  Vix::Ptr<ResilientEcmpSmT<Nollo::Ipv4>> resilientEcmpSm_;
  Vix::Ptr<ResilientEcmpSmT<Nollo::Ipv6>> resilientEcmp6Sm_;
};

}  // namespace Kor
