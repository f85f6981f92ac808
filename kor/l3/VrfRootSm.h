#pragma once
// The single root of unicast routing. It creates one VrfRoot per VRF that the
// routing directories announce (see VrfRootSmInputs), hands out VRF ids
// (0 is "default"; 1..MaxVrfs circulate first in, first out through
// freeVrfIndex), deletes VRFs (at once, or after deleteReviewInterval while
// their routing is being switched off), removes stale VRFs of an earlier run,
// announces the end of the initial sync once the last VRF is done, ends the
// L2 adjacency helper's sync once every adjacency machine has reviewed every
// FEC after that (the chip's unclaimed L2 adjacencies go), shares
// the shared-memory reading time among VRFs, runs the fast-boot priority
// schedule, feeds the ARP machines and answers the diagnostic commands.
//
// Programming a VRF into the chip (VrfHelper::vrfCreated) is answered with a
// state, kept on the VrfRoot. A VRF the chip refused waits in
// unprogrammedVrfs: failed or not ready, it is asked again every
// vrfRetryInterval; full, when the platform clears L3Status::vrfResourceFull
// (room came back). Entering and leaving that state is logged once each.
// Its machines run meanwhile: the platform decides what a route of a VRF it
// has not set up means.
//
// Deleting a VRF releases its adjacencies' L2 adjacencies (those nothing
// else uses leave the chip) after its machines stopped, so its routes have
// left the chip first. A restart does not: the next run claims them back.
//
// A VRF announced while no id is free waits unstarted; whatever frees an id
// (a deletion, a stale VRF of an earlier run, a pending delete's review)
// starts the waiting VRFs next, before any later announcement, so the freed
// id goes to a VRF that was waiting for one. A name/id pair of an earlier run
// whose VRF is no longer announced is stale and gives its id back at start.
//
// Resolution requests (doRequestResolution, from the users of next hops
// such as the next-hop request machine) go to the VRF's neighbour machine
// when it has an ARP table to ask; until then - no root yet, or the ARP
// agent has not named the VRF - they wait in "arpDefReqList" /
// "neighDefReqList" and are drained right after the VRF's ARP population. A
// VRF that loses its ARP-table id puts what its machines were asked back
// there; a withdrawn VRF's requests are dropped (its users ask again when it
// comes back).
//
// Invariants: a VRF has a root exactly while L3Status has its VrfL3Status and
// its name/id pair; an id is either in use or in freeVrfIndex, never both;
// each end-of-sync announcement goes out at most once.
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "kor/common/KorBaseSm.h"
#include "kor/l3/FbuPriorityProcessingState.h"
#include "kor/l3/KorArpDef.h"
#include "kor/l3/VrfRoot.h"
#include "kor/l3/VrfRootInfo.h"
#include "kor/l3/VrfRootSmInputs.h"
#include "nollo/IpGenAddr.h"
#include "vix/Clock.h"

namespace Kor {

class VrfRootSmCliCallback;

class KOR_EXPORT VrfRootSm : public KorBaseSm {
 public:
  class Notifiee : public Vix::NotifieeOf<VrfRootSm> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(VrfName, VrfRoot)
    VIX_HANDLER(FreeVrfIndex)
    VIX_KEY_HANDLER(VrfName, PendingDelete)
    VIX_HANDLER(DeleteReviewInterval)
    VIX_HANDLER(VrfCreateCount)
    VIX_HANDLER(VrfDeleteCount)
    VIX_HANDLER(VrfCreationComplete)
    VIX_HANDLER(EndOfV4SyncSent)
    VIX_HANDLER(EndOfV6SyncSent)
    VIX_KEY_HANDLER(VrfName, ArpQuillVrfNameToId)
    VIX_KEY_HANDLER(uint32_t, ArpQuillVrfIdToNameCache)
    VIX_KEY_HANDLER(uint32_t, VrfInfo)
    VIX_KEY_HANDLER(VrfName, CurrentStateOnInit)
    VIX_KEY_HANDLER(VrfName, CurrentIp6StateOnInit)
    VIX_HANDLER(FbuPriorityProcessingState)
    VIX_HANDLER(FbuPriorityProcessingStartDelay)
    VIX_HANDLER(FbuPriorityProcessingV4First)
    VIX_HANDLER(FbuPriorityProcessingEndInterval)
    VIX_HANDLER(FbuRouteProcessQuantaMax)
    VIX_HANDLER(FbuRouteProcessQuantaMin)
    VIX_HANDLER(FbuAdjProcessQuantaMin)
    VIX_HANDLER(Renice)
    VIX_HANDLER(ReniceValue)
    VIX_HANDLER(TotalTimeForRouteUpdates)
  };

  static constexpr Vix::Seconds minTimeSlice = 0.015;
  static constexpr Vix::Seconds maxTimeSlice = 0.05;

  explicit VrfRootSm(VrfRootSmInputs const& inputs);
  ~VrfRootSm() override;

  VrfRootSmInputs const& inputs() const { return in_; }
  Vix::Ptr<L3Status> const& l3Status() const { return in_.l3Status; }

