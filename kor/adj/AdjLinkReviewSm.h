#pragma once
// Turns interface events into review requests for the adjacencies of one VRF
// (trace "KorAdjLinkReviewSm"). Created and owned by that VRF's AdjSm, which
// reacts to every request it writes.
//
// An adjacency depends on two kinds of interface: the layer-3 interfaces its
// vias leave by (L3Status::intfToAdjEntry, kept by AdjSm) and the layer-2
// ports or port channels its next hops are resolved to (the VRF's
// nextHopList / nextHop6List). A link going down or up, a routed port
// changing, a port channel gaining or losing members (the common data's
// lagToPort, or a member's link) or an interface's VLAN changing writes one
// VrfL3Status::adjEntryReviewList entry per adjacency of this VRF that uses
// the interface either way: adjReviewLinkDown / adjReviewLinkUp after the
// interface's new state, adjReviewUpdate for a VLAN change or a change of a
// port channel's hardware id (L3Status::hwLagIdChange, which the platform
// writes and removes at once: a key present when notified is a change).
//
// Owns the layer-2 egress index: interface -> next hops resolved to it, and
// back. Invariant: it holds exactly the physical-port and port-channel
// egresses of the VRF's current next-hop lists.
// Fed by: the interface status directory (through the L2 adjacency helper),
// the common data's lagToPort, the interface VLAN table, the VRF's next-hop
// lists.
#include <map>
#include <memory>
#include <set>

#include "kor/common/KorBaseSm.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/records/AdjReviewType.h"
#include "kor/records/L3Status.h"
#include "kor/records/VrfId.h"
#include "kor/records/VrfL3Status.h"
#include "models/interface/AllIntfStatusDir.h"
#include "models/ip/IntfVlanIdTable.h"
#include "nollo/IntfId.h"
#include "nollo/IpGenAddr.h"
#include "nollo/Ipv4.h"
#include "nollo/Ipv6.h"

namespace Kor {

class L2AdjHelper;

class KOR_EXPORT AdjLinkReviewSm : public KorBaseSm {
 public:
  AdjLinkReviewSm(Vix::Ptr<KorCommonSmData> const& acsd, VrfId vrfId, Vix::Ptr<L3Status> const& l3Status,
                  Vix::Ptr<VrfL3Status> const& vrfL3Status, Vix::Ptr<L2AdjHelper> const& l2AdjHelper,
                  Vix::Ptr<IntfVlanId::Table const> const& intfVlanIdTable);
  ~AdjLinkReviewSm() override;

  // The link state, membership or routed-port flag of `intf` changed.
  void handleIntfStatus(Nollo::IntfId const& intf);
  void handleLagToPort(Nollo::IntfId const& lag);
  void handleIntfVlanId(Nollo::IntfId const& intf);
  void handleHwLagIdChange(Nollo::IntfId const& lag);
  template <class AF>
  void handleNextHopList(typename AF::Addr const& addr);

  // Writes `type` for every adjacency of this VRF that uses `intf`.
  void doRequestReview(Nollo::IntfId const& intf, AdjReviewType type);

  // The next hops whose layer-2 egress is `intf`.
  std::set<Nollo::IpGenAddr> l2EgressNextHops(Nollo::IntfId const& intf) const;

 private:
  class VixAllIntfStatusDir;
  class VixKorCommonSmData;
  class VixIntfVlanIdTable;
  class VixVrfL3Status;
  class VixL3Status;

  template <class AF>
  void doRequestReviewOfNextHop(typename AF::Addr const& addr, AdjReviewType type);
  AdjReviewType linkReviewType(Nollo::IntfId const& intf) const;

  VrfId vrfId_;
  Vix::Ptr<L3Status> l3Status_;
  Vix::Ptr<VrfL3Status> vrfL3Status_;
  Vix::Ptr<L2AdjHelper> l2AdjHelper_;
  std::map<Nollo::IntfId, std::set<Nollo::IpGenAddr>> l2EgressNextHops_;
  std::map<Nollo::IpGenAddr, std::set<Nollo::IntfId>> nextHopL2Egress_;

  Vix::ReactorSet<AdjLinkReviewSm> vixReactors_{this};
};

}  // namespace Kor
