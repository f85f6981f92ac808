#include "kor/adj/AdjLinkReviewSm.h"

#include "kor/adj/L2AdjHelper.h"
#include "kor/records/NextHopList.h"

namespace Kor {

class AdjLinkReviewSm::VixAllIntfStatusDir : public Vix::NestedReactor<AdjLinkReviewSm, Interface::AllIntfStatusDir::Notifiee> {
 public:
  void handleIntfStatus(Nollo::IntfId const& intf) override { sm_->handleIntfStatus(intf); }
};

class AdjLinkReviewSm::VixKorCommonSmData : public Vix::NestedReactor<AdjLinkReviewSm, KorCommonSmData::Notifiee> {
 public:
  void handleLagToPort(Nollo::IntfId const& lag) override { sm_->handleLagToPort(lag); }
};

class AdjLinkReviewSm::VixIntfVlanIdTable : public Vix::NestedReactor<AdjLinkReviewSm, IntfVlanId::Table::Notifiee> {
 public:
  void handleVlanId(Nollo::IntfId const& intf) override { sm_->handleIntfVlanId(intf); }
};

class AdjLinkReviewSm::VixVrfL3Status : public Vix::NestedReactor<AdjLinkReviewSm, VrfL3Status::Notifiee> {
 public:
  void handleNextHopList(Nollo::IpAddr4 const& a) override { sm_->handleNextHopList<Nollo::Ipv4>(a); }
  void handleNextHop6List(Nollo::IpAddr6 const& a) override { sm_->handleNextHopList<Nollo::Ipv6>(a); }
};

class AdjLinkReviewSm::VixL3Status : public Vix::NestedReactor<AdjLinkReviewSm, L3Status::Notifiee> {
 public:
  void handleHwLagIdChange(Nollo::IntfId const& lag) override { sm_->handleHwLagIdChange(lag); }
};

AdjLinkReviewSm::AdjLinkReviewSm(Vix::Ptr<KorCommonSmData> const& acsd, VrfId vrfId,
                                 Vix::Ptr<L3Status> const& l3Status, Vix::Ptr<VrfL3Status> const& vrfL3Status,
                                 Vix::Ptr<L2AdjHelper> const& l2AdjHelper,
                                 Vix::Ptr<IntfVlanId::Table const> const& intfVlanIdTable)
    : KorBaseSm(acsd, "KorAdjLinkReviewSm"), vrfId_(vrfId), l3Status_(Vix::ValidPtr<L3Status>(l3Status)),
      vrfL3Status_(Vix::ValidPtr<VrfL3Status>(vrfL3Status)), l2AdjHelper_(l2AdjHelper) {
  if (l2AdjHelper_) vixReactors_.watch<VixAllIntfStatusDir>(l2AdjHelper_->allIntfStatusDir());
  vixReactors_.watch<VixKorCommonSmData>(acsd);
  vixReactors_.watch<VixIntfVlanIdTable>(intfVlanIdTable);
  vixReactors_.watch<VixVrfL3Status>(vrfL3Status_);
  vixReactors_.watch<VixL3Status>(l3Status_);
  // Next hops resolved before this machine watched the lists.
  for (auto const& kv : vrfL3Status_->nextHopListMap()) handleNextHopList<Nollo::Ipv4>(kv.first);
  for (auto const& kv : vrfL3Status_->nextHop6ListMap()) handleNextHopList<Nollo::Ipv6>(kv.first);
}

AdjLinkReviewSm::~AdjLinkReviewSm() = default;

AdjReviewType AdjLinkReviewSm::linkReviewType(Nollo::IntfId const& intf) const {
  bool up = !l2AdjHelper_ || l2AdjHelper_->isL2IntfUp(intf);
  return up ? AdjReviewType::adjReviewLinkUp : AdjReviewType::adjReviewLinkDown;
}

// A member's link decides its port channel's state as well.
void AdjLinkReviewSm::handleIntfStatus(Nollo::IntfId const& intf) {
  KOR_TRACE(8, "handleIntfStatus vrf: " << vrfId_ << ", intf: " << intf);
  doRequestReview(intf, linkReviewType(intf));
  if (acsd()->portToLagHas(intf)) {
    Nollo::IntfId lag = acsd()->portToLag(intf);
    doRequestReview(lag, linkReviewType(lag));
  }
}

void AdjLinkReviewSm::handleLagToPort(Nollo::IntfId const& lag) {
  KOR_TRACE(8, "handleLagToPort vrf: " << vrfId_ << ", lag: " << lag);
  doRequestReview(lag, linkReviewType(lag));
}

// The VLAN of a routed interface selects the next-hop information its vias
// resolve through: a regular review, not a link event.
void AdjLinkReviewSm::handleIntfVlanId(Nollo::IntfId const& intf) {
  KOR_TRACE(8, "handleIntfVlanId vrf: " << vrfId_ << ", intf: " << intf);
  doRequestReview(intf, AdjReviewType::adjReviewUpdate);
}

// The hardware id is part of the L2 data of every next hop resolved to the
// port channel: a regular review rebuilds it.
void AdjLinkReviewSm::handleHwLagIdChange(Nollo::IntfId const& lag) {
  if (!l3Status_->hwLagIdChangeHas(lag)) return;
  KOR_TRACE(8, "handleHwLagIdChange vrf: " << vrfId_ << ", lag: " << lag);
  doRequestReview(lag, AdjReviewType::adjReviewUpdate);
}

template <class AF>
void AdjLinkReviewSm::handleNextHopList(typename AF::Addr const& addr) {
  Nollo::IpGenAddr nh(addr);
  Vix::Ptr<NextHopList> list;
  if constexpr (AF::version == 6) list = vrfL3Status_->nextHop6List(addr);
  else list = vrfL3Status_->nextHopList(addr);
  std::set<Nollo::IntfId> egress;
  if (list) {
    for (auto const& [vlan, info] : list->nextHopInfoMap())
      if (info.nextHopType() == NextHopType::physicalPort || info.nextHopType() == NextHopType::portChannel)
        egress.insert(info.intfId());
  }
  auto& old = nextHopL2Egress_[nh];
  for (auto const& intf : old) {
    if (egress.count(intf)) continue;
    auto it = l2EgressNextHops_.find(intf);
    if (it == l2EgressNextHops_.end()) continue;
    it->second.erase(nh);
    if (it->second.empty()) l2EgressNextHops_.erase(it);
  }
  for (auto const& intf : egress) l2EgressNextHops_[intf].insert(nh);
  if (egress.empty()) nextHopL2Egress_.erase(nh);
  else old = std::move(egress);
}

template void AdjLinkReviewSm::handleNextHopList<Nollo::Ipv4>(Nollo::IpAddr4 const&);
template void AdjLinkReviewSm::handleNextHopList<Nollo::Ipv6>(Nollo::IpAddr6 const&);

std::set<Nollo::IpGenAddr> AdjLinkReviewSm::l2EgressNextHops(Nollo::IntfId const& intf) const {
  auto it = l2EgressNextHops_.find(intf);
  return it == l2EgressNextHops_.end() ? std::set<Nollo::IpGenAddr>() : it->second;
}

void AdjLinkReviewSm::doRequestReview(Nollo::IntfId const& intf, AdjReviewType type) {
  std::set<Quill::Fib::FecId> fecIds;
  // Adjacencies whose vias leave by the interface. The map is shared by every
  // VRF: only this VRF's own records count.
  if (auto child = l3Status_->intfToAdjEntry(intf)) {
    for (auto const& kv : child->adjEntryMap()) {
      auto const& e = kv.first;
      if (e && e->vrfId() == vrfId_ && vrfL3Status_->adjEntryList(e->fecId()) == e) fecIds.insert(e->fecId());
    }
  }
  // Adjacencies whose next hops are resolved to the interface at layer 2.
  if (auto it = l2EgressNextHops_.find(intf); it != l2EgressNextHops_.end()) {
    for (auto const& nh : it->second) {
      auto set = nh.isV4() ? vrfL3Status_->nextHopToAdjEntry(nh.v4()) : vrfL3Status_->nextHopToAdj6Entry(nh.v6());
      if (set) fecIds.insert(set->fecIds().begin(), set->fecIds().end());
    }
  }
  if (fecIds.empty()) return;
  KOR_TRACE(5, "Intf " << intf << ": " << type << " review of " << fecIds.size() << " adjs");
  for (auto const& fecId : fecIds) vrfL3Status_->adjEntryReviewListIs(fecId, type);
}

}  // namespace Kor