  VIX_ORDERED_MAP(VrfName, Vix::Ptr<VrfRoot>, vrfRoot, VrfRoot)
  VIX_QUEUE(VrfId, freeVrfIndex, FreeVrfIndex)
  VIX_ORDERED_MAP(VrfName, bool, pendingDelete, PendingDelete)
  VIX_ATTR(Vix::Seconds, deleteReviewInterval, DeleteReviewInterval)
  VIX_COUNTER(uint32_t, vrfCreateCount, VrfCreateCount)
  VIX_COUNTER(uint32_t, vrfDeleteCount, VrfDeleteCount)
  VIX_ATTR(bool, vrfCreationComplete, VrfCreationComplete)
  VIX_ATTR(bool, endOfV4SyncSent, EndOfV4SyncSent)
  VIX_ATTR(bool, endOfV6SyncSent, EndOfV6SyncSent)
  VIX_ORDERED_MAP(VrfName, uint32_t, arpQuillVrfNameToId, ArpQuillVrfNameToId)
  VIX_ORDERED_MAP(uint32_t, VrfName, arpQuillVrfIdToNameCache, ArpQuillVrfIdToNameCache)
  // The VRF cache: ARP table VRF id -> the VRF waiting for ARP population.
  VIX_ORDERED_MAP(uint32_t, VrfRootInfo, vrfInfo, VrfInfo)
  // Routing on/off per VRF as announced when the root started.
  VIX_ORDERED_MAP(VrfName, bool, currentStateOnInit, CurrentStateOnInit)
  VIX_ORDERED_MAP(VrfName, bool, currentIp6StateOnInit, CurrentIp6StateOnInit)

 public:
  FbuPriorityProcessingState fbuPriorityProcessingState() const { return fbuPriorityProcessingState_; }
  // Leaving fbuPPInit arms the schedule's timer at once: the kickstart only
  // records that the fast boot is under way, and the change of phase (not the
  // timer handler) lets the IPv4-first phase begin on the next loop turn.
  void fbuPriorityProcessingStateIs(FbuPriorityProcessingState s);
  Vix::Clock const& clock() const { return clock_; }
  Vix::Clock const& fbuPriorityProcessingTimer() const { return fbuPriorityProcessingTimer_; }

  VIX_ATTR(Vix::Seconds, fbuPriorityProcessingStartDelay, FbuPriorityProcessingStartDelay)
  VIX_ATTR(Vix::Seconds, fbuPriorityProcessingV4First, FbuPriorityProcessingV4First)
  VIX_ATTR(Vix::Seconds, fbuPriorityProcessingEndInterval, FbuPriorityProcessingEndInterval)
  VIX_ATTR(Vix::Seconds, fbuRouteProcessQuantaMax, FbuRouteProcessQuantaMax)
  VIX_ATTR(Vix::Seconds, fbuRouteProcessQuantaMin, FbuRouteProcessQuantaMin)
  VIX_ATTR(Vix::Seconds, fbuAdjProcessQuantaMin, FbuAdjProcessQuantaMin)
  // Whether the priority was lowered for the fast boot, and the value to go
  // back to afterwards.
  VIX_ATTR(bool, renice, Renice)
  VIX_ATTR(int, reniceValue, ReniceValue)
  VIX_ATTR(Vix::Seconds, totalTimeForRouteUpdates, TotalTimeForRouteUpdates)

 public:
  Vix::Ptr<KorArpDef<Nollo::Ipv4>> const& arpDef() const { return arpDef_; }
  Vix::Ptr<KorArpDef<Nollo::Ipv6>> const& neighDef() const { return neighDef_; }
  VrfRootSmCliCallback* cliCallback() const { return cliCallback_.get(); }

  void handleInitialized() override;
  // The root's invariants (see the class comment), one report.
  void handleVerify() override;

  VrfRoot* getKorVrfRootFromVrfId(VrfId vrfId) const;
  void createVrf(VrfId vrfId, VrfName const& vrfName, bool hitless);
  void deleteVrf(VrfName const& vrfName);
  void handleVrfCreation(VrfName const& vrfName);
  void handleVrfCreation();
  void handleEndOfSync();
  void handleEndOfV6Sync();
  // An adjacency machine found its review queues empty: the L2 adjacency
  // helper's sync may be over.
  void handleAdjReviewDrained();
  void updateTimeSlices();
  void handleFbuPriorityProcessingTimer();
  // VRFs the chip refused: asked again every vrfRetryInterval.
  std::set<VrfName> const& unprogrammedVrfs() const { return unprogrammedVrfs_; }
  Vix::Seconds vrfRetryInterval() const { return vrfRetryInterval_; }
  void vrfRetryIntervalIs(Vix::Seconds s) { vrfRetryInterval_ = s; }
  Vix::Clock const& vrfRetryClock() const { return vrfRetryClock_; }
  // vrfRetryClock: asks the platform again for the VRFs it failed or found
  // not ready.
  void handleVrfRetry();
  // The platform's VRF table has room again: the VRFs it found full are
  // asked again at once.
  void handleVrfResourceFull();
  void handleArpQuillVrfId(uint32_t id);
  void populateArpInfoOnVrfs(std::vector<VrfName> const& vrfNames);
  // A next hop of a VRF is to be resolved (its user found no neighbour data
  // for it). Served at once by the VRF's neighbour machine of the address's
  // family when the VRF has a root with an ARP-table id; kept in arpDef /
  // neighDef until then - drained right after the VRF's ARP population,
  // dropped when the VRF is withdrawn. A VRF nobody announced: ignored.
  void doRequestResolution(VrfName const& vrfName, Nollo::IpGenAddr const& addr);
  // Told each request a neighbour machine takes: the ARP table's VRF id and
  // the address, for the hosting agent to hand to the ARP agent.
  using ResolutionRequestHandler = std::function<void(uint32_t arpQuillVrfId, Nollo::IpGenAddr const& addr)>;
  void resolutionRequestHandlerIs(ResolutionRequestHandler fn) { resolutionRequestHandler_ = std::move(fn); }
  template <class AF>
  void handleNeighEntry(Quill::Arp::ArpKeyT<AF> const& key);
  // Sets the process's nice value; false when the system refuses.
  bool renice(int value);

