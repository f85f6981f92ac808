#include "kor/adj/NeighSmT.h"

#include <algorithm>
#include <set>

namespace Kor {

template <class AF>
class NeighSmT<AF>::VixIntfVlanIdTable : public Vix::NestedReactor<NeighSmT<AF>, typename IntfVlanId::Table::Notifiee> {
 public:
  void handleVlanId(Nollo::IntfId const& intf) override {
    if (this->sm_->initialized()) this->sm_->handleInternalVlanId(intf);
  }
};

template <class AF>
class NeighSmT<AF>::VixBridgingStatus : public Vix::NestedReactor<NeighSmT<AF>, typename Bridging::Status::Notifiee> {
 public:
  void handleFdbStatus(uint16_t const& fid) override {
    if (this->sm_->initialized()) this->sm_->handleFdbStatus(fid);
  }
};

template <class AF>
class NeighSmT<AF>::VixVxlanHwStatusDir : public Vix::NestedReactor<NeighSmT<AF>, typename Vxlan::VxlanHwStatusDir::Notifiee> {
 public:
  void handleVxlanFdbStatus() override {
    if (this->sm_->initialized()) this->sm_->handleVxlanFdbStatus();
  }
};

template <class AF>
class NeighSmT<AF>::VixAcsd : public Vix::NestedReactor<NeighSmT<AF>, typename KorCommonSmData::Notifiee> {
 public:
  void handlePortToLag(Nollo::IntfId const& port) override {
    if (this->sm_->initialized()) this->sm_->handleLagMembership(port);
  }
};

template <class AF>
class NeighSmT<AF>::VixArpTable : public Vix::NestedReactor<NeighSmT<AF>, typename ArpTable::Notifiee> {
 public:
  void handleReady() override {
    if (this->sm_->initialized() && this->notifier()->ready()) this->sm_->replay(std::nullopt);
  }
};

template <class AF>
class NeighSmT<AF>::VixVrfL3Status : public Vix::NestedReactor<NeighSmT<AF>, typename VrfL3Status::Notifiee> {
 public:
  void handleNextHopToAdj6Entry(Nollo::IpAddr6 const& addr) override {
    if constexpr (!isV4)
      if (this->sm_->initialized()) this->sm_->handleNextHopUse(addr);
  }
};

template <class AF>
NeighSmT<AF>::NeighSmT(Vix::Ptr<KorCommonSmData> const& acsd, VrfName const& vrfName,
                       Vix::Ptr<VrfL3Status> const& vrfL3Status, Vix::Ptr<Bridging::Status const> const& bridgingStatus,
                       Vix::Ptr<IntfVlanId::Table const> const& intfVlanIdTable,
                       Vix::Ptr<Vxlan::VxlanHwStatusDir const> const& vxlanHwStatusDir,
                       Vix::Ptr<ArpTable const> const& arpTable)
    : KorBaseSm(acsd, isV4 ? "KorArpSm" : "KorIp6NeighborSm"), vrfName_(vrfName), vrfL3Status_(vrfL3Status),
      bridgingStatus_(bridgingStatus), intfVlanIdTable_(intfVlanIdTable), vxlanHwStatusDir_(vxlanHwStatusDir),
      arpTable_(arpTable) {
  vixReactors_.template watch<VixIntfVlanIdTable>(intfVlanIdTable_);
  vixReactors_.template watch<VixBridgingStatus>(bridgingStatus_);
  vixReactors_.template watch<VixVxlanHwStatusDir>(vxlanHwStatusDir_);
  vixReactors_.template watch<VixAcsd>(acsd);
  vixReactors_.template watch<VixArpTable>(arpTable_);
  if constexpr (!isV4) vixReactors_.template watch<VixVrfL3Status>(vrfL3Status_);
}

template <class AF>
NeighSmT<AF>::~NeighSmT() {
  // What this machine published goes with it: the VRF status may outlive it
  // (machines restarted over the same VRF) and nothing else removes it.
  doCleanup();
}

template <class AF>
void NeighSmT<AF>::arpQuillVrfIdIs(uint32_t id) {
  if (id == arpQuillVrfId_) return;
  KOR_TRACE(5, "arpQuillVrfIdIs " << id << ", vrf: " << vrfName_);
  doCleanup();
  arpEntry_.clear();
  arpEntryPerIntf_.clear();
  skippedPing_.clear();
  resolutionRequests_.clear();
  arpQuillVrfId_ = id;
}

template <class AF>
bool NeighSmT<AF>::doRequestResolution(Addr const& a) {
  if (arpQuillVrfId_ == noArpQuillVrfId) korAssert("arpQuillVrfId() != noArpQuillVrfId");
  // Resolved already: the VRF's next-hop list has it.
  if (nextHopList(a)) return false;
  if (!resolutionRequests_.insert(a).second) return false;
  KOR_TRACE(5, "Resolution of " << a << " requested, vrf: " << vrfName_);
  return true;
}

template <class AF>
void NeighSmT<AF>::arpEntryIs(Key const& k, Quill::Arp::ArpEntry const& e) {
  if (k.vrfId() != arpQuillVrfId_) {
    korAssert("entry.vrfId() == arpQuillVrfId()");
    return;
  }
  if (arpEntry_.insert_or_assign(k, e).second) ++arpEntryPerIntf_[k.intf()];
  if (Quill::Arp::isResolved(e.state())) resolutionRequests_.erase(k.addr());
  addArpEntry(k, e);
}

template <class AF>
void NeighSmT<AF>::arpEntryDel(Key const& k) {
  if (!arpEntry_.erase(k)) return;
  if (--arpEntryPerIntf_[k.intf()] == 0) arpEntryPerIntf_.erase(k.intf());
  unskip(k);
  deleteArpEntry(k);
}

template <class AF>
Quill::Arp::ArpEntry NeighSmT<AF>::arpEntry(Key const& k) const {
  auto it = arpEntry_.find(k);
  return it == arpEntry_.end() ? Quill::Arp::ArpEntry() : it->second;
}

template <class AF>
bool NeighSmT<AF>::nextHopUsed(Addr const& addr) const {
  if (!vrfL3Status_) return false;
  if constexpr (isV4) return vrfL3Status_->nextHopToAdjEntryHas(addr);
  else return vrfL3Status_->nextHopToAdj6EntryHas(addr);
}

template <class AF>
bool NeighSmT<AF>::skipUnused(Key const& k, Quill::Arp::ArpEntry const& e) const {
  // Ping neighbours: IPv6 entries the neighbour-discovery agent created from
  // a neighbour's own unsolicited traffic (a ping, a solicitation for us),
  // which it publishes as stale rather than confirmed. They are programmed
  // only once an adjacency uses them as next hop (see handleNextHopUse).
  if constexpr (isV4) {
    return false;
  } else {
    return e.state() == Quill::Arp::ArpState::stale && !nextHopUsed(k.addr());
  }
}

template <class AF>
void NeighSmT<AF>::addArpEntry(Key const& k, Quill::Arp::ArpEntry const& e) {
  if (!initialized() || !arpTableReady()) {
    KOR_TRACE(5, "not initalized/ready" << ", entry: " << k);
    return;
  }
  // An entry without a usable MAC (incomplete, failed) resolves nothing:
  // whatever it resolved before is withdrawn.
  if (!e.resolved()) {
    unskip(k);
    deleteArpEntry(k);
    return;
  }
  if (skipUnused(k, e)) {
    KOR_TRACE(5, "Skip pingneighbor update - not being used" << ", entry: " << k);
    skippedPing_[k.addr()].insert(k.intf());
    return;
  }
  unskip(k);
  auto sm = arpIntfSm(k.intf());
  if (!sm) {
    auto vlan = intfVlanId(k.intf());
    if (!vlan) {
      KOR_TRACE(5, "Ignoring interface with no vlan id: " << k.intf());
      return;
    }
    sm = Vix::makePtr<IntfSm>(this, k.intf(), *vlan);
    arpIntfSm_[k.intf()] = sm;
    sm->initializedIs(true);
  }
  sm->addArpEntry(k.addr(), e.ethAddr());
}

template <class AF>
void NeighSmT<AF>::deleteArpEntry(Key const& k) {
  if (!initialized()) return;
  auto sm = arpIntfSm(k.intf());
  if (sm && sm->ipAddrCacheHas(k.addr())) sm->doDeleteArpEntry(k.addr());
}

template <class AF>
Vix::Ptr<typename NeighSmT<AF>::IntfSm> NeighSmT<AF>::arpIntfSm(Nollo::IntfId const& intf) const {
  auto it = arpIntfSm_.find(intf);
  return it == arpIntfSm_.end() ? nullptr : it->second;
}

template <class AF>
void NeighSmT<AF>::arpIntfSmDel(Nollo::IntfId const& intf) {
  auto sm = arpIntfSm(intf);
  if (!sm) return;
  KOR_TRACE(5, "arpIntfSmDel " << intf);
  sm->doCleanup();
  arpIntfSm_.erase(intf);
}

template <class AF>
std::optional<VlanId> NeighSmT<AF>::intfVlanId(Nollo::IntfId const& intf) const {
  // The table is the authority; a VLAN interface it does not list routes its
  // own VLAN. A table value of 0 means the interface has none (yet).
  if (intfVlanIdTable_ && intfVlanIdTable_->vlanIdHas(intf)) {
    uint16_t v = intfVlanIdTable_->vlanId(intf);
    if (v == 0) return std::nullopt;
    return VlanId(v);
  }
  if (intf.isVlan()) return VlanId(intf.vlanId());
  return std::nullopt;
}

template <class AF>
void NeighSmT<AF>::handleIntfVlanId(Nollo::IntfId const& intf, std::optional<VlanId> oldVlan,
                                    std::optional<VlanId> newVlan) {
  KOR_TRACE(5, "handleIntfVlanId, intf: " << intf << ", old vlan: " << (oldVlan ? oldVlan->value() : 0)
                                          << ", new vlan: " << (newVlan ? newVlan->value() : 0));
  auto sm = arpIntfSm(intf);
  if (!newVlan) {
    KOR_TRACE(5, "Ignoring interface with no vlan id: " << intf);
    arpIntfSmDel(intf);
    return;
  }
  if (sm) {
    sm->vlanIdIs(*newVlan);
    return;
  }
  replay(intf);
}

template <class AF>
void NeighSmT<AF>::handleInternalVlanId(Nollo::IntfId const& intf) {
  auto sm = arpIntfSm(intf);
  std::optional<VlanId> oldVlan;
  if (sm) oldVlan = sm->vlanId();
  std::optional<VlanId> newVlan = intfVlanId(intf);
  if (oldVlan == newVlan && (sm || !newVlan)) return;
  handleIntfVlanId(intf, oldVlan, newVlan);
}

template <class AF>
void NeighSmT<AF>::handleVlanRoutingEnabled(VlanId vlan) {
  KOR_TRACE(5, "handleVlanRoutingEnabled, vlan: " << vlan);
  std::set<Nollo::IntfId> intfs;
  for (auto const& [intf, n] : arpEntryPerIntf_)
    if (intfVlanId(intf) == vlan) intfs.insert(intf);
  for (auto const& intf : intfs) replay(intf);
}

template <class AF>
void NeighSmT<AF>::handleFdbStatus(uint16_t fid) {
  KOR_TRACE(5, "handleFdbStatus, fid: " << fid);
  for (auto const& [intf, sm] : arpIntfSm_)
    if (sm->vlanId().value() == fid) sm->doUpdateFdbStatus();
}

template <class AF>
void NeighSmT<AF>::handleVxlanFdbStatus() {
  for (auto const& [intf, sm] : arpIntfSm_) sm->doUpdateFdbStatus();
}

template <class AF>
void NeighSmT<AF>::handleLagMembership(Nollo::IntfId const& port) {
  KOR_TRACE(5, "handleLagMembership, port: " << port);
  for (auto const& [intf, sm] : arpIntfSm_) sm->handleLagMembership(port);
}

template <class AF>
void NeighSmT<AF>::handleNextHopUse(Addr const& addr) {
  // Entries of addr that vanished from the table meanwhile go; skipped ping
  // neighbours of addr are offered again (programmed now if used).
  for (auto const& [intf, sm] : arpIntfSm_) {
    if (!sm->ipAddrCacheHas(addr) || arpEntryHas(Key(arpQuillVrfId_, addr, intf))) continue;
    KOR_TRACE(5, "Deleting the neighbor entry as it no longer exists" << ", addr: " << addr << ", intf: " << intf);
    sm->doDeleteArpEntry(addr);
  }
  auto it = skippedPing_.find(addr);
  if (it == skippedPing_.end()) return;
  std::set<Nollo::IntfId> intfs = std::move(it->second);
  skippedPing_.erase(it);
  for (auto const& intf : intfs) {
    Key k(arpQuillVrfId_, addr, intf);
    if (auto e = arpEntry_.find(k); e != arpEntry_.end()) addArpEntry(k, e->second);
  }
}

template <class AF>
void NeighSmT<AF>::unskip(Key const& k) {
  if constexpr (!isV4) {
    auto it = skippedPing_.find(k.addr());
    if (it == skippedPing_.end()) return;
    it->second.erase(k.intf());
    if (it->second.empty()) skippedPing_.erase(it);
  }
}

template <class AF>
void NeighSmT<AF>::replay(std::optional<Nollo::IntfId> intf) {
  if (intf && !arpEntryPerIntf_.contains(*intf)) return;
  std::vector<std::pair<Key, Quill::Arp::ArpEntry>> todo;
  for (auto const& [k, e] : arpEntry_) {
    if (intf && k.intf() != *intf) continue;
    todo.emplace_back(k, e);
  }
  // Key order, so that a replay does the same work in the same order every time.
  std::sort(todo.begin(), todo.end(), [](auto const& a, auto const& b) { return a.first < b.first; });
  for (auto const& [k, e] : todo) addArpEntry(k, e);
}

template <class AF>
void NeighSmT<AF>::handleInitialized() {
  KOR_TRACE(1, "handleInitialized, vrf: " << vrfName_ << ", arpQuillVrfId: " << arpQuillVrfId_);
  if (!vrfL3Status_) korAssert("vrfL3Status()");
  if (!arpEntryTable_) arpEntryTable_ = Vix::makePtr<EntryTable>();
  // Entries given before now were kept but not processed.
  replay(std::nullopt);
}

template <class AF>
void NeighSmT<AF>::handleVerify() {
  unsigned faults = 0;
  for (auto const& [intf, sm] : arpIntfSm_) faults += sm->verify();
  if (arpEntryTable_)
    for (auto const& [addr, entry] : arpEntryTable_->entryMap())
      for (auto const& intf : entry.intfSet()) {
        auto sm = arpIntfSm(intf);
        if (sm && sm->ipAddrCacheHas(addr)) continue;
        ++faults;
        KOR_VERIFY_REPORT(KorTypes::verifyFail, "arp directory lists " + addr.str() + " on " + intf.str() +
                                                     " which does not hold it");
      }
  if (!faults) KOR_VERIFY_REPORT(KorTypes::verifySuccess, "vrf " + vrfName_.str() + " neighbours consistent");
}

template <class AF>
void NeighSmT<AF>::doCleanup() {
  while (!arpIntfSm_.empty()) arpIntfSmDel(arpIntfSm_.begin()->first);
}

template <class AF>
Vix::Ptr<NextHopList> NeighSmT<AF>::nextHopList(Addr const& addr) const {
  if (!vrfL3Status_) return nullptr;
  if constexpr (isV4) return vrfL3Status_->nextHopList(addr);
  else return vrfL3Status_->nextHop6List(addr);
}

template <class AF>
void NeighSmT<AF>::nextHopListIs(Addr const& addr, Vix::Ptr<NextHopList> const& l) {
  if (!vrfL3Status_) return;
  bool del = !l || !l->nextHopInfoSize();
  if constexpr (isV4) {
    if (del) vrfL3Status_->nextHopListDel(addr);
    else vrfL3Status_->nextHopListIs(addr, l);
  } else {
    if (del) vrfL3Status_->nextHop6ListDel(addr);
    else vrfL3Status_->nextHop6ListIs(addr, l);
  }
}

template class NeighSmT<Nollo::Ipv4>;
template class NeighSmT<Nollo::Ipv6>;

}  // namespace Kor
