#pragma once
// The one L2 adjacency helper of the agent (trace "KorL2AdjHelper"), shared
// by the adjacency machines of every VRF. It turns the vias of an adjacency
// into a NextHopL2InfoCollection (reading the VRF's nextHopList /
// nextHop6List and the interface status), binds the adjacency to an
// L2Adjacency holding that collection, and asks the platform (AdjSmHelper)
// to create, update, sync and delete L2 adjacencies, recording each answer as
// the L2 adjacency's state.
//
// Owns: L2 adjacency indexes (nextL2AdjIndex; the slow-receive L2 adjacency
// has its own reserved index and is never deleted), L3Status::l2AdjList,
// L3Status::nextHopsToL2Adj (only L2 adjacencies created or updated with
// sharing allowed are in it; with sharing off it stays empty), and the tunnel
// bookkeeping (tunnel -> adjacencies, adjacency -> tunnels). A tunnel serves
// adjacencies of every VRF, whose indexes are numbered per VRF (FEC ids,
// resilient ids): the bookkeeping knows an adjacency by (VRF, index), so one
// VRF's adjacency leaving a tunnel never takes another VRF's of the same
// index along.
// Invariants: every L2 adjacency in l2AdjList other than the slow-receive one
// is used by at least one adjacency once the caller's operation returns;
// an L2 adjacency is never changed in place while another adjacency uses it.
// Fed by: AdjSm (reviews), the hardware routing configuration (sharing mode),
// L3Status::adjResourceFull (written by the platform), VrfRootSm (the end of
// the initial sync).
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "kor/records/AdjEntry.h"
#include "kor/records/AdjUpdateStatus.h"
#include "kor/records/AdjVia.h"
#include "kor/adj/L2AdjAndUpdateFlag.h"
#include "kor/records/L2AdjType.h"
#include "kor/records/L2Adjacency.h"
#include "kor/records/NextHopL2InfoCollection.h"
#include "kor/adj/TunnelKey.h"
#include "kor/adj/TunnelKeyGen.h"
#include "kor/records/Via.h"
#include "kor/common/KorBaseSm.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/common/KorExport.h"
#include "kor/helpers/AdjSmHelper.h"
#include "kor/records/AdjIntfState.h"
#include "kor/records/AdjUpdateType.h"
#include "kor/records/L3Status.h"
#include "kor/records/RouteType.h"
#include "kor/records/VrfId.h"
#include "models/interface/AllIntfStatusDir.h"
#include "models/routing/hardware/Config.h"

namespace Kor {

class KOR_EXPORT L2AdjHelper : public KorBaseSm {
 public:
  // Index of the slow-receive L2 adjacency; other L2 adjacencies are numbered
  // from firstL2AdjIndex on.
  static constexpr uint64_t kSlowReceiveL2AdjIndex = 1;
  static constexpr uint64_t kFirstL2AdjIndex = 2;

  L2AdjHelper(Vix::Ptr<KorCommonSmData> const& acsd, Vix::Ptr<L3Status> const& l3Status,
              Vix::Ptr<Routing::Hardware::Config const> const& hwConfig,
              Vix::Ptr<Interface::AllIntfStatusDir const> const& allIntfStatusDir,
              Vix::Ptr<KorHelper::AdjSmHelper> const& adjSmHelper);
  ~L2AdjHelper() override;

  Vix::Ptr<L3Status> const& l3Status() const { return l3Status_; }
  Vix::Ptr<KorHelper::AdjSmHelper> const& adjSmHelper() const { return adjSmHelper_; }
  Vix::Ptr<Interface::AllIntfStatusDir const> const& allIntfStatusDir() const { return allIntfStatusDir_; }
  bool adjSharing() const { return adjSharing_; }
  uint64_t nextL2AdjIndex() const { return nextL2AdjIndex_; }
  uint64_t slowReceiveL2AdjIndex() const { return slowReceiveL2AdjIndex_; }
  bool pendingReset() const { return pendingReset_; }
  // How the process ends on a sharing-mode change (std::exit by default).
  void exitFnIs(std::function<void(int)> fn) { exitFn_ = std::move(fn); }

  // Decides the sharing mode from the configuration and loads the L2
  // adjacencies a restarted agent finds in the chip.
  void handleInitialized() override;
  // A change of the configured sharing mode ends the process (status 0)
  // unless SIMULATION_VMID is set; then only pendingReset is set.
  void handleAdjSharing();
  // Compares the chip's L2 adjacencies with l2AdjList (L2AdjChipCheck) and
  // reports each one that disagrees.
  void handleVerify() override;