  // The command channel: runs one command and returns its output.
  std::string doCommand(int socket, std::string const& text);
  void doShowRoutesUnprogrammed(std::ostream& out, bool allVrf, std::string const& vrf) const;
  void doShowRoutes6Unprogrammed(std::ostream& out, bool allVrf, std::string const& vrf) const;

 private:
  class VixKorCommonSmData;
  template <class T>
  class VixVrfInfoDir;
  class VixRouteStatus;
  class VixArpVrfIdMap;
  class VixL3Status;
  template <class AF>
  class VixArpTable;

  bool announced(VrfName const& vrfName) const;
  void doHandleVrfInfoChange(std::string const& name);
  void doHandleVrfCreation(VrfName const& vrfName, bool hitless);
  void restoreForHitlessRestart();
  void handleStaleVrfsOnInit();
  void doRebindIntfs(VrfName const& vrfName, VrfId vrfId);
  bool freeVrfIndexHas(VrfId id) const;
  // A VRF left unstarted for lack of an id is the next creation once an id
  // is free: each freeing of ids ends here (in name order, while ids last).
  void doStartWaitingVrfs();
  // Asks the platform to program the VRF and records its answer.
  void doProgramVrf(VrfRoot& root);
  // Asks again for the unprogrammed VRFs refused as full (or the others).
  void doRetryVrfs(bool full);
  // The VRF's adjacencies leave their L2 adjacencies, for good.
  void doReleaseAdjacencies(VrfL3Status& status);
  void doScheduleReview();
  void doReviewPendingDelete();
  // Ends the L2 adjacency helper's sync once both end-of-sync announcements
  // went out and every VRF's adjacency machine is past its routing sync with
  // empty review queues.
  void doMaybeEndL2AdjSync();
  template <class AF>
  void doShowUnprogrammed(std::ostream& out, bool allVrf, std::string const& vrf) const;
  // Hands the request to the VRF's neighbour machine; false when the VRF
  // cannot take it yet.
  template <class AF>
  bool doServeRequest(VrfName const& vrfName, typename AF::Addr const& addr);
  // The VRF's deferred requests go to its neighbour machines, if it can take
  // them now.
  void doDrainDeferredRequests(VrfName const& vrfName);
  // The VRF's neighbour machines lose their ARP table: what they were asked
  // waits again.
  void doDeferServedRequests(VrfRoot const& root);
  void doDropDeferredRequests(VrfName const& vrfName);

  VrfRootSmInputs in_;
  FbuPriorityProcessingState fbuPriorityProcessingState_ = FbuPriorityProcessingState::fbuPPInit;
  Vix::Clock clock_;
  Vix::Clock fbuPriorityProcessingTimer_;
  Vix::Clock vrfRetryClock_;
  Vix::Seconds vrfRetryInterval_ = 1.0;
  std::set<VrfName> unprogrammedVrfs_;
  Vix::Ptr<KorArpDef<Nollo::Ipv4>> arpDef_;
  Vix::Ptr<KorArpDef<Nollo::Ipv6>> neighDef_;
  std::unique_ptr<VrfRootSmCliCallback> cliCallback_;
  ResolutionRequestHandler resolutionRequestHandler_;
  bool firstRunDone_ = false;
  Vix::ReactorSet<VrfRootSm> vixReactors_{this};
};

// Creates the VRF root over its inputs (see VrfRootSmInputs for the order and
// which are mandatory: a missing one throws "null ValidPtr"). The agent sets
// initialized on it (or on the common data) once every input is present.
KOR_EXPORT Vix::Ptr<VrfRootSm> vrfRootSmFactory(VrfRootSmInputs const& inputs);

// The VrfRoot of a VRF id, or null.
KOR_EXPORT VrfRoot* getKorVrfRootFromVrfId(Vix::Ptr<VrfRootSm> const& vrfRootSm, VrfId vrfId);

}  // namespace Kor
