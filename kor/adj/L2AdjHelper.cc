#include "kor/adj/L2AdjHelper.h"

#include <cstdlib>

#include "kor/adj/L2AdjChipCheck.h"
#include "vix/Log.h"

namespace Kor {

VIX_LOG_EVENT(ROUTING_ADJ_SHARING_MODE_CHANGE, 4, "Operating adj sharing mode for agent changed to %d",
              "Adj sharing operating mode changed. Restarting agent", "No action is required.", 0.0);

// Follows the configured sharing mode. Before initialization the mode is not
// decided yet, so a change then is simply read by handleInitialized().
class L2AdjHelper::VixHwConfig : public Vix::NestedReactor<L2AdjHelper, Routing::Hardware::Config::Notifiee> {
 public:
  void handleAdjSharing() override {
    if (sm_->initialized()) sm_->handleAdjSharing();
  }
};

L2AdjHelper::L2AdjHelper(Vix::Ptr<KorCommonSmData> const& acsd, Vix::Ptr<L3Status> const& l3Status,
                         Vix::Ptr<Routing::Hardware::Config const> const& hwConfig,
                         Vix::Ptr<Interface::AllIntfStatusDir const> const& allIntfStatusDir,
                         Vix::Ptr<KorHelper::AdjSmHelper> const& adjSmHelper)
    : KorBaseSm(acsd, "KorL2AdjHelper"), l3Status_(Vix::ValidPtr<L3Status>(l3Status)), hwConfig_(hwConfig),
      allIntfStatusDir_(allIntfStatusDir), adjSmHelper_(Vix::ValidPtr<KorHelper::AdjSmHelper>(adjSmHelper)),
      exitFn_([](int status) { std::exit(status); }) {
  vixReactors_.watch<VixHwConfig>(hwConfig_);
  if (acsd) acsd->verifiableSmAdd(this);
}

void L2AdjHelper::handleVerify() {
  // Chip entries of an earlier run nobody claimed yet are expected until the
  // end of the initial sync deletes them.
  std::set<uint64_t> unclaimed;
  if (!syncEnded_)
    for (auto const& [coll, index] : unclaimed_) unclaimed.insert(index);
  auto faults = L2AdjChipCheck(*l3Status_, *adjSmHelper_).faults(unclaimed);
  for (auto const& f : faults) KOR_VERIFY_REPORT(KorTypes::verifyFail, f);
  if (faults.empty())
    KOR_VERIFY_REPORT(KorTypes::verifySuccess,
                      std::to_string(l3Status_->l2AdjListSize()) + " L2 adjacencies agree with the chip");
}

L2AdjHelper::~L2AdjHelper() = default;

Vix::Seconds L2AdjHelper::now() const {
  return acsd() && acsd()->activityLoop() ? acsd()->activityLoop()->now() : 0.0;
}

Vix::Ptr<VrfL3Status> L2AdjHelper::vrfL3Status(VrfId vrfId) const {
  if (!l3Status_->vrfNameHas(vrfId)) return nullptr;
  return l3Status_->vrfL3Status(l3Status_->vrfName(vrfId));
}

// ---------------------------------------------------------------- sharing mode

void L2AdjHelper::handleInitialized() {
  auto mode = hwConfig_ ? hwConfig_->adjSharing() : Routing::Hardware::AdjSharing::platformDefault;
  if (mode == Routing::Hardware::AdjSharing::on) adjSharing_ = true;
  else if (mode == Routing::Hardware::AdjSharing::off) adjSharing_ = false;
  else adjSharing_ = adjSmHelper_->adjSharingDefault();
  KOR_TRACE(1, "Adj sharing: " << adjSharing_ << ", hwConfig: " << mode);
  if (!chipLoaded_) doLoadChipAdjs();
}

void L2AdjHelper::handleAdjSharing() {
  // Every notification counts as a change: the mode is never switched in a
  // running agent, the agent restarts into it.
  auto mode = hwConfig_ ? hwConfig_->adjSharing() : Routing::Hardware::AdjSharing::platformDefault;
  KOR_TRACE(0, "handleAdjSharing" << ", Old value: " << adjSharing_ << ", new: " << mode);
  ROUTING_ADJ_SHARING_MODE_CHANGE.raise(now(), static_cast<int>(mode));
  if (std::getenv("SIMULATION_VMID")) {
    pendingReset_ = true;
    return;
  }
  exitFn_(0);
}

bool L2AdjHelper::adjSharingAllowed(AdjEntry const* adjEntry) const {
  if (!adjEntry) return adjSharing_;
  if (!adjSharing_) return false;
  if (adjEntry->adjVia6()) return !adjEntry->adjVia6()->noAdjSharing();
  if (adjEntry->adjVia()) return !adjEntry->adjVia()->noAdjSharing();
  return true;
}

// ---------------------------------------------------------------- building

template <class AF>
bool L2AdjHelper::viaNextHopDrop(ViaT<AF> const& via, RouteType routeType) const {
  return routeType == RouteType::dropRoute || via.intfId().isNull();
}

bool L2AdjHelper::isViaNextHopDrop(VrfId, Via const& via, AdjUpdateType, RouteType routeType) const {
  return viaNextHopDrop(via, routeType);
}

bool L2AdjHelper::isVia6NextHopDrop(VrfId, Via6 const& via, AdjUpdateType, RouteType routeType) const {
  return viaNextHopDrop(via, routeType);
}

AdjIntfState L2AdjHelper::isIntfUp(Nollo::IntfId const& intfId, VlanIdOrNone vlan, uint8_t ipVersion,
                                   AdjUpdateType adjUpdateType, VrfL3Status const*) const {
  // Without an interface status source every interface counts as up; with
  // one, an interface it does not list is down.
  bool up = !intfId.isNone() && (!allIntfStatusDir_ || allIntfStatusDir_->operUp(intfId));
  if (!up) {
    KOR_TRACE(5, "Intf " << intfId << ", vlan " << vlan.value() << ", ipv " << int(ipVersion)
                         << ", l2 intf is not valid. IntfUp: " << up << ", update type: " << adjUpdateType);
    if (intfId.isPortChannel())
      KOR_TRACE(5, intfId << " Lag intf is in state intfOperLowerLayerDown: " << !up);
    return AdjIntfState::intfDown;
  }
  return AdjIntfState::intfUp;
}

// A MAC was learned on the egress, so an egress the interface status does not
// list (yet) counts as up; only a reported link-down takes it out. A port
// channel is also down when every member is.
bool L2AdjHelper::isL2IntfUp(Nollo::IntfId const& intfId) const {
  if (!allIntfStatusDir_) return true;
  auto listedDown = [this](Nollo::IntfId const& i) {
    return allIntfStatusDir_->intfStatusHas(i) && !allIntfStatusDir_->intfStatus(i).operUp;
  };
  if (listedDown(intfId)) return false;
  if (intfId.isPortChannel() && acsd() && acsd()->lagToPortHas(intfId)) {
    auto const members = acsd()->lagToPort(intfId);
    bool memberUp = members.ports().empty();
    for (auto const& p : members.ports()) memberUp = memberUp || !listedDown(p);
    if (!memberUp) {
      KOR_TRACE(5, intfId << " Lag intf is in state intfOperLowerLayerDown: " << !memberUp);
      return false;
    }
  }
  return true;
}

namespace {

// The CPU kind of a receive route; a CPU via of any other route punts as nextHopCpu.
NextHopEntryType cpuKind(RouteType routeType) {
  if (routeType == RouteType::slowReceiveRoute) return NextHopEntryType::nextHopCpuSlow;
  if (routeType == RouteType::bcastReceiveRoute) return NextHopEntryType::nextHopCpuBcast;
  return NextHopEntryType::nextHopCpu;
}

bool isReceive(RouteType t) {
  return t == RouteType::receiveRoute || t == RouteType::slowReceiveRoute || t == RouteType::bcastReceiveRoute;
}

}  // namespace

template <class AF>
NextHopL2InfoCollection L2AdjHelper::doBuildL2AdjViaCollHelper(RouteType routeType, VrfId vrfId,
                                                               L2AdjType l2AdjType, AdjViaT<AF> const& adjVia,
                                                               AdjUpdateType adjUpdateType,
                                                               bool calculateBackupVia) {
  constexpr bool isV6 = AF::version == 6;
  NextHopL2InfoCollection coll(l2AdjType);
  coll.ipv6RouteIs(isV6);
  coll.attachedRouteIs(routeType == RouteType::attachedRoute);
  coll.ttlIs(adjVia.ttl());
  coll.greKeyTypeIs(adjVia.greKeyType());
  if (l2AdjType == L2AdjType::nexthopAdj) coll.nextHopGroupSizeIs(adjVia.nextHopGroupSize());
  auto vs = vrfL3Status(vrfId);
  auto intfVlanIdTable = l3Status_->intfVlanIdTable();

  auto addVia = [&](ViaT<AF> const& via) {
    Nollo::IpGenAddr nh(via.nextHop());
    Nollo::IntfId intf = via.intfId();
    NextHopL2Info info;
    if (isReceive(routeType) || intf.isCpu()) {
      info.typeIs(cpuKind(routeType));
      KOR_TRACE(8, (info.type() == NextHopEntryType::nextHopCpuSlow    ? "l2info : next hop CPU slow"
                    : info.type() == NextHopEntryType::nextHopCpuBcast ? "l2info : next hop CPU bcast"
                                                                       : "l2info : next hop CPU"));
    } else if (viaNextHopDrop(via, routeType)) {
      info.typeIs(NextHopEntryType::nextHopDrop);
      KOR_TRACE(8, "l2info : drop");
    } else if (intf.isTunnel()) {
      auto k = tunnelIntfKey_.find(intf);
      if (k == tunnelIntfKey_.end()) {
        KOR_TRACE(5, "Tunnel still unresolved: " << intf);
        return;
      }
      auto r = tunnelL2Info(k->second, false, false);
      // A tunnel L2 adjacency the chip has not taken is no path yet: its
      // resolver retries it and then has this adjacency reviewed again.
      if (!r.l2Adj || !r.l2Adj->via().hasType(NextHopEntryType::nextHopArpResolved) ||
          r.l2Adj->state() != L2AdjState::installed) {
        KOR_TRACE(5, "Tunnel prefix: " << k->second << " No resolved next hops found");
        return;
      }
      // A tunnel's own L2 adjacency carries its underlay's routed paths.
      if (r.l2Adj->via().type() != L2AdjType::routingAdj) korAssert("l2Adj->via().type() == routingAdj()");
      info.typeIs(NextHopEntryType::nextHopTunnel);
      info.intfIdIs(intf);
      if (k->second.isV6()) info.tunnel6L2InfoIs(r.l2Adj->index());
      else info.tunnelL2InfoIs(r.l2Adj->index());
      if (!((info.tunnelL2Info() && !info.tunnel6L2Info()) || (!info.tunnelL2Info() && info.tunnel6L2Info())))
        korAssert("( tunnelL2Info && !tunnel6L2Info ) || ( !tunnelL2Info && tunnel6L2Info )");
    } else {
      // The VLAN the neighbour is resolved on: the via's, a VLAN interface's
      // own, or a routed port's internal VLAN.
      VlanIdOrNone vlan = via.vlanId();
      if (vlan.isNone() && intf.isVlan()) vlan = VlanIdOrNone(intf.vlanId());
      if (vlan.isNone() && intfVlanIdTable && intfVlanIdTable->vlanIdHas(intf))
        vlan = VlanIdOrNone(intfVlanIdTable->vlanId(intf));
      if (isIntfUp(intf, vlan, AF::version, adjUpdateType, vs.ptr()) != AdjIntfState::intfUp) {
        coll.hasDownL3IntfIs(true);
        return;
      }
      Vix::Ptr<NextHopList> list;
      if (vs) {
        if constexpr (isV6) list = vs->nextHop6List(via.nextHop());
        else list = vs->nextHopList(via.nextHop());
      }
      NextHopInfo const* found = nullptr;
      if (list && !vlan.isNone() && list->nextHopInfoHas(vlan.vlanId())) {
        found = &list->nextHopInfoMap().at(vlan.vlanId());
      } else if (list && vlan.isNone() && list->nextHopInfoSize() == 1) {
        found = &list->nextHopInfoMap().begin()->second;
        vlan = list->nextHopInfoMap().begin()->first;
      }
      info.vlanIdIs(vlan);
      info.l3IntfIdIs(intf);
      bool l2Egress = found && (found->nextHopType() == NextHopType::physicalPort ||
                                found->nextHopType() == NextHopType::portChannel);
      if (l2Egress && !isL2IntfUp(found->intfId())) {
        KOR_TRACE(5, "Intf " << found->intfId() << ", vlan " << vlan.value() << ", ipv " << int(AF::version)
                             << ", l2 intf is not valid. IntfUp: " << false << ", update type: " << adjUpdateType);
        coll.hasDownL3IntfIs(true);
        return;
      }
      if (found) {
        info.typeIs(NextHopEntryType::nextHopArpResolved);
        info.macAddrIs(found->ethAddr());
        info.intfIdIs(found->intfId());
        if (found->nextHopType() == NextHopType::portChannel) info.hwLagIdIs(adjSmHelper_->getHwLagId(found->intfId()));
      } else {
        // Not resolved yet: the chip sends to the CPU, which resolves it.
        info.typeIs(NextHopEntryType::nextHopArpRequired);
        info.intfIdIs(intf);
      }
    }
    info.labelsIs(via.labels());
    auto const& paths = coll.nextHop();
    auto it = paths.find(nh);
    if (it == paths.end()) {
      coll.nextHopIs(nh, info);
      return;
    }
    // A repeated via adds to the path's weight; a second via to the same next
    // hop over another path is not programmable beside the first: the first wins.
    NextHopL2Info same = it->second;
    info.weightIs(same.weight());
    if (same == info) {
      same.weightIs(same.weight() + 1);
      coll.nextHopIs(nh, same);
    }
  };

  // Backup vias are programmed only when no primary path is left.
  bool hasBackupVias = false;
  for (auto const& via : adjVia.viaList()) {
    if (via.isBackupVia()) hasBackupVias = true;
    else addVia(via);
  }
  bool primaryForwards = false;
  for (auto const& [nh, info] : coll.nextHop())
    if (info.type() != NextHopEntryType::nextHopDrop) primaryForwards = true;
  if (!primaryForwards && calculateBackupVia && hasBackupVias) {
    if (adjVia.numBackupVias() == 0) korAssert("! ( calculateBackupVia && numBackupVias == 0 )");
    KOR_TRACE(5, "constructing and switching to backup");
    NextHopL2InfoCollection primary = coll;
    for (auto const& [nh, info] : primary.nextHop()) coll.nextHopDel(nh);
    for (auto const& via : adjVia.viaList())
      if (via.isBackupVia()) addVia(via);
  }
  // Member-bitmap vias (a resilient table's members) are primary vias only:
  // a bucket never names a backup.
  if (hasBackupVias && !adjVia.viaBitmapMap().empty()) korAssert("!hasBackupVias");
  for (auto const& [via, bitmap] : adjVia.viaBitmapMap()) {
    // Member-bitmap vias resolve like plain vias, keyed by next hop and bitmap.
    NextHopL2InfoCollection one(l2AdjType);
    std::swap(one, coll);
    addVia(via);
    std::swap(one, coll);
    for (auto const& [nh, info] : one.nextHop()) coll.nextHopBitmapIs({nh, bitmap.words()}, info);
  }

  // A drop path never stands beside paths that forward; with no path at all
  // the adjacency drops.
  Nollo::IpGenAddr dropKey{typename AF::Addr()};
  bool forwards = false;
  for (auto const& [nh, info] : coll.nextHop())
    if (info.type() != NextHopEntryType::nextHopDrop) forwards = true;
  if (forwards) {
    for (auto const& [nh, info] : NextHopL2InfoCollection::NextHopMap(coll.nextHop()))
      if (info.type() == NextHopEntryType::nextHopDrop) coll.nextHopDel(nh);
  } else if (coll.paths() == 0 || coll.hasType(NextHopEntryType::nextHopDrop)) {
    for (auto const& [nh, info] : NextHopL2InfoCollection::NextHopMap(coll.nextHop())) coll.nextHopDel(nh);
    coll.nextHopIs(dropKey, NextHopL2Info(NextHopEntryType::nextHopDrop));
    KOR_TRACE(8, "l2info : drop");
  }
  if (forwards && coll.hasType(NextHopEntryType::nextHopDrop))
    korAssert("!viaColl.nextHopIteratorConst().isMemberOf( dropL2Info )");
  return coll;
}

NextHopL2InfoCollection L2AdjHelper::doBuildL2AdjViaForAdj(RouteType routeType, VrfId vrfId, L2AdjType l2AdjType,
                                                           AdjVia const& adjVia, AdjUpdateType adjUpdateType,
                                                           bool calculateBackupVia) {
  return doBuildL2AdjViaCollHelper(routeType, vrfId, l2AdjType, adjVia, adjUpdateType, calculateBackupVia);
}

NextHopL2InfoCollection L2AdjHelper::doBuildL2AdjViaForAdj6(RouteType routeType, VrfId vrfId, L2AdjType l2AdjType,
                                                            AdjVia6 const& adjVia6, AdjUpdateType adjUpdateType,
                                                            bool calculateBackupVia) {
  return doBuildL2AdjViaCollHelper(routeType, vrfId, l2AdjType, adjVia6, adjUpdateType, calculateBackupVia);
}

NextHopL2InfoCollection L2AdjHelper::buildForAdj(AdjEntry const& adjEntry, AdjUpdateType adjUpdateType) {
  L2AdjType type =
      adjEntry.routeType() == RouteType::nexthopGroupRoute ? L2AdjType::nexthopAdj : L2AdjType::routingAdj;
  // An IPv4 adjacency carries IPv6 vias only for a next-hop group; the vias
  // it holds decide the family.
  if (adjEntry.adjVia6() && !adjEntry.adjVia())
    return doBuildL2AdjViaForAdj6(adjEntry.routeType(), adjEntry.vrfId(), type, *adjEntry.adjVia6(), adjUpdateType);
  if (adjEntry.adjVia())
    return doBuildL2AdjViaForAdj(adjEntry.routeType(), adjEntry.vrfId(), type, *adjEntry.adjVia(), adjUpdateType);
  return doBuildL2AdjViaForAdj(adjEntry.routeType(), adjEntry.vrfId(), type, AdjVia(), adjUpdateType);
}

bool L2AdjHelper::doVerifyL2Adj(RouteType routeType, VrfId vrfId, AdjVia const& adjVia, L2Adjacency const& l2Adj) {
  return doBuildL2AdjViaForAdj(routeType, vrfId, l2Adj.via().type(), adjVia, AdjUpdateType::regularAdjUpdate) ==
         l2Adj.via();
}

bool L2AdjHelper::doVerifyL2Adj6(RouteType routeType, VrfId vrfId, AdjVia6 const& adjVia6,
                                 L2Adjacency const& l2Adj) {
  return doBuildL2AdjViaForAdj6(routeType, vrfId, l2Adj.via().type(), adjVia6, AdjUpdateType::regularAdjUpdate) ==
         l2Adj.via();
}

// ---------------------------------------------------------------- binding

bool L2AdjHelper::isSlowReceive(NextHopL2InfoCollection const& viaColl) {
  return viaColl.paths() == 1 && viaColl.nextHop().size() == 1 &&
         viaColl.nextHop().begin()->second.type() == NextHopEntryType::nextHopCpuSlow;
}

void L2AdjHelper::doLoadChipAdjs() {
  chipLoaded_ = true;
  for (auto const& [index, coll] : adjSmHelper_->heldAdjs()) {
    unclaimed_.emplace(coll, index);
    chipHeldIndex_.insert(index);
  }
  if (!unclaimed_.empty()) KOR_TRACE(1, "L2 adjs held by the chip: " << unclaimed_.size());
}

std::vector<NextHopL2InfoCollection> L2AdjHelper::unclaimedBucketTables() {
  if (!chipLoaded_) doLoadChipAdjs();
  std::map<uint64_t, NextHopL2InfoCollection const*> byIndex;
  for (auto const& [coll, index] : unclaimed_)
    if (!coll.nextHopBitmap().empty()) byIndex.emplace(index, &coll);
  std::vector<NextHopL2InfoCollection> out;
  for (auto const& [index, coll] : byIndex) out.push_back(*coll);
  return out;
}

uint64_t L2AdjHelper::allocateIndex(NextHopL2InfoCollection const& viaColl, bool* claimed) {
  if (!chipLoaded_) doLoadChipAdjs();
  auto u = unclaimed_.find(viaColl);
  if (u != unclaimed_.end() && !l3Status_->l2AdjListHas(L2AdjKey(u->second))) {
    uint64_t index = u->second;
    unclaimed_.erase(u);
    *claimed = true;
    KOR_TRACE(5, "Claiming L2 adj " << index << " from the chip");
    return index;
  }
  if (isSlowReceive(viaColl) && !l3Status_->l2AdjListHas(L2AdjKey(slowReceiveL2AdjIndex_)))
    return slowReceiveL2AdjIndex_;
  // An index the chip still holds for an unclaimed L2 adjacency is skipped.
  while (l3Status_->l2AdjListHas(L2AdjKey(nextL2AdjIndex_)) || chipHeldIndex_.count(nextL2AdjIndex_) ||
         nextL2AdjIndex_ == slowReceiveL2AdjIndex_)
    ++nextL2AdjIndex_;
  return nextL2AdjIndex_++;
}

Vix::Ptr<L2Adjacency> L2AdjHelper::createL2Adj(NextHopL2InfoCollection const& viaColl, bool allowAdjSharing) {
  if (allowAdjSharing) {
    if (auto found = l3Status_->nextHopsToL2Adj(viaColl)) {
      KOR_TRACE(5, "Found existing l2Adj " << found->index());
      return found;
    }
  }
  bool claimed = false;
  uint64_t index = allocateIndex(viaColl, &claimed);
  auto l2Adj = Vix::makePtr<L2Adjacency>(L2AdjKey(index), viaColl);
  if (claimed) claimPending_.insert(index);
  l3Status_->l2AdjListIs(l2Adj->key(), l2Adj);
  if (allowAdjSharing) {
    l2Adj->sharedIs(true);
    l3Status_->nextHopsToL2AdjIs(viaColl, l2Adj);
  }
  KOR_TRACE(5, "Created new l2Adj " << index << " allowAdjSharing: " << allowAdjSharing);
  return l2Adj;
}

void L2AdjHelper::nextHopsToL2AdjDel(L2Adjacency& l2Adj) {
  if (l2Adj.shared() && l3Status_->nextHopsToL2Adj(l2Adj.via()).ptr() == &l2Adj)
    l3Status_->nextHopsToL2AdjDel(l2Adj.via());
  l2Adj.sharedIs(false);
}

bool L2AdjHelper::updateL2AdjForAdj(AdjEntry& adjEntry, AdjUpdateType adjUpdateType) {
  NextHopL2InfoCollection viaColl = buildForAdj(adjEntry, adjUpdateType);
  bool allow = adjSharingAllowed(&adjEntry);
  uint64_t adjIndex = adjEntry.adjIndex();
  Vix::Ptr<L2Adjacency> old = adjEntry.l2Adj();

  if (old && old->via() == viaColl) {
    old->adjEntryIs(adjIndex);
    if (old->state() != L2AdjState::installed) {
      KOR_TRACE(5, "L2 adjacency unchanged, but state is " << old->state() << ", update type: " << adjUpdateType);
      // The chip may never have taken it: a retry is a create until it has.
      if (claimPending_.count(old->index())) notifyCreateL2Adj(*old);
      else if (old->inChip()) notifyUpdateL2Adj(*old);
      else notifyCreateL2Adj(*old);
      return true;
    }
    if (adjEntryTunnel_.count(vrfAdjKey(adjEntry)) || viaColl.hasType(NextHopEntryType::nextHopTunnel)) {
      KOR_TRACE(5, "L2 adjacency unchanged, but adj is a tunnel");
      doAddAdjEntryToTunnel(viaColl, adjEntry);
      return false;
    }
    if (old->adjEntry().size() > 1) KOR_TRACE(5, "adjEntrys > 1 but L2 adjacency unchaged;");
    // Left as it is only when the chip took it: a refused or not-ready one
    // was asked again above.
    if (old->state() == L2AdjState::installFailed || old->state() == L2AdjState::installNotReady)
      korAssert("l2Adj->state() != L2AdjState::installFailed_ && l2Adj->state() != L2AdjState::installNotReady_");
    KOR_TRACE(5, "L2 adjacency unchanged!");
    return false;
  }

  if (allow) {
    auto existing = l3Status_->nextHopsToL2Adj(viaColl);
    if (existing && existing != old) {
      KOR_TRACE(5, "Existing L2 adj found! L2 adj: " << existing->index());
      if (old) {
        old->adjEntryDel(adjIndex);
        doRemoveAdjEntryFromTunnel(old, adjEntry, false);
      }
      existing->adjEntryIs(adjIndex);
      adjEntry.l2AdjIs(existing);
      doAddAdjEntryToTunnel(viaColl, adjEntry);
      if (old) doMaybeDeleteL2Adj(old);
      return true;
    }
  }

  bool usedByOthers = old && (old->adjEntry().size() > 1 || (old->adjEntry().size() == 1 && !old->adjEntryHas(adjIndex)));
  bool slowReceive = old && old->index() == slowReceiveL2AdjIndex_;
  if (old && !usedByOthers && !slowReceive) {
    // Used by this adjacency alone: rewritten in place under its index.
    nextHopsToL2AdjDel(*old);
    doRemoveAdjEntryFromTunnel(old, adjEntry, false);
    old->viaIs(viaColl);
    old->adjEntryIs(adjIndex);
    if (allow && !l3Status_->nextHopsToL2AdjHas(viaColl)) {
      old->sharedIs(true);
      l3Status_->nextHopsToL2AdjIs(viaColl, old);
    }
    KOR_TRACE(5, "Updating platform adj object " << old->index());
    if (old->inChip()) notifyUpdateL2Adj(*old);
    else notifyCreateL2Adj(*old);
    doAddAdjEntryToTunnel(viaColl, adjEntry);
    doRemoveUnusedTunnels(adjEntry);
    return true;
  }

  // Shared with others (or the slow-receive one): left as it is for them.
  if (old) {
    old->adjEntryDel(adjIndex);
    doRemoveAdjEntryFromTunnel(old, adjEntry, false);
  }
  auto l2Adj = createL2Adj(viaColl, allow);
  bool fresh = l2Adj->state() == L2AdjState::newborn && l2Adj->adjEntry().empty();
  if (old) KOR_TRACE(5, "Cannot update shared L2 adj. New L2 adj: " << l2Adj->index());
  l2Adj->adjEntryIs(adjIndex);
  adjEntry.l2AdjIs(l2Adj);
  if (fresh) notifyCreateL2Adj(*l2Adj);
  doAddAdjEntryToTunnel(viaColl, adjEntry);
  if (old) doMaybeDeleteL2Adj(old);
  doRemoveUnusedTunnels(adjEntry);
  return true;
}

template <class AF>
Vix::Ptr<L2Adjacency> L2AdjHelper::createL2AdjForAdjT(RouteType routeType, VrfId vrfId, L2AdjType l2AdjType,
                                                      AdjViaT<AF> const& adjVia) {
  auto viaColl =
      doBuildL2AdjViaCollHelper(routeType, vrfId, l2AdjType, adjVia, AdjUpdateType::regularAdjUpdate, true);
  auto l2Adj = createL2Adj(viaColl, adjSharing_ && !adjVia.noAdjSharing());
  if (l2Adj->state() == L2AdjState::newborn && l2Adj->adjEntry().empty()) notifyCreateL2Adj(*l2Adj);
  return l2Adj;
}

Vix::Ptr<L2Adjacency> L2AdjHelper::createL2AdjForAdj(RouteType routeType, VrfId vrfId, L2AdjType l2AdjType,
                                                     AdjVia const& adjVia) {
  return createL2AdjForAdjT(routeType, vrfId, l2AdjType, adjVia);
}

Vix::Ptr<L2Adjacency> L2AdjHelper::createL2AdjForAdj6(RouteType routeType, VrfId vrfId, L2AdjType l2AdjType,
                                                      AdjVia6 const& adjVia6) {
  return createL2AdjForAdjT(routeType, vrfId, l2AdjType, adjVia6);
}

void L2AdjHelper::doMaybeDeleteL2Adj(Vix::Ptr<L2Adjacency> const& l2Adj) {
  if (!l2Adj || !l2Adj->adjEntry().empty()) return;
  if (l2Adj->index() == slowReceiveL2AdjIndex_) {
    KOR_TRACE(5, "SlowReceive adj, skip deletion");
    return;
  }
  nextHopsToL2AdjDel(*l2Adj);
  l3Status_->l2AdjListDel(l2Adj->key());
  claimPending_.erase(l2Adj->index());
  adjSmHelper_->deleteAdj(*l2Adj);
  KOR_TRACE(5, "L2Adj deleted " << l2Adj->index());
}

void L2AdjHelper::doRemoveAdjEntryFromL2Adj(Vix::Ptr<L2Adjacency> const& l2AdjRef, AdjEntry& adjEntry) {
  // Held here: the caller may pass adjEntry's own pointer, which is cleared below.
  Vix::Ptr<L2Adjacency> l2Adj = l2AdjRef;
  if (!l2Adj) return;
  // Only an adjacency bound to it leaves it.
  if (adjEntry.l2Adj() == l2Adj && !l2Adj->adjEntryHas(adjEntry.adjIndex()))
    korAssert("iter->adjEntryIterator().isMemberOf( adjEntry )");
  l2Adj->adjEntryDel(adjEntry.adjIndex());
  l2Adj->reviewPendingAdjDel(adjEntry.adjIndex());
  doRemoveAdjEntryFromTunnel(l2Adj, adjEntry, true);
  if (adjEntry.l2Adj() == l2Adj) adjEntry.l2AdjIs(nullptr);
  doMaybeDeleteL2Adj(l2Adj);
}

void L2AdjHelper::doHandleAdjReviewCompletion(Vix::Ptr<L2Adjacency> const& l2Adj, AdjEntry& adjEntry) {
  if (l2Adj) l2Adj->reviewPendingAdjDel(adjEntry.adjIndex());
  adjEntry.l2AdjWaitingOnReviewIs(false);
  doRemoveUnusedTunnels(adjEntry);
}

// ---------------------------------------------------------------- platform

void L2AdjHelper::platformAnswerIs(L2Adjacency& l2Adj, AdjUpdateStatus status, char const* what) {
  switch (status) {
    case AdjUpdateStatus::adjUpdateSuccess:
      l2Adj.stateIs(L2AdjState::installed);
      l2Adj.inChipIs(true);
      break;
    case AdjUpdateStatus::adjUpdateNotReady: l2Adj.stateIs(L2AdjState::installNotReady); break;
    case AdjUpdateStatus::adjUpdateFail: l2Adj.stateIs(L2AdjState::installFailed); break;
    default: l2Adj.stateIs(L2AdjState::installFailed); break;
  }
  KOR_TRACE(5, what << status << ", l2Adj " << l2Adj.index() << ", state " << l2Adj.state());
}

void L2AdjHelper::notifyCreateL2Adj(L2Adjacency& l2Adj) {
  if (claimPending_.count(l2Adj.index())) {
    // Held by the chip from an earlier run: taken over, not created again.
    notifySyncL2Adj(l2Adj, l2Adj.index());
    return;
  }
  if (l3Status_->adjResourceFull()) {
    KOR_TRACE(5, "Cannot create L2 adj. Resource full!");
    l2Adj.stateIs(L2AdjState::installFailed);
    return;
  }
  platformAnswerIs(l2Adj, adjSmHelper_->createAdj(l2Adj), "L2 adj creation result: ");
}

void L2AdjHelper::notifyUpdateL2Adj(L2Adjacency& l2Adj) {
  platformAnswerIs(l2Adj, adjSmHelper_->updateAdj(l2Adj), "L2 adj update result: ");
}

void L2AdjHelper::notifySyncL2Adj(L2Adjacency& l2Adj, uint64_t index) {
  AdjUpdateStatus status = adjSmHelper_->syncAdj(l2Adj, index);
  if (status != AdjUpdateStatus::adjUpdateNotReady) claimPending_.erase(index);
  if (status == AdjUpdateStatus::adjUpdateSuccess) l2Adj.inChipIs(true);
  platformAnswerIs(l2Adj, status, "L2 adj sync result: ");
}

void L2AdjHelper::handleEndOfSync() {
  // Set first: a delete that frees room in the chip wakes the adjacency
  // machines, which may report their queues empty again from inside it.
  if (syncEnded_) return;
  syncEnded_ = true;
  if (!chipLoaded_) doLoadChipAdjs();
  for (auto const& [coll, index] : unclaimed_) {
    KOR_TRACE(5, "Deleting unclaimed chip L2 adj " << index);
    adjSmHelper_->deleteAdj(L2Adjacency(L2AdjKey(index), coll));
    chipHeldIndex_.erase(index);
  }
  unclaimed_.clear();
}

// ---------------------------------------------------------------- tunnels

L2AdjAndUpdateFlag L2AdjHelper::tunnelL2Info(TunnelKeyGen const& key, bool create, bool update) {
  auto it = tunnel_.find(key);
  if (it == tunnel_.end()) {
    if (create) tunnel_[key];
    KOR_TRACE(5, "Tunnel still unresolved " << key);
    return {};
  }
  Tunnel& t = it->second;
  if (!t.l2Adj && t.underlay.paths()) {
    // A tunnel that lost its last user gets its underlay L2 adjacency back.
    t.l2Adj = createL2Adj(t.underlay, false);
    notifyCreateL2Adj(*t.l2Adj);
    t.l2InfoChanged = true;
  }
  L2AdjAndUpdateFlag r{t.l2Adj, t.l2InfoChanged};
  if (update) t.l2InfoChanged = false;
  return r;
}

L2AdjAndUpdateFlag L2AdjHelper::getTunnelL2Info(TunnelKey const& key, bool create, bool update) {
  return tunnelL2Info(TunnelKeyGen(key), create, update);
}

L2AdjAndUpdateFlag L2AdjHelper::getTunnel6L2Info(TunnelKeyGen const& key, bool create, bool update) {
  return tunnelL2Info(key, create, update);
}

template <class AF>
void L2AdjHelper::doCreateOrUpdateTunnelL2InfoT(TunnelKeyGen const& key, Nollo::IntfId const& tunnelIntf,
                                                VrfId vrfId, AdjViaT<AF> const& underlay) {
  auto coll = doBuildL2AdjViaCollHelper(RouteType::forwardRoute, vrfId, L2AdjType::routingAdj, underlay,
                                        AdjUpdateType::regularAdjUpdate, true);
  Tunnel& t = tunnel_[key];
  t.intf = tunnelIntf;
  t.vrfId = vrfId;
  tunnelIntfKey_.insert_or_assign(tunnelIntf, key);
  if (key.isV6()) l3Status_->tunnel6L2InfoIs(tunnelIntf, true);
  else l3Status_->tunnelL2InfoIs(tunnelIntf, true);
  if (t.underlay == coll && t.l2Adj) {
    // Unchanged, but refused by the chip before: asked again.
    if (t.l2Adj->state() != L2AdjState::installed) {
      if (t.l2Adj->inChip()) notifyUpdateL2Adj(*t.l2Adj);
      else notifyCreateL2Adj(*t.l2Adj);
    }
    return;
  }
  t.underlay = coll;
  t.l2InfoChanged = true;
  // The underlay's L2 adjacency is the tunnel's own, never shared.
  if (t.l2Adj) {
    t.l2Adj->viaIs(coll);
    if (t.l2Adj->inChip()) notifyUpdateL2Adj(*t.l2Adj);
    else notifyCreateL2Adj(*t.l2Adj);
  } else {
    t.l2Adj = createL2Adj(coll, false);
    notifyCreateL2Adj(*t.l2Adj);
  }
  KOR_TRACE(5, "Tunnel prefix: " << key << ", l2 adj " << t.l2Adj->index());
}

void L2AdjHelper::doCreateOrUpdateTunnelL2Info(TunnelKey const& key, Nollo::IntfId const& tunnelIntf, VrfId vrfId,
                                               AdjVia const& underlay) {
  doCreateOrUpdateTunnelL2InfoT(TunnelKeyGen(key), tunnelIntf, vrfId, underlay);
}

void L2AdjHelper::doCreateOrUpdateTunnel6L2Info(TunnelKeyGen const& key, Nollo::IntfId const& tunnelIntf,
                                                VrfId vrfId, AdjVia6 const& underlay) {
  doCreateOrUpdateTunnelL2InfoT(key, tunnelIntf, vrfId, underlay);
}

void L2AdjHelper::doDeleteTunnelL2Adj(Tunnel& t) {
  if (!t.l2Adj) return;
  l3Status_->l2AdjListDel(t.l2Adj->key());
  claimPending_.erase(t.l2Adj->index());
  adjSmHelper_->deleteAdj(*t.l2Adj);
  t.l2Adj = nullptr;
}

void L2AdjHelper::doRemoveTunnel(TunnelKeyGen const& key) {
  auto it = tunnel_.find(key);
  if (it == tunnel_.end()) return;
  doDeleteTunnelL2Adj(it->second);
  // Every interface with these end points leaves with it (two tunnel
  // interfaces may share them); their resolver registers the others again.
  for (auto m = tunnelIntfKey_.begin(); m != tunnelIntfKey_.end();) {
    if (m->second != key) {
      ++m;
      continue;
    }
    if (key.isV6()) l3Status_->tunnel6L2InfoDel(m->first);
    else l3Status_->tunnelL2InfoDel(m->first);
    m = tunnelIntfKey_.erase(m);
  }
  for (auto const& adj : it->second.adjEntrys) {
    auto a = adjEntryTunnel_.find(adj);
    if (a == adjEntryTunnel_.end()) continue;
    a->second.erase(key);
    if (a->second.empty()) adjEntryTunnel_.erase(a);
  }
  tunnel_.erase(it);
}

void L2AdjHelper::doRemoveTunnelL2Info(TunnelKey const& key) { doRemoveTunnel(TunnelKeyGen(key)); }

void L2AdjHelper::doRemoveTunnel6L2Info(TunnelKeyGen const& key) { doRemoveTunnel(key); }

void L2AdjHelper::doAddAdjEntryToTunnel(NextHopL2InfoCollection const& viaColl, AdjEntry& adjEntry) {
  for (auto const& [nh, info] : viaColl.nextHop()) {
    if (info.type() != NextHopEntryType::nextHopTunnel) continue;
    auto k = tunnelIntfKey_.find(info.intfId());
    if (k == tunnelIntfKey_.end()) continue;
    Tunnel& t = tunnel_[k->second];
    t.adjEntrys.insert(vrfAdjKey(adjEntry));
    t.markedForDeletion = false;
    auto& tunnels = adjEntryTunnel_[vrfAdjKey(adjEntry)];
    tunnels.insert(k->second);
    KOR_TRACE(8, "AdjEntry tunnel count: " << tunnels.size());
  }
}

void L2AdjHelper::doRemoveAdjEntryFromTunnel(Vix::Ptr<L2Adjacency> const& l2Adj, AdjEntry& adjEntry,
                                             bool removeUnused) {
  auto a = adjEntryTunnel_.find(vrfAdjKey(adjEntry));
  if (a != adjEntryTunnel_.end()) {
    for (auto const& key : a->second) {
      auto t = tunnel_.find(key);
      if (t == tunnel_.end() || !t->second.adjEntrys.erase(vrfAdjKey(adjEntry))) {
        KOR_TRACE(5, "Tunnel already removed from adjEntry list");
        continue;
      }
      if (t->second.adjEntrys.empty()) {
        KOR_TRACE(5, "Mark tunnel for deletion " << key);
        t->second.markedForDeletion = true;
      }
    }
    adjEntryTunnel_.erase(a);
  }
  if (removeUnused) doRemoveUnusedTunnels(adjEntry);
}

void L2AdjHelper::doRemoveUnusedTunnels(AdjEntry&) {
  // An unused tunnel keeps its registration (underlay data) but leaves the
  // chip: nothing unused stays programmed.
  for (auto& [key, t] : tunnel_) {
    if (!t.markedForDeletion || !t.adjEntrys.empty()) continue;
    KOR_TRACE(5, "Deleting unused tunnel: " << key);
    if (t.l2Adj) KOR_TRACE(5, "Unused tunnel (l2 adj: " << t.l2Adj->index() << ")");
    doDeleteTunnelL2Adj(t);
    t.markedForDeletion = false;
  }
}

L2AdjHelper::VrfAdjKey L2AdjHelper::vrfAdjKey(AdjEntry const& e) { return {e.vrfId(), e.adjIndex()}; }

std::set<L2AdjHelper::VrfAdjKey> L2AdjHelper::tunnelAdjEntrys(TunnelKeyGen const& key) const {
  auto it = tunnel_.find(key);
  return it == tunnel_.end() ? std::set<VrfAdjKey>() : it->second.adjEntrys;
}

std::set<TunnelKeyGen> L2AdjHelper::adjEntryTunnels(VrfAdjKey const& adj) const {
  auto it = adjEntryTunnel_.find(adj);
  return it == adjEntryTunnel_.end() ? std::set<TunnelKeyGen>() : it->second;
}

}  // namespace Kor