  // --- Operations of the adjacency machine ---
  bool adjSharingAllowed(AdjEntry const* adjEntry) const;
  Vix::Ptr<L2Adjacency> createL2Adj(NextHopL2InfoCollection const& viaColl, bool allowAdjSharing);
  // Binds adjEntry to the L2 adjacency its vias resolve to (found, shared,
  // updated in place or new) and programs it. True when the binding or the
  // data changed, or the platform was asked again.
  bool updateL2AdjForAdj(AdjEntry& adjEntry, AdjUpdateType adjUpdateType);
  // An L2 adjacency for vias that no adjacency record holds (shared when
  // sharing is on); programmed when new. The caller adds its user.
  Vix::Ptr<L2Adjacency> createL2AdjForAdj(RouteType routeType, VrfId vrfId, L2AdjType l2AdjType,
                                          AdjVia const& adjVia);
  Vix::Ptr<L2Adjacency> createL2AdjForAdj6(RouteType routeType, VrfId vrfId, L2AdjType l2AdjType,
                                           AdjVia6 const& adjVia6);
  NextHopL2InfoCollection doBuildL2AdjViaForAdj(RouteType routeType, VrfId vrfId, L2AdjType l2AdjType,
                                                AdjVia const& adjVia, AdjUpdateType adjUpdateType,
                                                bool calculateBackupVia = true);
  NextHopL2InfoCollection doBuildL2AdjViaForAdj6(RouteType routeType, VrfId vrfId, L2AdjType l2AdjType,
                                                 AdjVia6 const& adjVia6, AdjUpdateType adjUpdateType,
                                                 bool calculateBackupVia = true);
  // Deletes the L2 adjacency when no adjacency uses it (never the slow-receive one).
  void doMaybeDeleteL2Adj(Vix::Ptr<L2Adjacency> const& l2Adj);
  // adjEntry leaves its L2 adjacency (which may go) and its tunnels.
  void doRemoveAdjEntryFromL2Adj(Vix::Ptr<L2Adjacency> const& l2Adj, AdjEntry& adjEntry);
  void doHandleAdjReviewCompletion(Vix::Ptr<L2Adjacency> const& l2Adj, AdjEntry& adjEntry);
  // Recomputes the collection and compares it with the L2 adjacency's.
  bool doVerifyL2Adj(RouteType routeType, VrfId vrfId, AdjVia const& adjVia, L2Adjacency const& l2Adj);
  bool doVerifyL2Adj6(RouteType routeType, VrfId vrfId, AdjVia6 const& adjVia6, L2Adjacency const& l2Adj);
  AdjIntfState isIntfUp(Nollo::IntfId const& intfId, VlanIdOrNone vlan, uint8_t ipVersion,
                        AdjUpdateType adjUpdateType, VrfL3Status const* vrfL3Status) const;
  // Whether a layer-2 egress (a port or a port channel a next hop resolved
  // to) forwards.
  bool isL2IntfUp(Nollo::IntfId const& intfId) const;
  bool isViaNextHopDrop(VrfId vrfId, Via const& via, AdjUpdateType adjUpdateType, RouteType routeType) const;
  bool isVia6NextHopDrop(VrfId vrfId, Via6 const& via, AdjUpdateType adjUpdateType, RouteType routeType) const;

  // --- Platform ---
  void notifyCreateL2Adj(L2Adjacency& l2Adj);
  void notifyUpdateL2Adj(L2Adjacency& l2Adj);
  void notifySyncL2Adj(L2Adjacency& l2Adj, uint64_t index);
  // End of the initial sync of every VRF: L2 adjacencies the chip held from
  // an earlier run and nobody claimed are deleted. Once per helper: later
  // calls do nothing.
  void handleEndOfSync();
  bool syncEnded() const { return syncEnded_; }
  size_t unclaimedChipAdjs() const { return unclaimed_.size(); }
  // The data of the chip's L2 adjacencies of an earlier run that hold
  // bucket paths (resilient tables) and nobody claimed yet, in index order.
  std::vector<NextHopL2InfoCollection> unclaimedBucketTables();

