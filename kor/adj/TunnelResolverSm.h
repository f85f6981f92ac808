#pragma once
// Resolves the agent's IP tunnels (trace "KorTunnelResolverSm"): for each
// tunnel interface of the tunnel configuration, the longest match of its
// destination in the route table of its underlay VRF, that route's FEC, the
// FEC's adjacency (AdjEntry) and the adjacency's vias. The vias are handed
// to the L2 adjacency helper (doCreateOrUpdateTunnelL2Info), which builds
// the tunnel's own L2 adjacency from them; adjacencies whose vias leave by
// the tunnel interface then resolve through it (nextHopTunnel paths).
//
// A tunnel is registered with the helper from its first resolution on; when
// its destination loses its route (or the route's FEC has no adjacency) the
// registration stays with an empty underlay - a dropping L2 adjacency, so
// the adjacencies over it leave it out ("No resolved next hops found") -
// until a route comes back. Only a tunnel removed from the configuration
// (or given other end points) leaves the helper.
// The helper knows a tunnel by its end points: interfaces sharing them share
// its registration, and when one leaves, the others are resolved again.
//
// Re-resolution: a change of the tunnel's configuration, of any route of its
// underlay VRF that covers its destination, or a review of the underlay
// FEC's adjacency (VrfL3Status::adjEntryReviewCnt: its vias or its next
// hops' layer-2 data changed) queues the tunnel; a pass of the machine's
// review loop resolves it. Whenever it became resolved or unresolved, or its
// L2 adjacency changed index while resolved, every adjacency whose vias leave by the
// tunnel interface (L3Status::intfToAdjEntry, any VRF) gets an
// adjReviewUpdate entry in its VRF's adjEntryReviewList, which the
// adjacency machine queues in its tunnel lane. A tunnel is resolved when its
// L2 adjacency forwards to a resolved next hop and the chip holds it; one
// the chip refused is retried from the loop's retry lane.
//
// Owns: KorTunnelStatus (one entry per configured tunnel), the per-VRF
// watches of the underlay route tables and VRF statuses.
// Fed by: KorTunnelConfig, the FIB route tables (Ledra::EntityManager),
// L3Status (VRFs), the VRFs' VrfL3Status (adjacencies and their reviews).
#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "kor/adj/L2AdjHelper.h"
#include "kor/adj/TunnelKeyGen.h"
#include "kor/adj/VrfRouteWatch.h"
#include "kor/common/KorBaseSm.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/records/L3Status.h"
#include "models/ledra/EntityManager.h"
#include "models/tunnel/KorTunnelConfig.h"
#include "models/tunnel/KorTunnelStatus.h"
#include "nollo/IntfId.h"
#include "vix/ReviewLoop.h"

namespace Kor {

class KOR_EXPORT TunnelResolverSm : public KorBaseSm, public VrfRouteWatch::Client {
 public:
  TunnelResolverSm(Vix::Ptr<KorCommonSmData> const& acsd, Vix::Ptr<L3Status> const& l3Status,
                   Vix::Ptr<L2AdjHelper> const& l2AdjHelper, Vix::Ptr<Ledra::EntityManager> const& entityManager,
                   Vix::Ptr<Tunnel::KorTunnelConfig const> const& tunnelConfig,
                   Vix::Ptr<Tunnel::KorTunnelStatus> const& tunnelStatus);
  ~TunnelResolverSm() override;

  Vix::Ptr<Tunnel::KorTunnelStatus> const& tunnelStatus() const { return tunnelStatus_; }
  // Tunnels queued for resolution.
  size_t tunnelsForReview() const { return review_.size(0) + review_.size(1); }

  void handleInitialized() override;
  // Every configured tunnel has its status and nothing waits for review.
  void handleVerify() override;

  void handleTunnelConfig(Nollo::IntfId const& intf);
  void handleRoute(std::string const& vrf, Nollo::IpGenAddr const& covered, int len) override;
  void handleAdjEntryReviewCnt(std::string const& vrf, Quill::Fib::FecId const& fecId) override;
  void handleVrf(std::string const& vrf) override;

  // Resolves one tunnel now (the review loop's visitor).
  void doResolve(Nollo::IntfId const& intf);

 private:
  class VixTunnelConfig;

  // What the machine last did with a tunnel.
  struct Resolved {
    TunnelKeyGen key;
    std::string vrf;
    bool registered = false;  // known to the L2 adjacency helper
    bool resolved = false;
    bool refused = false;  // its L2 adjacency forwards but the chip refused it
    uint64_t l2AdjIndex = 0;  // while resolved
    Quill::Fib::FecId fecId;  // the underlay route's FEC (invalid: no route)
  };

  template <class AF>
  void doResolveT(Nollo::IntfId const& intf, Tunnel::TunnelIntfConfig const& cfg, Resolved& r);
  void doUnregister(Nollo::IntfId const& intf, Resolved& r);
  void doReviewUsers(Nollo::IntfId const& intf);
  void doWatchVrfs();
  void enqueue(Nollo::IntfId const& intf);

  Vix::Ptr<L3Status> l3Status_;
  Vix::Ptr<L2AdjHelper> l2AdjHelper_;
  Vix::Ptr<Ledra::EntityManager> entityManager_;
  Vix::Ptr<Tunnel::KorTunnelConfig const> tunnelConfig_;
  Vix::Ptr<Tunnel::KorTunnelStatus> tunnelStatus_;
  std::map<Nollo::IntfId, Resolved> resolved_;
  Vix::ReviewLoop<Nollo::IntfId> review_;
  Vix::ReactorSet<TunnelResolverSm> vixReactors_{this};
  // The underlay VRFs: their routes, adjacency reviews and VrfL3Status.
  VrfRouteWatch vrfWatch_;
};

KOR_EXPORT Vix::Ptr<TunnelResolverSm> tunnelResolverSmFactory(
    Vix::Ptr<KorCommonSmData> const& acsd, Vix::Ptr<L3Status> const& l3Status,
    Vix::Ptr<L2AdjHelper> const& l2AdjHelper, Vix::Ptr<Ledra::EntityManager> const& entityManager,
    Vix::Ptr<Tunnel::KorTunnelConfig const> const& tunnelConfig, Vix::Ptr<Tunnel::KorTunnelStatus> const& tunnelStatus);

}  // namespace Kor
