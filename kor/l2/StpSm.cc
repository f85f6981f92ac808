#include "kor/l2/StpSm.h"

#include <iterator>
#include <sstream>

#include "kor/common/VerifyData.h"

namespace Kor {

using Bridging::Topology::PortState;

class StpSm::VixConfig : public Vix::NestedReactor<StpSm, Bridging::Topology::Config::Notifiee> {
 public:
  void handleTopology(std::string const& name) override { sm_->handleTopoChange(name); }
  void handleVidToTopo(uint16_t const& vid) override {
    if (vid >= VlanId::min && vid <= VlanId::max) sm_->handleVidToTopoMap(VlanId(vid));
  }
  void handleBpduTrapping() override { sm_->handleBpduTrapping(); }
  void handlePvst() override { sm_->handlePvst(); }
};

class StpSm::VixStatus : public Vix::NestedReactor<StpSm, Bridging::Topology::Status::Notifiee> {
 public:
  void handleInstStatus(std::string const& topo) override { sm_->handleInstStatus(topo); }
};

class StpSm::VixInstStatus : public Vix::NestedReactor<StpSm, Bridging::Topology::InstStatus::Notifiee> {
 public:
  void handlePortState(Nollo::IntfId const& intf) override { sm_->handlePortState(topo_, intf); }
  void handleFlushRequest(Nollo::IntfId const& intf) override { sm_->handleFlushRequest(topo_, intf); }
  std::string topo_;
};

class StpSm::VixCommonData : public Vix::NestedReactor<StpSm, KorCommonSmData::Notifiee> {
 public:
  void handleOperationalMode() override { sm_->handleOperationalMode(); }
  void handlePortToLag(Nollo::IntfId const& intf) override { sm_->handlePortToLag(intf); }
  void handleIntf(Nollo::IntfId const& intf) override { sm_->handleIntf(intf); }
};

StpSm::StpSm(Vix::Ptr<KorCommonSmData> const& acsd, Vix::Ptr<Bridging::Topology::Config const> const& brTopoConfig,
             Vix::Ptr<Bridging::Topology::Status const> const& brTopoStatus, Vix::Ptr<TopoHelper> const& topoHelper)
    : KorBaseSm(acsd, "KorStpSm"), brTopoConfig_(brTopoConfig), brTopoStatus_(brTopoStatus),
      topoHelper_(topoHelper) {
  vixReactors_.watch<VixConfig>(brTopoConfig_);
  vixReactors_.watch<VixStatus>(brTopoStatus_);
  vixReactors_.watch<VixCommonData>(Vix::Ptr<KorCommonSmData const>(acsd));
  acsd->verifiableSmAdd(this);
}

StpSm::~StpSm() = default;

Vix::Ptr<StpSm> stpSmFactory(Vix::Ptr<KorCommonSmData> const& acsd,
                             Vix::Ptr<Bridging::Topology::Config const> const& brTopoConfig,
                             Vix::Ptr<Bridging::Topology::Status const> const& brTopoStatus,
                             Vix::Ptr<TopoHelper> const& topoHelper) {
  return Vix::makePtr<StpSm>(Vix::ValidPtr<KorCommonSmData>(acsd),
                             Vix::ValidPtr<Bridging::Topology::Config const>(brTopoConfig),
                             Vix::ValidPtr<Bridging::Topology::Status const>(brTopoStatus),
                             Vix::ValidPtr<TopoHelper>(topoHelper));
}

Vix::Ptr<Bridging::Topology::InstStatus const> StpSm::brTopoInstStatus(std::string const& topo) const {
  return brTopoStatus_->instStatus(topo);
}

TopoSm* StpSm::topoSm(std::string const& name) const {
  auto it = topoSm_.find(name);
  return it == topoSm_.end() ? nullptr : it->second.ptr();
}

void StpSm::handleInitialized() {
  topoHelper_->hwInit();
  currentHwOperationalMode_ = acsd()->operationalMode();
  pvst_ = brTopoConfig_->pvst();
  for (auto const& [topo, inst] : brTopoStatus_->instStatusMap()) handleInstStatus(topo);
  if (tapAggMode()) {
    doSetupTapAgg();
  } else {
    doSetupRegular();
  }
}

void StpSm::handleTopoChange(std::string const& name) {
  if (!initialized()) return;
  if (tapAggMode()) {
    KOR_TRACE(5, "TapAgg mode. Ignore" << " topology change of " << name);
    return;
  }
  bool const configured = brTopoConfig_->topologyHas(name);
  if (configured && !topoSm(name)) {
    KOR_TRACE(5, " creating topo " << name);
    auto sm = Vix::makePtr<TopoSm>(acsd(), this, name);
    topoSm_.emplace(name, sm);
    topoToVlanMap_[name];
    sm->initializedIs(true);
  } else if (!configured && topoSm(name)) {
    doDeleteTopo(name);
    doAllocWaiting();
  }
  doRequestVerify();
}

void StpSm::doDeleteTopo(std::string const& name) {
  std::ostringstream vlans;
  TopoSm& sm = *topoSm(name);
  for (auto const& [vlan, mapped] : topoToVlanMap_[name].mappedVlan()) {
    vlans << " " << vlan;
    // A refusal is moot: freeing the topology takes its VLANs with it.
    if (mapped.inHw() && sm.topoId()) topoHelper_->delVlanFromTopo(sm.topoId(), vlan);
    vlanToTopoSmMap_.erase(vlan);
  }
  KOR_TRACE(5, " deleting topo " << name << " with mapped vlan " << vlans.str());
  std::erase_if(vlanUnmapPending_, [&](auto const& p) { return p.second == sm.topoId(); });
  topoToVlanMap_.erase(name);
  sm.doCleanup();
  topoSm_.erase(name);
}

void StpSm::doAllocWaiting() {
  for (auto const& [name, sm] : topoSm_) {
    if (!sm->topoId() && !sm->doAlloc()) break;
  }
}

int StpSm::doAllocTopo(std::string const& name) {
  size_t held = 0;
  for (auto const& [n, sm] : topoSm_) held += sm->topoId() != 0;
  if (held >= topoHelper_->maxTopo()) return 0;
  return topoHelper_->allocTopo(name);
}

void StpSm::handleVidToTopoMap(VlanId vlan) {
  if (!initialized()) return;
  if (tapAggMode()) {
    KOR_TRACE(5, "TapAgg mode. Ignore" << " vlan map of " << vlan);
    return;
  }
  KOR_TRACE(5, " vidToTopoMap call for vlan " << vlan);
  std::string const want = wantedTopo(vlan);
  auto old = vlanToTopoSmMap_.find(vlan);
  if (old != vlanToTopoSmMap_.end() && old->second == want) return;
  if (old != vlanToTopoSmMap_.end()) doUnmapVlan(vlan);
  if (!want.empty()) {
    TopoSm* sm = topoSm(want);
    if (!sm) {
      // Mapped when the topology's machine is created (TopoSm::handleInitialized).
      KOR_TRACE(5, " topoSm not yet present for topology " << want << ", vlan " << vlan);
    } else {
      vlanToTopoSmMap_[vlan] = want;
      topoToVlanMap_[want].mappedVlanIs(vlan);
      doSyncVlans(want);
    }
  }
  doRequestVerify();
}

std::string StpSm::wantedTopo(VlanId vlan) const {
  if (brTopoConfig_->vidToTopoHas(vlan.value())) return brTopoConfig_->vidToTopo(vlan.value());
  return defaultTopo_;
}

void StpSm::defaultTopoIs(std::string const& name) {
  if (name == defaultTopo_) return;
  KOR_TRACE(5, " default topo " << (name.empty() ? "none" : name));
  defaultTopo_ = name;
  if (!initialized() || tapAggMode()) return;
  for (uint16_t v = VlanId::min; v <= VlanId::max; ++v) {
    if (!brTopoConfig_->vidToTopoHas(v)) handleVidToTopoMap(VlanId(v));
  }
}

void StpSm::doMapVlansOf(std::string const& name) {
  if (!defaultTopo_.empty() && name == defaultTopo_) {
    for (uint16_t v = VlanId::min; v <= VlanId::max; ++v)
      if (wantedTopo(VlanId(v)) == name) handleVidToTopoMap(VlanId(v));
    return;
  }
  for (auto const& [vid, topo] : brTopoConfig_->vidToTopoMap()) {
    if (topo == name && vid >= VlanId::min && vid <= VlanId::max) handleVidToTopoMap(VlanId(vid));
  }
}

void StpSm::doUnmapVlan(VlanId vlan) {
  std::string const topo = vlanToTopoSmMap_[vlan];
  vlanToTopoSmMap_.erase(vlan);
  auto& map = topoToVlanMap_[topo];
  auto it = map.mappedVlan().find(vlan);
  if (it == map.mappedVlan().end()) return;
  TopoSm* sm = topoSm(topo);
  if (it->second.inHw() && sm && sm->topoId() && !topoHelper_->delVlanFromTopo(sm->topoId(), vlan)) {
    KOR_TRACE(1, "vlan " << vlan << " stays in " << topo << ": refused by the platform, asked again later");
    vlanUnmapPending_.emplace(vlan, sm->topoId());
  }
  map.mappedVlanDel(vlan);
}

void StpSm::doSyncVlans(std::string const& name) {
  TopoSm* sm = topoSm(name);
  if (!sm || !sm->topoId()) return;
  for (auto& [vlan, mapped] : topoToVlanMap_[name].mappedVlan()) {
    if (!mapped.inHw()) mapped.inHwIs(topoHelper_->addVlanToTopo(sm->topoId(), vlan));
  }
}

void StpSm::handleInstStatus(std::string const& topo) {
  auto inst = brTopoStatus_->instStatus(topo);
  VixInstStatus*& r = instReactors_[topo];
  if (!r) {
    r = vixReactors_.add<VixInstStatus>();
    r->topo_ = topo;
  }
  r->notifierIs(inst);
  if (!initialized()) return;
  if (tapAggMode()) {
    if (inst) {
      for (auto const& [intf, state] : inst->portStateMap()) doTapAggPortAdd(intf);
    }
    return;
  }
  TopoSm* sm = topoSm(topo);
  if (!sm) return;
  // Every port the old or new status names: new ones created, gone ones deleted.
  std::set<Nollo::IntfId> ports;
  for (auto const& [intf, p] : sm->topoPortSmMap()) ports.insert(intf);
  if (inst) {
    for (auto const& [intf, state] : inst->portStateMap()) ports.insert(intf);
  }
  for (auto const& intf : ports) sm->handleTopoPortChange(intf);
}

void StpSm::handlePortState(std::string const& topo, Nollo::IntfId const& intf) {
  if (!initialized()) return;
  if (tapAggMode()) {
    KOR_TRACE(5, "TapAgg mode. Ignore doSetStpState" << " of " << intf << " in " << topo);
    doTapAggPortAdd(intf);
    return;
  }
  if (TopoSm* sm = topoSm(topo)) sm->handleTopoPortChange(intf);
}

void StpSm::handleFlushRequest(std::string const& topo, Nollo::IntfId const& intf) {
  if (!initialized()) return;
  if (tapAggMode()) {
    KOR_TRACE(5, "TapAgg mode. Ignore handleFdbFlush" << " of " << intf << " in " << topo);
    return;
  }
  auto inst = brTopoInstStatus(topo);
  if (!inst || !inst->flushRequestHas(intf)) return;
  TopoSm* sm = topoSm(topo);
  TopoPortSm* port = sm ? sm->topoPortSm(intf) : nullptr;
  if (!port) {
    KOR_TRACE(5, "flush of " << intf << " in " << topo << ": port not in the topology");
    return;
  }
  port->handleFdbFlush();
}

void StpSm::handlePortToLag(Nollo::IntfId const& intf) {
  if (!initialized()) return;
  if (tapAggMode()) {
    KOR_TRACE(5, intf << " TapAgg mode. Ignore handlePortToLag " << "(forwarding stays)");
    // A port first seen as a LAG member is still a port: it forwards too.
    doTapAggPortAdd(intf);
    return;
  }
  for (auto const& [name, sm] : topoSm_) sm->handlePortToLag(intf);
}

// A port that appears while tap aggregation holds spanning tree aside
// forwards like every port known when the mode began; in the regular mode
// the protocol's reports decide, so nothing happens here.
void StpSm::handleIntf(Nollo::IntfId const& intf) {
  if (!initialized() || !tapAggMode()) return;
  if (acsd()->intfHas(intf)) doTapAggPortAdd(intf);
}

void StpSm::handleOperationalMode() {
  if (!initialized()) {
    KOR_TRACE(5, "not initialized. return");
    return;
  }
  HwOperationalMode const mode = acsd()->operationalMode();
  KOR_TRACE(5, " new mode " << mode << ", current " << currentHwOperationalMode_);
  if (mode == currentHwOperationalMode_ || (mode == modeTapAgg) == tapAggMode()) {
    // Both regular (or the same mode): the platform holds what it should.
    currentHwOperationalMode_ = mode;
    KOR_TRACE(5, " nothing to do ");
    return;
  }
  doCleanup(currentHwOperationalMode_);
  currentHwOperationalMode_ = mode;
  if (tapAggMode()) {
    doSetupTapAgg();
  } else {
    doSetupRegular();
  }
  doRequestVerify();
}

void StpSm::doCleanup(HwOperationalMode oldMode) {
  if (oldMode == modeTapAgg) {
    KOR_TRACE(5, "cleanup tapagg stuff");
    if (tapAggTopoId_) {
      for (auto const& [intf, inHw] : tapAggPorts_)
        if (inHw) topoHelper_->clearStpState(tapAggTopoId_, intf);
      for (uint16_t v = VlanId::min; v <= VlanId::max; ++v)
        if (tapAggVlans_[v]) topoHelper_->delVlanFromTopo(tapAggTopoId_, VlanId(v));
      topoHelper_->flushTopoMacAddr(tapAggTopoId_);
      topoHelper_->freeTopo(kTapAggTopo);
    }
    tapAggTopoId_ = 0;
    tapAggVlans_.reset();
    tapAggPorts_.clear();
    return;
  }
  KOR_TRACE(5, "cleanup regular topo stuff");
  while (!topoSm_.empty()) doDeleteTopo(topoSm_.begin()->first);
  topoToVlanMap_.clear();
  vlanToTopoSmMap_.clear();
  vlanUnmapPending_.clear();
}

void StpSm::doSetupRegular() {
  KOR_TRACE(5, "configure regular topo stuff");
  // Topologies first: each maps its own VLANs and creates its ports.
  for (auto const& [name, on] : brTopoConfig_->topologyMap()) handleTopoChange(name);
  for (auto const& [vid, topo] : brTopoConfig_->vidToTopoMap()) {
    if (vid >= VlanId::min && vid <= VlanId::max) handleVidToTopoMap(VlanId(vid));
  }
  handleBpduTrapping();
}

void StpSm::doSetupTapAgg() {
  KOR_TRACE(5, "configure tapagg stuff");
  // Trapped BPDUs have no protocol to go to in this mode.
  if (bpduTrappingAsked_) topoHelper_->bpduTrappingIs(false);
  bpduTrappingAsked_ = false;
  tapAggPorts_.clear();
  for (auto const& [topo, inst] : brTopoStatus_->instStatusMap()) {
    if (!inst) continue;
    for (auto const& [intf, state] : inst->portStateMap()) tapAggPorts_.emplace(intf, false);
  }
  for (auto const& [intf, known] : acsd()->intfMap()) tapAggPorts_.emplace(intf, false);
  for (auto const& [port, lag] : acsd()->portToLagMap()) tapAggPorts_.emplace(port, false);
  doSyncTapAgg();
}

void StpSm::doSyncTapAgg() {
  if (!tapAggTopoId_) tapAggTopoId_ = topoHelper_->allocTopo(kTapAggTopo);
  if (!(tapAggTopoId() > 0)) {
    KOR_TRACE(1, "no hardware topology for " << kTapAggTopo << ": " << "tapAggTopoId() > 0" << " fails");
    return;
  }
  if (tapAggVlans_.count() < VlanId::max) {
    KOR_TRACE(5, "configure all vlan into TapAggTopo");
    for (uint16_t v = VlanId::min; v <= VlanId::max; ++v) {
      if (!tapAggVlans_[v]) tapAggVlans_[v] = topoHelper_->addVlanToTopo(tapAggTopoId_, VlanId(v));
    }
  }
  KOR_TRACE(5, "get all ports forwarding in tap agg topo");
  for (auto& [intf, inHw] : tapAggPorts_) {
    if (!inHw) inHw = topoHelper_->setStpState(tapAggTopoId_, intf, PortState::forwarding);
  }
}

void StpSm::doTapAggPortAdd(Nollo::IntfId const& intf) {
  if (tapAggPorts_.emplace(intf, false).second) doSyncTapAgg();
}

void StpSm::handleBpduTrapping() {
  if (!initialized()) return;
  configureBpduTrapping_ = brTopoConfig_->bpduTrapping();
  if (tapAggMode()) {
    KOR_TRACE(5, "TapAgg mode. Ignore" << " bpdu trapping " << configureBpduTrapping_);
    return;
  }
  if (!configureBpduTrapping_ && !bpduTrappingAsked_) return;
  topoHelper_->bpduTrappingIs(configureBpduTrapping_);
  bpduTrappingAsked_ = configureBpduTrapping_;
}

void StpSm::handlePvst() { pvst_ = brTopoConfig_->pvst(); }

void StpSm::doRequestVerify() {
  if (auto const& vd = acsd()->verifyData()) vd->doRequestVerify();
}

void StpSm::handleVerify() {
  if (!topoHelper_->verify()) {
    KOR_VERIFY_REPORT(KorTypes::verifyFail, "the platform's spanning-tree tables disagree with each other");
  }
  for (auto it = vlanUnmapPending_.begin(); it != vlanUnmapPending_.end();) {
    it = topoHelper_->delVlanFromTopo(it->second, it->first) ? vlanUnmapPending_.erase(it) : std::next(it);
  }
  if (!vlanUnmapPending_.empty()) {
    std::string d = std::to_string(vlanUnmapPending_.size());
    d += " vlans not taken out of their old topology by the platform";
    KOR_VERIFY_REPORT(KorTypes::verifyRetry, d);
  }
  if (tapAggMode()) {
    doSyncTapAgg();
    size_t ports = 0;
    for (auto const& [intf, inHw] : tapAggPorts_) ports += !inHw;
    if (!(tapAggTopoId() > 0)) {
      KOR_VERIFY_REPORT(KorTypes::verifyRetry, "tapAggTopoId() > 0");
    } else if (tapAggVlans_.count() < VlanId::max || ports) {
      std::string d = std::to_string(VlanId::max - tapAggVlans_.count());
      d += " vlans and ";
      d += std::to_string(ports);
      d += " ports wait for TapAggTopo";
      KOR_VERIFY_REPORT(KorTypes::verifyRetry, d);
    }
    return;
  }
  for (auto const& [name, sm] : topoSm_) {
    if (!sm->doAlloc()) {
      std::string d = "topology ";
      d += name;
      d += " waits for a hardware topology (maxTopo ";
      d += std::to_string(topoHelper_->maxTopo());
      d += ")";
      KOR_VERIFY_REPORT(KorTypes::verifyRetry, d);
      continue;
    }
    doSyncVlans(name);
    sm->doRetry();
    size_t vlans = 0;
    for (auto const& [vlan, mapped] : topoToVlanMap_[name].mappedVlan()) vlans += !mapped.inHw();
    if (vlans || sm->pendingCount()) {
      std::string d = "topology ";
      d += name;
      d += ": ";
      d += std::to_string(vlans);
      d += " vlans and ";
      d += std::to_string(sm->pendingCount());
      d += " port states not taken by the platform";
      KOR_VERIFY_REPORT(KorTypes::verifyRetry, d);
    }
    // A LAG member carries its LAG's state, never its own.
    for (auto const& [port, lag] : acsd()->portToLagMap()) {
      TopoPortSm const* lagSm = sm->topoPortSm(lag);
      if (!lagSm || !lagSm->lastReported()) continue;
      auto it = sm->wantState().find(port);
      if (it == sm->wantState().end() || it->second != *lagSm->lastReported()) {
        std::string d = port.str();
        d += " does not carry the state of ";
        d += lag.str();
        d += " in topology ";
        d += name;
        KOR_VERIFY_REPORT(KorTypes::verifyFail, d);
      }
    }
  }
  for (auto const& [vlan, topo] : vlanToTopoSmMap_) {
    auto it = topoToVlanMap_.find(topo);
    if (it == topoToVlanMap_.end() || !it->second.mappedVlanHas(vlan) || !topoSm(topo)) {
      std::string d = "vlan ";
      d += std::to_string(vlan.value());
      d += " is mapped to ";
      d += topo;
      d += ", which does not hold it";
      KOR_VERIFY_REPORT(KorTypes::verifyFail, d);
    }
  }
}

}  // namespace Kor
