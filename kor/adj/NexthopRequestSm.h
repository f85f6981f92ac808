#pragma once
// Answers next-hop requests (trace "KorNexthopRequestSm"): a request, keyed
// by request id, holds a set of next hops and a VRF; its answer is the chip's
// next-hop index and the key of the L2 adjacency the set resolves to
// (Nexthop::NexthopRequestStatus).
//
// Requests with equal next-hop sets in one VRF share one adjacency record
// (AdjEntry) made for them - never a FEC's: its index lies at
// kFirstAdjIndex or above, an id range no FIB writer uses - whose `pbr`
// count is the number of requests using it. Its vias are the requested next
// hops that are neighbours, each leaving by the interface through which the
// VRF's FIB reaches it: the longest route covering it is a connected subnet
// (attached FEC: its interface) or its FEC has a via to that very next hop
// (that via's interface). Any other next hop is left out. The L2 adjacency helper binds the record to an L2 adjacency,
// shared with any other adjacency of equal L2 data. A request is answered
// (non-zero index) while that L2 adjacency forwards to at least one
// resolved next hop and is installed; an L2 adjacency the chip refused waits
// in the retry lane of the machine's review loop.
//
// A requested next hop that is a neighbour but has no layer-2 data yet is
// handed to the resolution request handler (the hosting agent points it at
// VrfRootSm::doRequestResolution, which serves it or keeps it deferred), on
// each resolution of its request; the receiver keeps one request per next
// hop.
//
// Re-resolution: a change of the request, of a requested next hop's layer-2
// data (VrfL3Status::nextHopList / nextHop6List), of a route of the VRF
// covering a requested next hop, or of the VRF itself queues the request.
// The last request of a record released, the record leaves its L2
// adjacency (which goes when nobody else uses it) and is forgotten.
//
// Fed by: NexthopRequestConfig, the VRFs' FIB route and FEC tables
// (Ledra::EntityManager), L3Status and the VRFs' VrfL3Status.
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>

#include "kor/adj/L2AdjHelper.h"
#include "kor/adj/VrfRouteWatch.h"
#include "kor/common/KorBaseSm.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/records/AdjEntry.h"
#include "kor/records/L3Status.h"
#include "models/ledra/EntityManager.h"
#include "models/nexthop/NexthopRequestConfig.h"
#include "models/nexthop/NexthopRequestStatus.h"
#include "vix/ReviewLoop.h"

namespace Kor {

class KOR_EXPORT NexthopRequestSm : public KorBaseSm, public VrfRouteWatch::Client {
 public:
  static constexpr uint64_t kFirstAdjIndex = uint64_t(1) << 55;

  NexthopRequestSm(Vix::Ptr<KorCommonSmData> const& acsd, Vix::Ptr<L3Status> const& l3Status,
                   Vix::Ptr<L2AdjHelper> const& l2AdjHelper, Vix::Ptr<Ledra::EntityManager> const& entityManager,
                   Vix::Ptr<Nexthop::NexthopRequestConfig const> const& requestConfig,
                   Vix::Ptr<Nexthop::NexthopRequestStatus> const& requestStatus);
  ~NexthopRequestSm() override;

  // The adjacency record answering a request (null: none).
  Vix::Ptr<AdjEntry> requestAdj(uint64_t requestId) const;
  size_t requestAdjs() const { return shared_.size(); }
  size_t requestsForReview() const { return review_.size(kWorkLane) + review_.size(kRetryLane); }

  // Told each requested neighbour without layer-2 data: its VRF and address.
  using ResolutionRequestHandler = std::function<void(VrfName const& vrf, Nollo::IpGenAddr const& nextHop)>;
  void resolutionRequestHandlerIs(ResolutionRequestHandler fn) { resolutionRequestHandler_ = std::move(fn); }

  void handleInitialized() override;
  void handleVerify() override;

  void handleRequest(uint64_t requestId);
  void handleNextHop(std::string const& vrf, Nollo::IpGenAddr const& nextHop) override;
  void handleRoute(std::string const& vrf, Nollo::IpGenAddr const& addr, int len) override;
  void handleVrf(std::string const& vrf) override;

 private:
  class VixRequestConfig;

  // One adjacency record and the requests it answers.
  struct Shared {
    Vix::Ptr<AdjEntry> adj;
    std::set<uint64_t> requestIds;
  };

  // Takes the request's current configuration; false when the chip refused
  // its L2 adjacency (retried).
  bool doReview(uint64_t requestId);
  // Rebuilds the record's vias and L2 adjacency and answers its requests;
  // true when the answer is final (nothing refused).
  bool doResolve(Nexthop::NexthopRequest const& req, Shared& s);
  template <class AF>
  void doBuildVias(Nexthop::NexthopRequest const& req, AdjEntry& adj);
  void doRelease(uint64_t requestId);
  void doWatchVrfs();
  void enqueueAll(std::string const& vrf, std::function<bool(Nexthop::NexthopRequest const&)> const& match);

  Vix::Ptr<L3Status> l3Status_;
  Vix::Ptr<L2AdjHelper> l2AdjHelper_;
  Vix::Ptr<Ledra::EntityManager> entityManager_;
  Vix::Ptr<Nexthop::NexthopRequestConfig const> requestConfig_;
  Vix::Ptr<Nexthop::NexthopRequestStatus> requestStatus_;
  std::map<Nexthop::NexthopRequest, Shared> shared_;
  std::map<uint64_t, Nexthop::NexthopRequest> requestOf_;
  uint64_t nextAdjIndex_ = kFirstAdjIndex;
  ResolutionRequestHandler resolutionRequestHandler_;
  static constexpr size_t kWorkLane = 0, kRetryLane = 1;
  Vix::ReviewLoop<uint64_t> review_;
  Vix::ReactorSet<NexthopRequestSm> vixReactors_{this};
  // The VRFs of the requests: their routes, next hops and VrfL3Status.
  VrfRouteWatch vrfWatch_;
};

KOR_EXPORT Vix::Ptr<NexthopRequestSm> nexthopRequestSmFactory(
    Vix::Ptr<KorCommonSmData> const& acsd, Vix::Ptr<L3Status> const& l3Status,
    Vix::Ptr<L2AdjHelper> const& l2AdjHelper, Vix::Ptr<Ledra::EntityManager> const& entityManager,
    Vix::Ptr<Nexthop::NexthopRequestConfig const> const& requestConfig,
    Vix::Ptr<Nexthop::NexthopRequestStatus> const& requestStatus);

}  // namespace Kor
