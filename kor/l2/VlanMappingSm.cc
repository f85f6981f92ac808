#include "kor/l2/VlanMappingSm.h"

#include <vector>

#include "vix/Log.h"
#include "vix/RangeError.h"
#include "vix/ValidPtr.h"

namespace Kor {

VIX_LOG_EVENT(BRIDGING_VLAN_MAPPING_RESOURCE_FULL, 3,
              "Unable to map VLAN %d to %d for interface %s on %s due to hardware resource exhaustion",
              // clang-format off
              "The specified VLAN mapping could not be programmed due to insufficient hardware resources. Packets on the original VLAN will no longer be mapped. ",
              "To solve this issue, please reduce the number of vlan mappings that are currently configured and try again. ",
              // clang-format on
              0);
VIX_LOG_EVENT(BRIDGING_VLAN_ENCAP_RESOURCE_FULL, 3,
              "Unable to encapsulate %s packets on interface %s with VLAN %d due to hardware resource exhaustion",
              "The specified native VLAN mapping could not be programmed due to insufficient hardware resources. ",
              // clang-format off
              "To solve this issue, please reduce the number of vlan mappings that are currently configured and try again. ",
              // clang-format on
              0);
VIX_LOG_EVENT(BRIDGING_VLAN_MAPPING_RESOURCE_NORMAL, 5,
              "All VLAN mappings of interface %s are programmed in hardware",
              "Hardware resources were freed and the VLAN mappings that could not be programmed before now are. ",
              "No action is required. ", 0);

class VlanMappingSm::VixConfig
    : public Vix::NestedReactor<VlanMappingSm, Bridging::VlanXlateConfigDir::Notifiee> {
 public:
  void handleIntfConfig(Nollo::IntfId const& intf) override { sm_->handleIntfConfig(intf); }
};

class VlanMappingSm::VixAcsd : public Vix::NestedReactor<VlanMappingSm, KorCommonSmData::Notifiee> {
 public:
  void handlePortToLag(Nollo::IntfId const& port) override { sm_->handlePortToLag(port); }
  void handleLagToPort(Nollo::IntfId const& lag) override { sm_->handleLagToPort(lag); }
};

VlanMappingSm::VlanMappingSm(Vix::Ptr<KorCommonSmData> const& acsd,
                             Vix::Ptr<Bridging::VlanXlateConfigDir const> const& config,
                             Vix::Ptr<Bridging::VlanXlateStatusDir> const& xlateStatus,
                             Vix::Ptr<KorHelper::VlanMappingSmHelper> const& helper)
    : KorBaseSm(acsd, "KorVlanMappingSm"), config_(Vix::ValidPtr<Bridging::VlanXlateConfigDir const>(config)),
      xlateStatus_(Vix::ValidPtr<Bridging::VlanXlateStatusDir>(xlateStatus)),
      helper_(Vix::ValidPtr<KorHelper::VlanMappingSmHelper>(helper)),
      retry_(acsd->activityLoop().ptr(), [this] { reviewUnprogrammedIntfList(); }) {
  vixReactors_.watch<VixConfig>(config_);
  vixReactors_.watch<VixAcsd>(acsd);
}

VlanMappingSm::~VlanMappingSm() = default;

Vix::Ptr<VlanMappingSm> vlanMappingSmFactory(Vix::Ptr<KorCommonSmData> const& acsd,
                                             Vix::Ptr<Bridging::VlanXlateConfigDir const> const& config,
                                             Vix::Ptr<Bridging::VlanXlateStatusDir> const& xlateStatus,
                                             Vix::Ptr<KorHelper::VlanMappingSmHelper> const& helper) {
  return Vix::makePtr<VlanMappingSm>(Vix::ValidPtr<KorCommonSmData>(acsd), config, xlateStatus, helper);
}

void VlanMappingSm::handleInitialized() {
  KOR_TRACE_FUNC();
  // Claim back what the chip kept from the last run: a translation that is
  // still configured is then "already present" and not written again.
  auto held = helper_->heldTranslations();
  for (auto const& [k, v] : held.ingress) hw_[k.first].ingress[k.second] = v;
  for (auto const& [k, v] : held.egress) hw_[k.first].egress[k.second] = v;
  for (auto const& [p, nv] : held.ingressNative) hw_[p].ingressNative = HwVlanXlate(nv.first, nv.second);
  for (auto const& [p, nv] : held.egressNative) hw_[p].egressNative = HwVlanXlate(nv.first, nv.second);

  std::set<Nollo::IntfId> ports;
  for (auto const& [p, h] : hw_) ports.insert(p);
  for (auto const& [intf, cfg] : config_->intfConfigMap()) {
    if (!intf.isPortChannel()) ports.insert(intf);
    else
      for (auto const& member : acsd()->lagToPort(intf)) ports.insert(member);
  }
  // Status entries of ports that are no longer anything of ours go.
  std::vector<Nollo::IntfId> stale;
  for (auto const& [p, s] : xlateStatus_->xlateStatusMap())
    if (!ports.count(p)) stale.push_back(p);
  for (auto const& p : stale) xlateStatus_->xlateStatusDel(p);
  for (auto const& p : ports) doApply(p);
}

void VlanMappingSm::handleIntfConfig(Nollo::IntfId const& intf) {
  if (!initialized()) return;
  if (!intf.isPortChannel()) {
    doApply(intf);
    return;
  }
  for (auto const& member : acsd()->lagToPort(intf)) doApply(member);
}

void VlanMappingSm::handlePortToLag(Nollo::IntfId const& port) {
  if (!initialized()) return;
  // Joined (or changed) a port channel: its configuration; left: its own.
  doApply(port);
}

void VlanMappingSm::handleLagToPort(Nollo::IntfId const& lag) {
  if (!initialized()) return;
  for (auto const& member : acsd()->lagToPort(lag)) doApply(member);
}

Nollo::IntfId VlanMappingSm::activeConfigIntf(Nollo::IntfId const& port) const {
  if (acsd()->portToLagHas(port)) return acsd()->portToLag(port);
  return port;
}

std::string VlanMappingSm::doCheck(Bridging::VlanXlateIntfConfig const& cfg, Wanted& out) {
  char const* where = "";
  std::string what;
  try {
    auto keyCheck = [](Bridging::VlanXlateKey const& k) {
      VlanId{k.outerVlan()};
      if (k.innerVlan()) VlanId{k.innerVlan()};
    };
    where = "ingress ";
    for (auto const& [k, m] : cfg.ingress) {
      what = k.str();
      keyCheck(k);
      out.ingress.emplace(k, VlanId(m));
    }
    where = "egress ";
    for (auto const& [k, m] : cfg.egress) {
      what = k.str();
      keyCheck(k);
      out.egress.emplace(k, VlanId(m));
    }
    where = "ingress native ";
    what = std::to_string(cfg.ingressNativeVlan);
    if (cfg.ingressNativeVlan)
      out.ingressNative = HwVlanXlate(VlanId(cfg.ingressNativeVlan), VlanId(cfg.ingressNativeMapped));
    where = "egress native ";
    what = std::to_string(cfg.egressNativeVlan);
    if (cfg.egressNativeVlan)
      out.egressNative = HwVlanXlate(VlanId(cfg.egressNativeVlan), VlanId(cfg.egressNativeMapped));
  } catch (Vix::RangeError const& e) {
    std::string reason = where;
    reason += what;
    reason += ": ";
    reason += e.what();
    return reason;
  }
  return {};
}

void VlanMappingSm::doApply(Nollo::IntfId const& port) {
  Nollo::IntfId const from = activeConfigIntf(port);
  if (from != port) KOR_TRACE(7, port << " taking config from lag " << from);
  Wanted want;
  std::string const error = doCheck(config_->intfConfig(from), want);
  if (!error.empty()) {
    // Refused whole: the port keeps what it holds.
    KOR_TRACE(3, port << " : " << error);
    auto st = xlateStatus_->xlateStatus(port);
    st.configFrom = from;
    st.error = error;
    xlateStatus_->xlateStatusIs(port, st);
    return;
  }
  if (want.empty()) {
    clearVlanMappings(port);
    return;
  }

  // Removals first: a changed or dropped translation makes room for the adds.
  bool freed = false;
  if (auto it = hw_.find(port); it != hw_.end()) {
    HwIntf const held = it->second;
    for (auto const& [k, m] : held.ingress) {
      auto w = want.ingress.find(k);
      if (w == want.ingress.end() || w->second != m) {
        delIngressVlanTranslation(port, k);
        freed = true;
      }
    }
    for (auto const& [k, m] : held.egress) {
      auto w = want.egress.find(k);
      if (w == want.egress.end() || w->second != m) {
        delEgressVlanTranslation(port, k);
        freed = true;
      }
    }
    if (!held.ingressNative.isIdentity() && want.ingressNative != held.ingressNative) {
      delIngressNativeVlanTranslation(port);
      freed = true;
    }
    if (!held.egressNative.isIdentity() && want.egressNative != held.egressNative) {
      delEgressNativeVlanTranslation(port);
      freed = true;
    }
  }

  using State = Bridging::VlanXlateIntfStatus::State;
  auto stateOf = [](KorTypes::HwXlateResult r) { return r == KorTypes::success_ ? State::programmed : State::refused; };
  Bridging::VlanXlateIntfStatus st;
  st.configFrom = from;
  refusal_.reset();
  bool refused = false;
  for (auto const& [k, m] : want.ingress) {
    st.ingress[k] = stateOf(addIngressVlanTranslation(port, k, m));
    refused |= st.ingress[k] == State::refused;
  }
  for (auto const& [k, m] : want.egress) {
    st.egress[k] = stateOf(addEgressVlanTranslation(port, k, m));
    refused |= st.egress[k] == State::refused;
  }
  if (want.ingressNative) {
    st.ingressNative = stateOf(
        addIngressNativeVlanTranslation(port, want.ingressNative->nativeVlanId(), want.ingressNative->mappedVlanId()));
    refused |= st.ingressNative == State::refused;
  }
  if (want.egressNative) {
    st.egressNative = stateOf(
        addEgressNativeVlanTranslation(port, want.egressNative->nativeVlanId(), want.egressNative->mappedVlanId()));
    refused |= st.egressNative == State::refused;
  }
  xlateStatus_->xlateStatusIs(port, st);
  doUnprogrammed(port, refused);
  // Room came back: the other waiting ports try again on the next turn.
  if (freed && !unprogrammedIntfList_.empty()) doArmRetry(acsd()->activityLoop()->now());
}

void VlanMappingSm::doUnprogrammed(Nollo::IntfId const& port, bool refused) {
  if (refused) {
    if (unprogrammedIntfList_.insert(port).second) {
      KOR_TRACE(3, port << " : Added to unprogrammed  interface list");
      if (refusal_) doRefused(*refusal_);
    }
    doArmRetry(acsd()->activityLoop()->now() + kRetryPeriod);
  } else if (unprogrammedIntfList_.erase(port)) {
    BRIDGING_VLAN_MAPPING_RESOURCE_NORMAL.raise(acsd()->activityLoop()->now(), port.str().c_str());
  }
}

void VlanMappingSm::doRefused(Refusal const& r) {
  Vix::Seconds const now = acsd()->activityLoop()->now();
  if (r.native)
    BRIDGING_VLAN_ENCAP_RESOURCE_FULL.raise(now, r.direction, refusalPort_.str().c_str(), r.to);
  else
    BRIDGING_VLAN_MAPPING_RESOURCE_FULL.raise(now, r.from, r.to, refusalPort_.str().c_str(), r.direction);
}

void VlanMappingSm::doArmRetry(Vix::Seconds at) { retry_.timeMinEarlierIs(at); }

void VlanMappingSm::reviewUnprogrammedIntfList() {
  KOR_TRACE_FUNC();
  retry_.timeMinIs(Vix::kNever);
  std::vector<Nollo::IntfId> const ports(unprogrammedIntfList_.begin(), unprogrammedIntfList_.end());
  for (auto const& p : ports) doApply(p);
  if (!unprogrammedIntfList_.empty()) doArmRetry(acsd()->activityLoop()->now() + kRetryPeriod);
}

void VlanMappingSm::clearVlanMappings(Nollo::IntfId const& port) {
  auto it = hw_.find(port);
  if (it != hw_.end()) {
    HwIntf const held = it->second;
    for (auto const& [k, m] : held.ingress) delIngressVlanTranslation(port, k);
    for (auto const& [k, m] : held.egress) delEgressVlanTranslation(port, k);
    if (!held.ingressNative.isIdentity()) delIngressNativeVlanTranslation(port);
    if (!held.egressNative.isIdentity()) delEgressNativeVlanTranslation(port);
    hw_.erase(port);
    if (!unprogrammedIntfList_.empty()) doArmRetry(acsd()->activityLoop()->now());
  }
  unprogrammedIntfList_.erase(port);
  xlateStatus_->xlateStatusDel(port);
}

void VlanMappingSm::doNoteRefusal(Nollo::IntfId const& port, bool native, char const* direction, VlanId from,
                                  VlanId to) {
  if (refusal_) return;
  refusalPort_ = port;
  refusal_ = Refusal{native, direction, from.value(), to.value()};
}

KorTypes::HwXlateResult VlanMappingSm::doAddKeyed(Nollo::IntfId const& port, bool egress,
                                                  Bridging::VlanXlateKey const& key, VlanId mapped) {
  auto& held = egress ? hw_[port].egress : hw_[port].ingress;
  if (auto it = held.find(key); it != held.end() && it->second == mapped) {
    KOR_TRACE(7, port << " : Translation from " << key << " to " << mapped << " already present");
    return KorTypes::success_;
  }
  KOR_TRACE(5, port << " : Adding Translation from " << key << " to " << mapped);
  auto const res = egress ? helper_->doAddEgressVlanTranslation(port, key, mapped)
                          : helper_->doAddIngressVlanTranslation(port, key, mapped);
  if (res == KorTypes::success_) held[key] = mapped;
  else doNoteRefusal(port, false, egress ? "egress" : "ingress", VlanId(key.outerVlan()), mapped);
  return res;
}

void VlanMappingSm::doDelKeyed(Nollo::IntfId const& port, bool egress, Bridging::VlanXlateKey const& key) {
  KOR_TRACE(5, port << " : Deleting entry for " << key);
  auto const res =
      egress ? helper_->doDelEgressVlanTranslation(port, key) : helper_->doDelIngressVlanTranslation(port, key);
  KOR_ASSERT(res == KorTypes::success_);
  (egress ? hw_[port].egress : hw_[port].ingress).erase(key);
}

KorTypes::HwXlateResult VlanMappingSm::doAddNative(Nollo::IntfId const& port, bool egress, VlanId nativeVlan,
                                                   VlanId mappedVlan) {
  HwVlanXlate* hwXlate = egress ? &hw_[port].egressNative : &hw_[port].ingressNative;
  if (*hwXlate == HwVlanXlate(nativeVlan, mappedVlan)) {
    KOR_TRACE(7, port << " : Translation from " << nativeVlan << " to " << mappedVlan << " already present");
    return KorTypes::success_;
  }
  // The chip holds one native translation per port and direction: the old
  // one is deleted (back to the identity record) before a new one is added.
  KOR_ASSERT(hwXlate->nativeVlanId() == hwXlate->mappedVlanId());
  // A pair mapping the native VLAN to itself is the identity record: no
  // translation, so nothing is written. Written, it would be an entry that
  // is never deleted (identity records are not) and that a later pair
  // would sit beside, and an egress entry tags what it should not.
  if (nativeVlan == mappedVlan) {
    *hwXlate = HwVlanXlate(nativeVlan, mappedVlan);
    return KorTypes::success_;
  }
  KOR_TRACE(5, port << " : Adding Translation from " << nativeVlan << " to " << mappedVlan);
  auto const res = egress ? helper_->doAddEgressNativeVlanTranslation(port, nativeVlan, mappedVlan)
                          : helper_->doAddIngressNativeVlanTranslation(port, nativeVlan, mappedVlan);
  if (res == KorTypes::success_) *hwXlate = HwVlanXlate(nativeVlan, mappedVlan);
  else doNoteRefusal(port, true, egress ? "egress" : "untagged", nativeVlan, mappedVlan);
  return res;
}

void VlanMappingSm::doDelNative(Nollo::IntfId const& port, bool egress) {
  HwVlanXlate& hwXlate = egress ? hw_[port].egressNative : hw_[port].ingressNative;
  KOR_TRACE(5, port << " : Deleting entry for native " << hwXlate.nativeVlanId());
  auto const res =
      egress ? helper_->doDelEgressNativeVlanTranslation(port) : helper_->doDelIngressNativeVlanTranslation(port);
  KOR_ASSERT(res == KorTypes::success_);
  hwXlate = HwVlanXlate();
}

KorTypes::HwXlateResult VlanMappingSm::addIngressVlanTranslation(Nollo::IntfId const& port,
                                                                 Bridging::VlanXlateKey const& key, VlanId mapped) {
  return doAddKeyed(port, false, key, mapped);
}
void VlanMappingSm::delIngressVlanTranslation(Nollo::IntfId const& port, Bridging::VlanXlateKey const& key) {
  doDelKeyed(port, false, key);
}
KorTypes::HwXlateResult VlanMappingSm::addEgressVlanTranslation(Nollo::IntfId const& port,
                                                                Bridging::VlanXlateKey const& key, VlanId mapped) {
  return doAddKeyed(port, true, key, mapped);
}
void VlanMappingSm::delEgressVlanTranslation(Nollo::IntfId const& port, Bridging::VlanXlateKey const& key) {
  doDelKeyed(port, true, key);
}
KorTypes::HwXlateResult VlanMappingSm::addIngressNativeVlanTranslation(Nollo::IntfId const& port, VlanId nativeVlan,
                                                                       VlanId mappedVlan) {
  return doAddNative(port, false, nativeVlan, mappedVlan);
}
void VlanMappingSm::delIngressNativeVlanTranslation(Nollo::IntfId const& port) { doDelNative(port, false); }
KorTypes::HwXlateResult VlanMappingSm::addEgressNativeVlanTranslation(Nollo::IntfId const& port, VlanId nativeVlan,
                                                                      VlanId mappedVlan) {
  return doAddNative(port, true, nativeVlan, mappedVlan);
}
void VlanMappingSm::delEgressNativeVlanTranslation(Nollo::IntfId const& port) { doDelNative(port, true); }

HwVlanXlate VlanMappingSm::hwIngressNative(Nollo::IntfId const& port) const {
  auto it = hw_.find(port);
  return it == hw_.end() ? HwVlanXlate() : it->second.ingressNative;
}

HwVlanXlate VlanMappingSm::hwEgressNative(Nollo::IntfId const& port) const {
  auto it = hw_.find(port);
  return it == hw_.end() ? HwVlanXlate() : it->second.egressNative;
}

}  // namespace Kor
