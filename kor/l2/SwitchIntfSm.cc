#include "kor/l2/SwitchIntfSm.h"

#include "kor/l2/VlanHelperBase.h"
#include "vix/NestedReactor.h"
#include "vix/ValidPtr.h"

namespace Kor {

namespace {
// A port's membership in one VLAN under its configuration: tagged or not,
// or none. Access and dot1q-tunnel ports are untagged in their access VLAN;
// a trunk is tagged in each allowed VLAN, untagged in its native one. Only
// configured VLANs count.
std::optional<bool> membershipOf(Bridging::VlanConfig const& vlans, Bridging::SwitchportConfig const& cfg,
                                 uint16_t vlan) {
  if (!vlans.vlanHas(vlan)) return std::nullopt;
  if (cfg.mode != Bridging::SwitchportConfig::Mode::trunk) {
    if (VlanId(cfg.accessVlan).value() != vlan) return std::nullopt;
    return false;
  }
  if (!cfg.allowedAll && !cfg.allowedVlans.count(vlan)) return std::nullopt;
  return VlanId(vlan) != VlanId(cfg.nativeVlan);
}
}  // namespace

class SwitchIntfSm::VixSwitchIntfConfig
    : public Vix::NestedReactor<SwitchIntfSm, Bridging::SwitchIntfConfig::Notifiee> {
 public:
  void handleSwitchIntfConfig(Nollo::IntfId const& intf) override { sm_->handleSwitchIntfConfig(intf); }
};

class SwitchIntfSm::VixVlanConfig : public Vix::NestedReactor<SwitchIntfSm, Bridging::VlanConfig::Notifiee> {
 public:
  void handleVlan(uint16_t const& vlan) override { sm_->handleVlan(vlan); }
};

class SwitchIntfSm::VixAcsd : public Vix::NestedReactor<SwitchIntfSm, KorCommonSmData::Notifiee> {
 public:
  void handleIntf(Nollo::IntfId const& intf) override { sm_->handleIntf(intf); }
  void handlePortToLag(Nollo::IntfId const& intf) override { sm_->handlePortToLag(intf); }
  void handleLagToPort(Nollo::IntfId const& lag) override { sm_->handleLagToPort(lag); }
};

SwitchIntfSm::SwitchIntfSm(Vix::Ptr<KorCommonSmData> const& acsd,
                           Vix::Ptr<Bridging::SwitchIntfConfig const> const& config,
                           Vix::Ptr<Bridging::VlanConfig const> const& vlanConfig,
                           Vix::Ptr<KorHelper::SwitchIntfSmHelper> const& helper)
    : KorBaseSm(acsd, "KorSwitchIntfSm"), config_(Vix::ValidPtr<Bridging::SwitchIntfConfig const>(config)),
      vlanConfig_(Vix::ValidPtr<Bridging::VlanConfig const>(vlanConfig)),
      helper_(Vix::ValidPtr<KorHelper::SwitchIntfSmHelper>(helper)) {
  vixReactors_.watch<VixSwitchIntfConfig>(config_);
  vixReactors_.watch<VixVlanConfig>(vlanConfig_);
  vixReactors_.watch<VixAcsd>(acsd);
  acsd->verifiableSmAdd(this);
}

SwitchIntfSm::~SwitchIntfSm() = default;

Vix::Ptr<SwitchIntfSm> switchIntfSmFactory(Vix::Ptr<KorCommonSmData> const& acsd,
                                           Vix::Ptr<Bridging::SwitchIntfConfig const> const& config,
                                           Vix::Ptr<Bridging::VlanConfig const> const& vlanConfig,
                                           Vix::Ptr<KorHelper::SwitchIntfSmHelper> const& helper) {
  return Vix::makePtr<SwitchIntfSm>(acsd, config, vlanConfig, helper);
}

VlanHelperBase* SwitchIntfSm::vlanHelper() const {
  auto* h = dynamic_cast<VlanHelperBase*>(acsd()->vlanHelper().ptr());
  if (!h) korAssert("No Vlan helper");
  return h;
}

void SwitchIntfSm::handleInitialized() {
  for (auto const& [vlan, on] : vlanConfig_->vlanMap()) vlanHelper()->doMaybeCreateVlan(VlanId(vlan));
  for (auto const& [intf, cfg] : config_->switchIntfConfigMap()) handleSwitchIntfConfig(intf);
  // Every configured VLAN and port has been asked for: what the chip kept
  // from an earlier run and nobody claimed may go.
  vlanHelper()->doEndSync();
  helper_->doEndSync();
}

std::optional<Bridging::SwitchportConfig> SwitchIntfSm::activeConfig(Nollo::IntfId const& intf) {
  if (acsd()->portToLagHas(intf)) {
    Nollo::IntfId lag = acsd()->portToLag(intf);
    KOR_TRACE(6, intf << " taking config from lag " << lag);
    if (!config_->switchIntfConfigHas(lag)) return std::nullopt;
    return config_->switchIntfConfig(lag);
  }
  if (!config_->switchIntfConfigHas(intf)) return std::nullopt;
  return config_->switchIntfConfig(intf);
}

void SwitchIntfSm::handleSwitchIntfConfig(Nollo::IntfId const& intf) {
  if (!initialized()) return;
  if (!intf.isPortChannel()) {
    doApply(intf);
    return;
  }
  if (!acsd()->lagToPortHas(intf)) {
    KOR_TRACE(4, intf << " not initialized as intf not present in acsd lagToPort list");
    return;
  }
  for (auto const& member : acsd()->lagToPort(intf)) doApply(member);
}

void SwitchIntfSm::handleVlan(uint16_t vlan) {
  if (!initialized()) return;
  auto* vh = vlanHelper();
  if (vlanConfig_->vlanHas(vlan)) vh->doMaybeCreateVlan(VlanId(vlan));
  // One VLAN came or went: each applied port changes in that VLAN only, so
  // a burst of N VLANs costs N x ports, not N x ports x VLANs. A port not
  // yet applied, or whose configuration went, gets the whole doApply.
  std::vector<Nollo::IntfId> whole;
  for (auto const& [intf, cfg] : config_->switchIntfConfigMap())
    if (!intf.isPortChannel() && !applied_.count(intf)) whole.push_back(intf);
  for (auto& [intf, a] : applied_) {
    auto cfg = activeConfig(intf);
    if (!cfg) {
      whole.push_back(intf);
      continue;
    }
    auto want = membershipOf(*vlanConfig_, *cfg, vlan);
    auto it = a.vlans.find(VlanId(vlan));
    if (!want) {
      if (it == a.vlans.end()) continue;
      vh->doRemovePortFromVlan(intf, VlanId(vlan));
      a.vlans.erase(it);
    } else if (it == a.vlans.end() || it->second != *want) {
      vh->doAddPortToVlan(intf, VlanId(vlan), *want, true, true);
      a.vlans[VlanId(vlan)] = *want;
    }
  }
  for (auto const& intf : whole) doApply(intf);
}

void SwitchIntfSm::handleIntf(Nollo::IntfId const& intf) {
  if (initialized()) doApply(intf);
}

void SwitchIntfSm::handlePortToLag(Nollo::IntfId const& intf) {
  if (!initialized()) return;
  if (acsd()->portToLagHas(intf)) KOR_TRACE(4, intf << " joined " << acsd()->portToLag(intf));
  else KOR_TRACE(4, intf << " left a lag");
  doApply(intf);
}

void SwitchIntfSm::handleLagToPort(Nollo::IntfId const& lag) {
  if (!initialized()) return;
  KorPortList before = lagMembers_[lag];
  if (acsd()->lagToPortHas(lag)) {
    KOR_TRACE(4, lag << " created or changed its membership");
    lagMembers_[lag] = acsd()->lagToPort(lag);
  } else {
    KOR_TRACE(4, lag << " removed");
    lagMembers_.erase(lag);
  }
  KorPortList now = acsd()->lagToPort(lag);
  for (auto const& p : now) doApply(p);
  for (auto const& p : before)
    if (!now.has(p)) doApply(p);
}

std::map<VlanId, bool> SwitchIntfSm::doMembership(Bridging::SwitchportConfig const& cfg) const {
  std::map<VlanId, bool> out;
  if (cfg.mode != Bridging::SwitchportConfig::Mode::trunk) {
    VlanId v(cfg.accessVlan);
    if (auto tagged = membershipOf(*vlanConfig_, cfg, v.value())) out[v] = *tagged;
    return out;
  }
  (void)VlanId(cfg.nativeVlan);
  for (auto const& [v, on] : vlanConfig_->vlanMap())
    if (auto tagged = membershipOf(*vlanConfig_, cfg, v)) out.emplace_hint(out.end(), VlanId(v), *tagged);
  return out;
}

void SwitchIntfSm::doApply(Nollo::IntfId const& intf) {
  if (intf.isPortChannel()) {
    handleSwitchIntfConfig(intf);
    return;
  }
  if (!acsd()->intfHas(intf)) {
    KOR_TRACE(4, intf << " not initialized as intf not present in acsd ");
    doCleanup(intf);
    return;
  }
  auto cfg = activeConfig(intf);
  if (!cfg) {
    doCleanup(intf);
    return;
  }
  // Checked before anything is asked: a bad VLAN or TPID changes nothing.
  auto want = doMembership(*cfg);
  KorPortVlanTpidData tpid(KorPortVlanTpidData::defaultTpid, cfg->vlanTpid,
                           cfg->mode == Bridging::SwitchportConfig::Mode::dot1qTunnel);
  (void)tpid;
  auto& a = applied_[intf];
  auto* vh = vlanHelper();
  // Removals first: a port leaving VLANs does not briefly sit in both sets.
  for (auto it = a.vlans.begin(); it != a.vlans.end();) {
    if (want.count(it->first)) {
      ++it;
      continue;
    }
    vh->doRemovePortFromVlan(intf, it->first);
    it = a.vlans.erase(it);
  }
  for (auto const& [vlan, tagged] : want) {
    auto it = a.vlans.find(vlan);
    if (it != a.vlans.end() && it->second == tagged) continue;
    vh->doAddPortToVlan(intf, vlan, tagged, true, true);
    a.vlans[vlan] = tagged;
  }
  handleSwitchportModeAndNativeVlan(intf, *cfg, a);
  handleVlanTpid(intf, *cfg, a);
  helper_->doApplyConfig(intf);
}

void SwitchIntfSm::handleSwitchportModeAndNativeVlan(Nollo::IntfId const& intf,
                                                     Bridging::SwitchportConfig const& cfg, Applied& a) {
  // Mode, default VLAN and TPID reach the platform only for an initialised
  // interface (one the common data knows; doApply checks it first).
  if (!acsd()->intfHas(intf)) {
    korAssert("intfConfigSm->initialized()");
    return;
  }
  using Mode = Bridging::SwitchportConfig::Mode;
  // An 802.1Q tunnel port classifies everything into its access VLAN, as
  // an access port does; it differs in its TPID data (dot1QTunnel).
  uint16_t def = VlanId(cfg.mode == Mode::trunk ? cfg.nativeVlan : cfg.accessVlan).value();
  if (a.defaultVlan != def) {
    helper_->doSetDefaultVlan(intf, def);
    a.defaultVlan = def;
  }
  if (a.mode != cfg.mode) {
    helper_->doSetPortTagging(intf, cfg.mode);
    a.mode = cfg.mode;
  }
}

void SwitchIntfSm::handleVlanTpid(Nollo::IntfId const& intf, Bridging::SwitchportConfig const& cfg, Applied& a) {
  KorPortVlanTpidData d(KorPortVlanTpidData::defaultTpid, cfg.vlanTpid,
                        cfg.mode == Bridging::SwitchportConfig::Mode::dot1qTunnel);
  d.hwVlanTpidIs(d.vlanTpid());
  if (a.tpid == d) return;
  KOR_TRACE(5, intf << ": Handling TPID " << d);
  helper_->doSetPortTpid(intf, d);
  acsd()->portVlanTpidDataIs(intf, d);
  a.tpid = d;
}

void SwitchIntfSm::doCleanup(Nollo::IntfId const& intf) {
  auto it = applied_.find(intf);
  if (it == applied_.end()) return;
  auto* vh = vlanHelper();
  for (auto const& [vlan, tagged] : it->second.vlans) vh->doRemovePortFromVlan(intf, vlan);
  applied_.erase(it);
  acsd()->portVlanTpidDataDel(intf);
  helper_->doCleanup(intf);
}

void SwitchIntfSm::handleVerify() {
  for (auto const& [intf, a] : applied_) {
    auto cfg = activeConfig(intf);
    if (!cfg || doMembership(*cfg) != a.vlans)
      KOR_VERIFY_REPORT(KorTypes::verifyFail, intf.str() + " membership differs from its configuration");
  }
  vlanHelper()->verify();
  helper_->handleVerify();
}

}  // namespace Kor
