#include "kor/l2/VlanHelper.h"

#include <set>
#include <sstream>

#include "kor/common/KorCommonSmData.h"
#include "kor/common/VerifyOutput.h"
#include "vix/Trace.h"

#define VLAN_TRACE(level, expr) VIX_TRACE(tf_, level, expr)

namespace Kor {

class VlanHelper::VixUpdateStatus : public VlanHwUpdateStatus::Notifiee {
 public:
  VixUpdateStatus(Vix::Ptr<VlanHwUpdateStatus const> const& s, VlanHelper* h) : Notifiee(s), helper_(h) {}
  void handleStatus(VlanId const& vlan) override { helper_->handleUpdateStatus(vlan); }

 private:
  VlanHelper* helper_;
};

VlanHelper::VlanHelper(Vix::Ptr<KorCommonSmData> const& acsd, std::string name)
    : VlanHelperBase(std::move(name)), acsd_(Vix::ValidPtr<KorCommonSmData>(acsd)), tf_("KorVlanHelper"),
      updateConfig_(Vix::makePtr<VlanHwUpdateConfig>("vlanHwUpdateConfig")),
      updateStatus_(Vix::makePtr<VlanHwUpdateStatus>("vlanHwUpdateStatus")),
      vlanUpdater_(acsd->activityLoop().ptr(), [this](VlanId v) { maybeTriggerHwVlanUpdate(v); }) {
  acsd_->traceFacilityAdd(&tf_);
  statusReactor_ = std::make_unique<VixUpdateStatus>(updateStatus_, this);
}

VlanHelper::~VlanHelper() {
  statusReactor_.reset();
  acsd_->traceFacilityDel(&tf_);
}

void VlanHelper::doCreateHwVlan(VlanId) { korAssert("Call to unimplemented function VlanHelper::doCreateHwVlan"); }
void VlanHelper::doUpdateVlan(VlanId) { korAssert("Call to unimplemented function VlanHelper::doUpdateVlan"); }
void VlanHelper::doUpdateVlanFid(VlanId, uint32_t) {
  korAssert("Call to unimplemented function VlanHelper::doUpdateVlanFid");
}

void VlanHelper::doDestroyHwVlan(VlanId) { korAssert("Call to unimplemented function VlanHelper::doDestroyHwVlan"); }

void VlanHelper::doVerifyReport(KorTypes::KorVerifyStatus status, std::string const& description,
                                char const* function) {
  acsd_->verifyReport(VerifyOutput(description, "VlanHelper.cc", 0, function, status));
}

void VlanHelper::showVlanUpdateRequest(std::ostream& os) const {
  for (auto const& [vlan, u] : updateConfig_->vlanMap()) {
    os << "hwVlanConfig " << vlan << " genId: " << u->genId();
    u->print(os);
    os << '\n';
  }
}

Vix::Ptr<PortVlanMembership> VlanHelper::portVlanMembership(Nollo::IntfId const& intf) const {
  auto it = membership_.find(intf);
  return it == membership_.end() ? nullptr : it->second;
}
Vix::Ptr<VlanUpdate> VlanHelper::vlanUpdate(VlanId vlan) const {
  auto it = vlanUpdate_.find(vlan);
  return it == vlanUpdate_.end() ? nullptr : it->second;
}
Vix::Ptr<VlanCache> VlanHelper::vlanCache(VlanId vlan) const {
  auto it = vlanCache_.find(vlan);
  return it == vlanCache_.end() ? nullptr : it->second;
}
Vix::Ptr<PortForwarding> VlanHelper::portForwarding(VlanId vlan) const {
  auto it = portForwarding_.find(vlan);
  return it == portForwarding_.end() ? nullptr : it->second;
}

Vix::Ptr<VlanUpdate> VlanHelper::doVlanUpdate(VlanId vlan) {
  auto& u = vlanUpdate_[vlan];
  if (!u) {
    u = Vix::makePtr<VlanUpdate>(vlan);
    // A new update continues the VLAN's generations: the platform's last
    // answer must stay older than anything asked from now on.
    u->genIdIs(updateStatus_->status(vlan).genId);
  }
  return u;
}

Vix::Ptr<PortVlanMembership> VlanHelper::doMembership(Nollo::IntfId const& intf) {
  auto& m = membership_[intf];
  if (!m) m = Vix::makePtr<PortVlanMembership>(intf);
  return m;
}

Vix::Ptr<VlanCache> VlanHelper::doCache(VlanId vlan) {
  auto& c = vlanCache_[vlan];
  if (!c) c = Vix::makePtr<VlanCache>(vlan);
  return c;
}

void VlanHelper::doMaybeCreateVlan(VlanId vlan) {
  bool created = createdVlan_.count(vlan) != 0;
  VLAN_TRACE(5, __func__ << " vlanid: " << vlan << " created already ? " << created);
  if (created) return;
  if (unclaimed_.erase(vlan)) VLAN_TRACE(5, "vlan " << vlan << " claimed back from the chip");
  VLAN_TRACE(2, "Creating vlanid: " << vlan);
  doCreateHwVlan(vlan);
  createdVlan_[vlan] = true;
  doCache(vlan);
}

void VlanHelper::doPutPort(VlanUpdate& u, Nollo::IntfId const& intf, PortWish const& w) {
  u.removeDel(intf);
  u.addIs(intf, w.tagged);
  u.ingressIs(intf, w.ingress);
  u.egressIs(intf, w.egress);
}

void VlanHelper::doTakePortOut(VlanUpdate& u, Nollo::IntfId const& intf) {
  u.addDel(intf);
  u.ingressDel(intf);
  u.egressDel(intf);
  u.removeIs(intf, true);
}

void VlanHelper::doChanged(VlanUpdate& u) {
  u.genIdInc();
  VLAN_TRACE(6, "vlan " << u.vlanId() << " genId " << u.genId() << [&] {
    std::ostringstream os;
    u.print(os);
    return os.str();
  }());
  vlanUpdater_.doTrigger(u.vlanId());
}

void VlanHelper::doAddPortToVlan(Nollo::IntfId const& intf, VlanId vlan, bool tagged, bool ingress, bool egress) {
  PortWish w{tagged, ingress, egress};
  wished_[vlan][intf] = w;
  if (checkPortState_) {
    // A VLAN without a record is under no topology: every port forwards.
    auto pf = portForwarding(vlan);
    if (pf && !pf->forwarding(intf)) {
      VLAN_TRACE(5, "Not Adding because of port state" << " intf " << intf << " vlan " << vlan);
      return;
    }
  }
  // Held as asked, with nothing pending for the port: nothing to program
  // (a restart's claim, or a repeated request).
  auto pending = vlanUpdate(vlan);
  bool touched = pending && (pending->addHas(intf) || pending->removeHas(intf) || pending->ingressHas(intf) ||
                             pending->egressHas(intf));
  if (auto c = vlanCache(vlan); !touched && c && c->memberHas(intf) && c->member(intf) == tagged &&
                                c->ingressHas(intf) == ingress && c->egressHas(intf) == egress) {
    VLAN_TRACE(6, "vlan " << vlan << " port " << intf << " held as asked");
    return;
  }
  auto u = doVlanUpdate(vlan);
  doPutPort(*u, intf, w);
  doChanged(*u);
}

void VlanHelper::doRemovePortFromVlan(Nollo::IntfId const& intf, VlanId vlan) {
  if (auto it = wished_.find(vlan); it != wished_.end()) {
    it->second.erase(intf);
    if (it->second.empty()) wished_.erase(it);
  }
  if (auto c = vlanCache(vlan); c && c->recircFeature(intf)) {
    VLAN_TRACE(5, "vlan " << vlan << " port: " << intf << " configured for recirc feature. Skipping remove.");
    return;
  }
  auto u = doVlanUpdate(vlan);
  doTakePortOut(*u, intf);
  doChanged(*u);
}

void VlanHelper::doHandlePortState(Nollo::IntfId const& intf, VlanId vlan, bool forwarding) {
  auto& pf = portForwarding_[vlan];
  if (!pf) pf = Vix::makePtr<PortForwarding>(vlan);
  pf->forwardingIs(intf, forwarding);
  auto wv = wished_.find(vlan);
  bool wished = wv != wished_.end() && wv->second.count(intf);
  if (forwarding) {
    if (!wished) return;
    VLAN_TRACE(5, "SchedulingAdd" << " intf " << intf << " vlan " << vlan);
    auto u = doVlanUpdate(vlan);
    doPutPort(*u, intf, wv->second.at(intf));
    doChanged(*u);
    return;
  }
  auto c = vlanCache(vlan);
  bool held = c && c->memberHas(intf);
  auto pending = vlanUpdate(vlan);
  if (!held && !(pending && pending->addHas(intf))) return;
  if (c && c->recircFeature(intf)) {
    VLAN_TRACE(5, "vlan " << vlan << " port: " << intf << " configured for recirc feature. Skipping remove.");
    return;
  }
  auto u = doVlanUpdate(vlan);
  doTakePortOut(*u, intf);
  doChanged(*u);
}

void VlanHelper::setPortsBlocked(VlanId vlan) {
  auto pf = portForwarding(vlan);
  if (!pf) {
    VLAN_TRACE(5, __func__ << " portForwarding( " << vlan << " ) is null, just returning ");
    return;
  }
  std::vector<Nollo::IntfId> ports;
  for (auto const& [intf, fwd] : pf->forwardingMap()) ports.push_back(intf);
  for (auto const& intf : ports) doHandlePortState(intf, vlan, false);
}

void VlanHelper::newPortForwarding(VlanId vlan) {
  auto& pf = portForwarding_[vlan];
  if (pf) return;
  pf = Vix::makePtr<PortForwarding>(vlan);
  std::set<Nollo::IntfId> ports;
  if (auto c = vlanCache(vlan))
    for (auto const& [intf, tagged] : c->memberMap()) ports.insert(intf);
  if (auto u = vlanUpdate(vlan))
    for (auto const& [intf, tagged] : u->addMap()) ports.insert(intf);
  for (auto const& intf : ports) doHandlePortState(intf, vlan, false);
}

void VlanHelper::portForwardingDel(VlanId vlan) {
  auto it = portForwarding_.find(vlan);
  if (it == portForwarding_.end()) return;
  Vix::Ptr<PortForwarding> const pf = it->second;
  portForwarding_.erase(it);
  auto wv = wished_.find(vlan);
  if (wv == wished_.end()) return;
  Vix::Ptr<VlanUpdate> u;
  for (auto const& [intf, w] : wv->second) {
    if (pf->forwarding(intf)) continue;  // added already
    if (!u) u = doVlanUpdate(vlan);
    doPutPort(*u, intf, w);
  }
  if (u) doChanged(*u);
}

void VlanHelper::recircFeatureIs(VlanId vlan, Nollo::IntfId const& intf, bool on) {
  auto c = doCache(vlan);
  if (on) c->recircFeatureIs(intf, true);
  else c->recircFeatureDel(intf);
}

void VlanHelper::doClaimHwVlan(VlanId vlan, std::map<Nollo::IntfId, bool> const& members,
                               std::set<Nollo::IntfId> const& ingress, std::set<Nollo::IntfId> const& egress) {
  if (syncEnded_ || createdVlan_.count(vlan)) return;
  VLAN_TRACE(5, "vlan " << vlan << " held by the chip: " << members.size() << " members");
  unclaimed_.insert(vlan);
  auto c = doCache(vlan);
  for (auto const& [intf, tagged] : members) {
    c->memberIs(intf, tagged);
    auto m = doMembership(intf);
    if (tagged) m->taggedVlanIs(vlan, true);
    else m->untaggedVlanIs(vlan, true);
  }
  for (auto const& intf : ingress) {
    c->ingressIs(intf, true);
    doMembership(intf)->ingressVlanIs(vlan, true);
  }
  for (auto const& intf : egress) {
    c->egressIs(intf, true);
    doMembership(intf)->egressVlanIs(vlan, true);
  }
}

void VlanHelper::doEndSync() {
  if (syncEnded_) return;
  syncEnded_ = true;
  // VLANs nobody created: out of the chip, the cache and the memberships.
  for (VlanId vlan : unclaimed_) {
    VLAN_TRACE(2, "Removing unclaimed vlanid: " << vlan);
    if (auto c = vlanCache(vlan)) {
      for (auto const& [intf, tagged] : c->memberMap()) {
        auto it = membership_.find(intf);
        if (it == membership_.end()) continue;
        auto& m = *it->second;
        m.taggedVlanDel(vlan);
        m.untaggedVlanDel(vlan);
        m.ingressVlanDel(vlan);
        m.egressVlanDel(vlan);
        if (m.empty()) membership_.erase(it);
      }
    }
    vlanCache_.erase(vlan);
    vlanUpdate_.erase(vlan);
    doDestroyHwVlan(vlan);
  }
  unclaimed_.clear();
  // Held ports nobody asked for leave their VLAN by an ordinary update.
  for (auto const& [vlan, c] : vlanCache_) {
    auto w = wished_.find(vlan);
    auto u = vlanUpdate(vlan);
    std::set<Nollo::IntfId> held;
    for (auto const& [intf, tagged] : c->memberMap()) held.insert(intf);
    for (auto const& [intf, on] : c->ingressMap()) held.insert(intf);
    for (auto const& [intf, on] : c->egressMap()) held.insert(intf);
    bool changed = false;
    for (auto const& intf : held) {
      if ((w != wished_.end() && w->second.count(intf)) || c->recircFeature(intf)) continue;
      if (u && (u->addHas(intf) || u->removeHas(intf))) continue;
      VLAN_TRACE(5, "vlan " << vlan << " removing unclaimed port " << intf);
      if (!u) u = doVlanUpdate(vlan);
      doTakePortOut(*u, intf);
      changed = true;
    }
    if (changed) doChanged(*u);
  }
}

void VlanHelper::maybeTriggerHwVlanUpdate(VlanId vlan) {
  auto u = vlanUpdate(vlan);
  if (!u) return;
  if (updateConfig_->vlanHas(vlan)) {
    VLAN_TRACE(6, "vlan " << vlan << " update in flight, genId " << updateConfig_->vlan(vlan)->genId());
    return;
  }
  if (!updateStatus_->statusHas(vlan)) {
    VLAN_TRACE(6, "vlan " << vlan << " hwStatus not present yet");
  } else {
    auto hw = updateStatus_->status(vlan);
    if (hw.genId == u->genId()) {
      VLAN_TRACE(6, "vlan " << vlan << " Nothing to do in the platform");
      vlanUpdate_.erase(vlan);
      return;
    }
    if (!(u->genId() > hw.genId)) korAssert("vlanUpdate( vlanId )->genId() > hwStatus->genId()");
  }
  auto copy = u->snapshot();
  updateConfig_->vlanIs(vlan, copy);
  VLAN_TRACE(4, "hwVlanConfig " << vlan << " genId: " << copy->genId() << [&] {
    std::ostringstream os;
    copy->print(os);
    return os.str();
  }());
  doUpdateVlan(vlan);
}

void VlanHelper::handleUpdateStatus(VlanId vlan) {
  auto cfg = updateConfig_->vlan(vlan);
  if (!cfg || !updateStatus_->statusHas(vlan)) return;
  auto st = updateStatus_->status(vlan);
  // An answer to another generation than the one in flight is stale.
  if (st.genId != cfg->genId()) return;
  updateVlanDone(vlan, st);
}

void VlanHelper::doFold(VlanId vlan, VlanUpdate const& done) {
  auto c = doCache(vlan);
  for (auto const& [intf, tagged] : done.addMap()) {
    VLAN_TRACE(6, "vlan " << vlan << (tagged ? " adding tagged port " : " adding untagged port ") << intf);
    c->memberIs(intf, tagged);
    auto m = doMembership(intf);
    if (tagged) {
      m->untaggedVlanDel(vlan);
      m->taggedVlanIs(vlan, true);
    } else {
      m->taggedVlanDel(vlan);
      m->untaggedVlanIs(vlan, true);
    }
  }
  // Ingress and egress fold alike: the cache's set and the port's set.
  auto direction = [&](std::map<Nollo::IntfId, bool> const& changes, char const* adding, char const* removing,
                       auto setIn, auto setOut) {
    for (auto const& [intf, on] : changes) {
      VLAN_TRACE(6, "vlan " << vlan << (on ? adding : removing) << intf);
      auto m = doMembership(intf);
      if (on) setIn(*c, *m, intf);
      else setOut(*c, *m, intf);
    }
  };
  direction(
      done.ingressMap(), " adding ingress port ", " removing ingress port ",
      [&](VlanCache& vc, PortVlanMembership& m, Nollo::IntfId const& i) {
        vc.ingressIs(i, true);
        m.ingressVlanIs(vlan, true);
      },
      [&](VlanCache& vc, PortVlanMembership& m, Nollo::IntfId const& i) {
        vc.ingressDel(i);
        m.ingressVlanDel(vlan);
      });
  direction(
      done.egressMap(), " adding egress port ", " removing egress port ",
      [&](VlanCache& vc, PortVlanMembership& m, Nollo::IntfId const& i) {
        vc.egressIs(i, true);
        m.egressVlanIs(vlan, true);
      },
      [&](VlanCache& vc, PortVlanMembership& m, Nollo::IntfId const& i) {
        vc.egressDel(i);
        m.egressVlanDel(vlan);
      });
  for (auto const& [intf, on] : done.removeMap()) {
    VLAN_TRACE(6, "vlan " << vlan << " removing port " << intf);
    c->memberDel(intf);
    c->ingressDel(intf);
    c->egressDel(intf);
    auto it = membership_.find(intf);
    if (it == membership_.end()) continue;
    auto& m = *it->second;
    m.taggedVlanDel(vlan);
    m.untaggedVlanDel(vlan);
    m.ingressVlanDel(vlan);
    m.egressVlanDel(vlan);
    if (m.empty()) membership_.erase(it);
  }
}

void VlanHelper::updateVlanDone(VlanId vlan, VlanHwUpdateStatus::Status const& status) {
  auto cfg = updateConfig_->vlan(vlan);
  VLAN_TRACE(4, __func__ << " vlanId: " << vlan << " status " << status.programmingStatus << " hwVlanConfig genId "
                         << (cfg ? cfg->genId() : 0));
  auto u = vlanUpdate(vlan);
  if (!cfg || !u) korAssert("vlanUpdate( vlanId )");
  updateConfig_->vlanDel(vlan);
  if (status.programmingStatus != VlanHwUpdateStatus::VlanProgrammingStatus::programmingSucceeded) {
    // The chip holds what it held before: keep every change and ask again
    // later, as a newer generation than the refused one.
    ++vlanFailures_;
    u->genIdInc();
    vlanUpdater_.doTriggerAfter(vlan, retryDelay_);
    return;
  }
  doFold(vlan, *cfg);
  ++vlansProgrammed_;
  // What the platform now holds leaves the update; what changed meanwhile stays.
  for (auto const& [intf, tagged] : cfg->addMap())
    if (u->addHas(intf) && u->add(intf) == tagged) u->addDel(intf);
  for (auto const& [intf, on] : cfg->ingressMap())
    if (u->ingressHas(intf) && u->ingress(intf) == on) u->ingressDel(intf);
  for (auto const& [intf, on] : cfg->egressMap())
    if (u->egressHas(intf) && u->egress(intf) == on) u->egressDel(intf);
  for (auto const& [intf, on] : cfg->removeMap())
    if (u->removeHas(intf)) u->removeDel(intf);
  if (u->genId() != cfg->genId()) {
    ++vlanRedos_;
    VLAN_TRACE(3, "Redo vlan update for vlan " << vlan << " . State changed while were were programming");
    maybeTriggerHwVlanUpdate(vlan);
    return;
  }
  VLAN_TRACE(4, "Vlan update for vlan " << vlan << " complete");
  vlanUpdate_.erase(vlan);
}

}  // namespace Kor
