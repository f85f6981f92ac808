#include "kor/adj/NeighIntfSmT.h"

#include <vector>

#include "kor/adj/NeighSmT.h"
#include "kor/common/KorCommonSmData.h"

namespace Kor {

template <class AF>
class NeighIntfSmT<AF>::VixFdbStatus : public Vix::NestedReactor<NeighIntfSmT<AF>, typename Bridging::FdbStatus::Notifiee> {
 public:
  void handleLearnedHost(Nollo::EthAddr const& mac) override {
    if (this->notifier()->learnedHostHas(mac)) this->sm_->handleFdbEntry(mac);
    else this->sm_->doDeleteFdbEntry(mac);
  }
};

template <class AF>
class NeighIntfSmT<AF>::VixVxlanFdbStatus : public Vix::NestedReactor<NeighIntfSmT<AF>, typename Vxlan::VxlanFdbStatus::Notifiee> {
 public:
  void handleRemoteVtep(Vxlan::MacVlan const& macVlan) override { this->sm_->handleVxlanFdbEntry(macVlan); }
};

template <class AF>
NeighIntfSmT<AF>::NeighIntfSmT(NeighSmT<AF>* neighSm, Nollo::IntfId intfId, VlanId vlanId)
    : KorBaseSm(neighSm->acsd(), neighSm->className()), neighSm_(neighSm), intfId_(intfId), vlanId_(vlanId) {
  vixFdbStatus_ = vixReactors_.template add<VixFdbStatus>();
  vixVxlanFdbStatus_ = vixReactors_.template add<VixVxlanFdbStatus>();
}

template <class AF>
NeighIntfSmT<AF>::~NeighIntfSmT() = default;

template <class AF>
bool NeighIntfSmT<AF>::routedPort() const {
  auto port = intfId_.parentIntf();
  return port.isEthernet() || port.isPortChannel();
}

template <class AF>
bool NeighIntfSmT<AF>::validL3Intf() const {
  return intfId_.isVlan() || routedPort();
}

template <class AF>
typename NeighIntfSmT<AF>::ReverseInfo const* NeighIntfSmT<AF>::reverseArp(Nollo::EthAddr const& mac) const {
  auto it = reverseArp_.find(mac);
  return it == reverseArp_.end() ? nullptr : &it->second;
}

template <class AF>
void NeighIntfSmT<AF>::handleInitialized() {
  if (!neighSm_->initialized()) {
    KOR_TRACE(5, "ArpSm still not initialized. Returning");
    return;
  }
  doUpdateFdbStatus();
}

template <class AF>
void NeighIntfSmT<AF>::addArpEntry(Addr const& ip, Nollo::EthAddr const& mac) {
  if (!validL3Intf()) {
    KOR_TRACE(5, (isV4 ? "Skipping arp update - no valid l3 interface present"
                       : "Skipping neighbor update - no valid l3 interface present")
                     << ", intf: " << intfId_);
    return;
  }
  doAddArpEntry(ip, mac);
}

template <class AF>
void NeighIntfSmT<AF>::doAddArpEntry(Addr const& ip, Nollo::EthAddr const& mac) {
  KOR_TRACE(5, "doAddArpEntry" << ", intf: " << intfId_ << ", vlan: " << vlanId_ << ", addr: " << ip
                               << ", mac: " << mac << ", fdb: " << (fdbStatus_ ? fdbStatus_->name() : "none")
                               << ", entryType "
                               << (fdbStatus_ && fdbStatus_->learnedHostHas(mac)
                                       ? str(fdbStatus_->learnedHost(mac).entryType)
                                       : std::string("none")));
  if (auto it = ipAddrCache_.find(ip); it != ipAddrCache_.end() && it->second != mac) {
    KOR_TRACE(5, "Found old (stale) arp entry. Deleting it");
    Nollo::EthAddr old = it->second;
    if (auto rev = reverseArp_.find(old); rev != reverseArp_.end()) {
      rev->second.ipAddrDel(ip);
      if (!rev->second.ipAddrs()) reverseArp_.erase(rev);
    }
    KOR_TRACE(5, "Removed Ip " << ip << " from reverse Arp of " << old);
  }

  auto const& table = neighSm_->arpEntryTable();
  if (auto* entry = table->entry(ip)) {
    if (entry->intf(intfId_)) {
      KOR_TRACE(9, "Arp dir entry already present");
    } else {
      KOR_TRACE(5, "Found arp dir entry for a different intf");
      entry->intfIs(intfId_);
    }
  } else {
    KOR_TRACE(5, "Arp dir entry not found: creating a new one");
    table->entryIs(ip, intfId_);
  }

  ipAddrCache_[ip] = mac;
  reverseArp_[mac].ipAddrIs(ip);
  KOR_TRACE(9, "Added IP " << ip << " to reverse Arp for " << mac);

  auto info = nextHopInfoFor(ip, mac);
  if (!info) {
    // The egress cannot be said yet (VXLAN host without a usable VTEP): the
    // published info stays unless it names another MAC, which is gone.
    auto cur = neighSm_->nextHopList(ip);
    if (cur && cur->nextHopInfoHas(vlanId_) && cur->nextHopInfo(vlanId_).ethAddr() != mac)
      nextHopInfoIs(ip, vlanId_, std::nullopt);
    return;
  }
  nextHopInfoIs(ip, vlanId_, info);
}

template <class AF>
std::optional<NextHopInfo> NeighIntfSmT<AF>::nextHopInfoFor(Addr const& ip, Nollo::EthAddr const& mac) {
  if (routedPort()) {
    Nollo::IntfId port = intfId_.parentIntf();
    KOR_TRACE(9, "Routed port: " << port);
    if (port.isPortChannel()) {
      KOR_TRACE(9, "Created nextHopInfo for port channel");
      return NextHopInfo(NextHopType::portChannel, port, mac);
    }
    KOR_TRACE(9, "Created nextHopInfo for physicalport");
    return NextHopInfo(NextHopType::physicalPort, port, mac);
  }
  KOR_TRACE(9, "Interface: " << intfId_);
  if (!fdbStatus_ || !fdbStatus_->learnedHostHas(mac)) {
    KOR_TRACE(9, "No fdb entry - created nextHopInfo for vlan flooding (vlan " << vlanId_ << ")");
    return NextHopInfo(NextHopType::vlanFloodset, Nollo::IntfId::vlan(vlanId_.value()), mac);
  }
  Nollo::IntfId l2 = fdbStatus_->learnedHost(mac).intf;
  auto const& acsd = this->acsd();
  if (l2.isCpu() || (acsd && acsd->cpuIntfHas(l2))) {
    KOR_TRACE(9, "Created nextHopInfo for CPU intf");
    return NextHopInfo(NextHopType::cpuPort, l2, mac);
  }
  if (l2.isVxlan()) {
    if (!neighSm_->vxlanHwStatusDir()) {
      KOR_TRACE(5, "Missing vxlanHwStatusDir");
      return std::nullopt;
    }
    if (!vxlanFdbStatus_) {
      KOR_TRACE(5, "missing vxlanFdbStatus");
      return std::nullopt;
    }
    Vxlan::MacVlan key{mac, vlanId_.value()};
    if (!vxlanFdbStatus_->remoteVtepHas(key)) {
      KOR_TRACE(5, "missing vxlanFdbEntryIter");
      return std::nullopt;
    }
    Nollo::IpAddr4 vtep = vxlanFdbStatus_->remoteVtep(key);
    KOR_TRACE(9, "vxlan remote Vtep " << vtep);
    if (vtep == Nollo::IpAddr4::ipAddrZero()) {
      korAssert("dstIpAddr != Nollo::IpAddr::ipAddrZero()");
      return std::nullopt;
    }
    // A group or broadcast address cannot be a tunnel's unicast destination.
    if (vtep.isMulticast() || vtep == Nollo::IpAddr4(0xffffffffu)) {
      KOR_TRACE(5, "Skip vxlan update " << ip << " mac " << mac << " vtep " << vtep);
      return std::nullopt;
    }
    KOR_TRACE(9, "Created nextHopInfo for vxlan intf tunnel dst " << vtep);
    return NextHopInfo(NextHopType::ipTunnel, l2, mac, vtep);
  }
  // A MAC learned on a member port leaves through the port channel.
  if (acsd && acsd->portToLagHas(l2)) l2 = acsd->portToLag(l2);
  if (l2.parentIntf().isPortChannel()) {
    KOR_TRACE(9, "Created nextHopInfo for port channel");
    return NextHopInfo(NextHopType::portChannel, l2, mac);
  }
  KOR_TRACE(9, "Created nextHopInfo for physicalport");
  return NextHopInfo(NextHopType::physicalPort, l2, mac);
}

template <class AF>
void NeighIntfSmT<AF>::nextHopInfoIs(Addr const& ip, VlanId vlan, std::optional<NextHopInfo> const& info) {
  auto cur = neighSm_->nextHopList(ip);
  if (info) {
    if (cur && cur->nextHopInfoHas(vlan) && cur->nextHopInfo(vlan) == *info) return;
    KOR_TRACE(5, "NextHopInfo: " << *info << ", addr: " << ip << ", vlan: " << vlan);
    neighSm_->nextHopListIs(ip, cur ? cur->withNextHopInfo(vlan, *info)
                                    : Vix::makePtr<NextHopList>(NextHopList::InfoMap{{vlan, *info}}));
    return;
  }
  if (!cur || !cur->nextHopInfoHas(vlan)) return;
  KOR_TRACE(5, "Deleting vlan " << vlan << " from next hop list for " << ip);
  auto rest = cur->withoutNextHopInfo(vlan);
  if (!rest->nextHopInfoSize()) {
    KOR_TRACE(5, "Deleting next hop list for " << ip);
    neighSm_->nextHopListIs(ip, nullptr);
    return;
  }
  neighSm_->nextHopListIs(ip, rest);
}

template <class AF>
void NeighIntfSmT<AF>::doDeleteArpEntry(Addr const& ip) {
  KOR_TRACE(5, "doDeleteArpEntry, intf: " << intfId_ << ", addr: " << ip);
  auto const& table = neighSm_->arpEntryTable();
  auto* entry = table->entry(ip);
  if (!entry) {
    KOR_TRACE(5, "Arp dir entry not found");
    return;
  }
  if (!(entry->intfs() > 0)) korAssert("entry->intfs() > 0");
  if (!entry->intf(intfId_)) korAssert("entry->intf( intfId() )");
  if (entry->intfs() == 1) {
    KOR_TRACE(5, "Arp dir entry found (Intfs: 1)");
    table->entryDel(ip);
  } else {
    KOR_TRACE(5, "Arp dir entry found (Intfs: " << entry->intfs() << ")");
    entry->intfDel(intfId_);
  }
  if (auto it = ipAddrCache_.find(ip); it != ipAddrCache_.end()) {
    if (auto rev = reverseArp_.find(it->second); rev != reverseArp_.end()) {
      rev->second.ipAddrDel(ip);
      if (!rev->second.ipAddrs()) reverseArp_.erase(rev);
    }
    ipAddrCache_.erase(it);
  }
  nextHopInfoIs(ip, vlanId_, std::nullopt);
}

template <class AF>
void NeighIntfSmT<AF>::reResolve(Nollo::EthAddr const& mac) {
  auto const* rev = reverseArp(mac);
  if (!rev) return;
  // Copied: re-resolution rewrites the reverse map it walks.
  std::vector<Addr> ips(rev->ipAddrSet().begin(), rev->ipAddrSet().end());
  for (auto const& ip : ips) doAddArpEntry(ip, mac);
}

template <class AF>
void NeighIntfSmT<AF>::handleFdbEntry(Nollo::EthAddr const& mac) {
  KOR_TRACE(5, "handleFdbEntry, intf: " << intfId_ << ", mac: " << mac);
  reResolve(mac);
}

template <class AF>
void NeighIntfSmT<AF>::doDeleteFdbEntry(Nollo::EthAddr const& mac) {
  KOR_TRACE(5, "doDeleteFdbEntry, intf: " << intfId_ << ", mac: " << mac);
  reResolve(mac);
}

template <class AF>
void NeighIntfSmT<AF>::handleVxlanFdbEntry(Vxlan::MacVlan const& macVlan) {
  if (macVlan.vlan != vlanId_.value()) return;
  KOR_TRACE(5, "handleVxlanFdbEntry, intf: " << intfId_ << ", " << macVlan);
  reResolve(macVlan.mac);
}

template <class AF>
void NeighIntfSmT<AF>::handleLagMembership(Nollo::IntfId const& port) {
  if (!fdbStatus_) return;
  std::vector<Nollo::EthAddr> macs;
  for (auto const& [mac, rev] : reverseArp_)
    if (fdbStatus_->learnedHostHas(mac) && fdbStatus_->learnedHost(mac).intf == port) macs.push_back(mac);
  for (auto const& mac : macs) reResolve(mac);
}

template <class AF>
bool NeighIntfSmT<AF>::bindFdbStatus() {
  Vix::Ptr<Bridging::FdbStatus const> fdb;
  if (!routedPort() && neighSm_->bridgingStatus()) fdb = neighSm_->bridgingStatus()->fdbStatus(vlanId_.value());
  KOR_TRACE(5, "New fdbStatus: " << (fdb ? fdb->name() : "none")
                                 << ", current: " << (fdbStatus_ ? fdbStatus_->name() : "none"));
  Vix::Ptr<Vxlan::VxlanFdbStatus const> vx;
  if (!routedPort()) {
    if (auto const& dir = neighSm_->vxlanHwStatusDir()) {
      vx = dir->vxlanFdbStatus();
      KOR_TRACE(5, "New Vxlan fdbStatus: " << (vx ? vx->name() : "none"));
    } else {
      KOR_TRACE(9, "Missing vxlanHwStatusDir");
    }
  }
  bool changed = fdb != fdbStatus_ || vx != vxlanFdbStatus_;
  if (fdb != fdbStatus_) {
    fdbStatus_ = fdb;
    vixFdbStatus_->notifierIs(fdb);
  }
  if (vx != vxlanFdbStatus_) {
    vxlanFdbStatus_ = vx;
    vixVxlanFdbStatus_->notifierIs(vx);
  }
  return changed;
}

template <class AF>
void NeighIntfSmT<AF>::reResolveAll() {
  std::vector<std::pair<Addr, Nollo::EthAddr>> all(ipAddrCache_.begin(), ipAddrCache_.end());
  for (auto const& [ip, mac] : all) doAddArpEntry(ip, mac);
}

template <class AF>
void NeighIntfSmT<AF>::doUpdateFdbStatus() {
  if (bindFdbStatus()) reResolveAll();
}

template <class AF>
void NeighIntfSmT<AF>::vlanIdIs(VlanId vlan) {
  if (vlan == vlanId_) return;
  KOR_TRACE(5, "vlanIdIs, intf: " << intfId_ << ", vlan: " << vlanId_ << " -> " << vlan);
  // Every address leaves the old VLAN before it is resolved in the new one,
  // so no list ever carries this interface under two VLANs.
  for (auto const& [ip, mac] : ipAddrCache_) nextHopInfoIs(ip, vlanId_, std::nullopt);
  vlanId_ = vlan;
  bindFdbStatus();
  reResolveAll();
}

template <class AF>
unsigned NeighIntfSmT<AF>::verify() {
  unsigned faults = 0;
  auto fault = [&](std::string const& what) {
    ++faults;
    KOR_VERIFY_REPORT(KorTypes::verifyFail, what);
  };
  auto const& table = neighSm_->arpEntryTable();
  for (auto const& [ip, mac] : ipAddrCache_) {
    auto const* rev = reverseArp(mac);
    if (!rev || !rev->ipAddr(ip)) fault(intfId_.str() + " " + ip.str() + " missing from reverse arp of " + mac.str());
    auto const* entry = table ? table->entry(ip) : nullptr;
    if (!entry || !entry->intf(intfId_)) fault(intfId_.str() + " " + ip.str() + " missing from the arp directory");
    auto l = neighSm_->nextHopList(ip);
    if (l && l->nextHopInfoHas(vlanId_) && l->nextHopInfo(vlanId_).ethAddr() != mac)
      fault(intfId_.str() + " " + ip.str() + " next hop carries " + l->nextHopInfo(vlanId_).ethAddr().str());
  }
  for (auto const& [mac, rev] : reverseArp_)
    for (auto const& ip : rev.ipAddrSet())
      if (auto it = ipAddrCache_.find(ip); it == ipAddrCache_.end() || it->second != mac)
        fault(intfId_.str() + " reverse arp of " + mac.str() + " holds stale " + ip.str());
  return faults;
}

template <class AF>
void NeighIntfSmT<AF>::doCleanup() {
  KOR_TRACE(5, "doCleanup, intf: " << intfId_);
  std::vector<Addr> ips;
  for (auto const& [ip, mac] : ipAddrCache_) ips.push_back(ip);
  for (auto const& ip : ips) doDeleteArpEntry(ip);
  vixFdbStatus_->notifierIs(nullptr);
  vixVxlanFdbStatus_->notifierIs(nullptr);
  fdbStatus_ = nullptr;
  vxlanFdbStatus_ = nullptr;
}

template class NeighIntfSmT<Nollo::Ipv4>;
template class NeighIntfSmT<Nollo::Ipv6>;

}  // namespace Kor