  // --- Tunnels ---
  // The tunnel's own (underlay) L2 adjacency. `create` makes the bookkeeping
  // entry when absent; updateL2Info tells whether the tunnel's L2 data
  // changed since the last lookup with `update` set.
  L2AdjAndUpdateFlag getTunnelL2Info(TunnelKey const& key, bool create, bool update);
  L2AdjAndUpdateFlag getTunnel6L2Info(TunnelKeyGen const& key, bool create, bool update);
  // The tunnel named by key leaves by tunnelIntf over the given underlay vias.
  void doCreateOrUpdateTunnelL2Info(TunnelKey const& key, Nollo::IntfId const& tunnelIntf, VrfId vrfId,
                                    AdjVia const& underlay);
  void doCreateOrUpdateTunnel6L2Info(TunnelKeyGen const& key, Nollo::IntfId const& tunnelIntf, VrfId vrfId,
                                     AdjVia6 const& underlay);
  void doRemoveTunnelL2Info(TunnelKey const& key);
  void doRemoveTunnel6L2Info(TunnelKeyGen const& key);
  void doAddAdjEntryToTunnel(NextHopL2InfoCollection const& viaColl, AdjEntry& adjEntry);
  void doRemoveAdjEntryFromTunnel(Vix::Ptr<L2Adjacency> const& l2Adj, AdjEntry& adjEntry, bool removeUnused);
  void doRemoveUnusedTunnels(AdjEntry& adjEntry);
  // An adjacency of any VRF: its VRF and its index there.
  using VrfAdjKey = std::pair<VrfId, uint64_t>;
  static VrfAdjKey vrfAdjKey(AdjEntry const& e);
  // The adjacencies that resolve through a tunnel; the tunnels of an adjacency.
  std::set<VrfAdjKey> tunnelAdjEntrys(TunnelKeyGen const& key) const;
  std::set<TunnelKeyGen> adjEntryTunnels(VrfAdjKey const& adj) const;
  bool tunnelHas(TunnelKeyGen const& key) const { return tunnel_.count(key) != 0; }

 private:
  class VixHwConfig;
  struct Tunnel {
    Nollo::IntfId intf;
    VrfId vrfId;
    // The underlay's L2 data; its L2 adjacency exists while the tunnel is used.
    NextHopL2InfoCollection underlay;
    Vix::Ptr<L2Adjacency> l2Adj;
    std::set<VrfAdjKey> adjEntrys;
    bool markedForDeletion = false;
    bool l2InfoChanged = false;
  };

  template <class AF>
  NextHopL2InfoCollection doBuildL2AdjViaCollHelper(RouteType routeType, VrfId vrfId, L2AdjType l2AdjType,
                                                    AdjViaT<AF> const& adjVia, AdjUpdateType adjUpdateType,
                                                    bool calculateBackupVia);
  template <class AF>
  bool viaNextHopDrop(ViaT<AF> const& via, RouteType routeType) const;
  template <class AF>
  Vix::Ptr<L2Adjacency> createL2AdjForAdjT(RouteType routeType, VrfId vrfId, L2AdjType l2AdjType,
                                           AdjViaT<AF> const& adjVia);
  template <class AF>
  void doCreateOrUpdateTunnelL2InfoT(TunnelKeyGen const& key, Nollo::IntfId const& tunnelIntf, VrfId vrfId,
                                     AdjViaT<AF> const& underlay);
  NextHopL2InfoCollection buildForAdj(AdjEntry const& adjEntry, AdjUpdateType adjUpdateType);
  L2AdjAndUpdateFlag tunnelL2Info(TunnelKeyGen const& key, bool create, bool update);
  void doRemoveTunnel(TunnelKeyGen const& key);
  void doDeleteTunnelL2Adj(Tunnel& t);
  Vix::Ptr<VrfL3Status> vrfL3Status(VrfId vrfId) const;
  void nextHopsToL2AdjDel(L2Adjacency& l2Adj);
  void platformAnswerIs(L2Adjacency& l2Adj, AdjUpdateStatus status, char const* what);
  void doLoadChipAdjs();
  uint64_t allocateIndex(NextHopL2InfoCollection const& viaColl, bool* claimed);
  static bool isSlowReceive(NextHopL2InfoCollection const& viaColl);
  Vix::Seconds now() const;

  Vix::Ptr<L3Status> l3Status_;
  Vix::Ptr<Routing::Hardware::Config const> hwConfig_;
  Vix::Ptr<Interface::AllIntfStatusDir const> allIntfStatusDir_;
  Vix::Ptr<KorHelper::AdjSmHelper> adjSmHelper_;
  Vix::ReactorSet<L2AdjHelper> vixReactors_{this};
  bool adjSharing_ = true;
  uint64_t nextL2AdjIndex_ = kFirstL2AdjIndex;
  uint64_t slowReceiveL2AdjIndex_ = kSlowReceiveL2AdjIndex;
  bool pendingReset_ = false;
  std::function<void(int)> exitFn_;
  // Chip L2 adjacencies of an earlier run not yet claimed, by their data.
  std::multimap<NextHopL2InfoCollection, uint64_t> unclaimed_;
  // Every index the chip held at load time, claimed or not: never handed out anew.
  std::set<uint64_t> chipHeldIndex_;
  // Indexes claimed from the chip whose first programming is a sync.
  std::set<uint64_t> claimPending_;
  bool chipLoaded_ = false;
  bool syncEnded_ = false;
  std::map<TunnelKeyGen, Tunnel> tunnel_;
  std::map<Nollo::IntfId, TunnelKeyGen> tunnelIntfKey_;
  std::map<VrfAdjKey, std::set<TunnelKeyGen>> adjEntryTunnel_;
};

}  // namespace Kor
