#include "kor/l2/LagSm.h"

#include <stdexcept>
#include <vector>

namespace Kor {

// One LAG's status: its members and its device name. Initialised once, when
// the machine starts watching the status.
class LagSm::VixStatus : public Vix::NestedReactor<LagSm, Interface::EthLagIntfStatus::Notifiee> {
 public:
  VixStatus(LagSm* sm, Nollo::IntfId const& lag) : lag_(lag) { sm_ = sm; }

  bool initialized() const { return initialized_; }
  void handleInitialized() {
    if (initialized()) korAssert("!initialized()");
    initialized_ = true;
    sm_->handleDeviceName(lag_);
    handleIntf();
  }
  // The member list changed.
  void handleIntf() { sm_->handleIntf(lag_); }
  // One member changed.
  void handleIntf(Nollo::IntfId const& /*intf*/) { handleIntf(); }
  void handleMember(Nollo::IntfId const& intf) override { handleIntf(intf); }
  void handleDeviceName() override { sm_->handleDeviceName(lag_); }

 private:
  Nollo::IntfId lag_;
  bool initialized_ = false;
};

class LagSm::VixEthLagIntfStatusDir
    : public Vix::NestedReactor<LagSm, Interface::EthLagIntfStatusDir::Notifiee> {
 public:
  void handleIntfStatus(Nollo::IntfId const& lag) override { sm_->handleIntfStatus(lag); }
};

class LagSm::VixCommonData : public Vix::NestedReactor<LagSm, KorCommonSmData::Notifiee> {
 public:
  void handleOperationalMode() override { sm_->handleOperationalMode(); }
};

LagSm::LagSm(Vix::Ptr<KorCommonSmData> const& acsd,
             Vix::Ptr<Interface::EthLagIntfStatusDir const> const& ethLagIntfStatusDir,
             Vix::Ptr<Lag::Input::IntfDeviceNameDir> const& lagInputIntfDeviceNameDir,
             Vix::Ptr<KorHelper::KorHelperLagSm> const& korHelper, bool disableCleanupOnRestart)
    : KorBaseSm(Vix::ValidPtr<KorCommonSmData>(acsd), "KorLagSm"),
      ethLagIntfStatusDir_(Vix::ValidPtr<Interface::EthLagIntfStatusDir const>(ethLagIntfStatusDir)),
      lagInputIntfDeviceNameDir_(Vix::ValidPtr<Lag::Input::IntfDeviceNameDir>(lagInputIntfDeviceNameDir)),
      korHelper_(Vix::ValidPtr<KorHelper::KorHelperLagSm>(korHelper)),
      disableCleanupOnRestart_(disableCleanupOnRestart),
      retry_(acsd->activityLoop().ptr(), [this] { handleRetry(); }) {
  korHelper_->lagTypeHandlerIs([this](Nollo::IntfId const& lag, KorLagType type) { doLagType(lag, type); });
  vixReactors_.watch<VixEthLagIntfStatusDir>(ethLagIntfStatusDir_);
  vixReactors_.watch<VixCommonData>(acsd);
  acsd->verifiableSmAdd(this);
}

LagSm::~LagSm() {
  korHelper_->lagTypeHandlerIs(nullptr);
  for (auto& [lag, r] : status_) reactorDel(r.get());
}

Vix::Ptr<LagSm> lagSmFactory(Vix::Ptr<KorCommonSmData> const& acsd,
                             Vix::Ptr<Interface::EthLagIntfStatusDir const> const& ethLagIntfStatusDir,
                             Vix::Ptr<Lag::Input::IntfDeviceNameDir> const& lagInputIntfDeviceNameDir,
                             Vix::Ptr<KorHelper::KorHelperLagSm> const& korHelper, bool disableCleanupOnRestart) {
  return Vix::makePtr<LagSm>(acsd, ethLagIntfStatusDir, lagInputIntfDeviceNameDir, korHelper,
                             disableCleanupOnRestart);
}

KorPortList LagSm::localMember(Nollo::IntfId const& lag) const {
  auto it = localMember_.find(lag);
  return it == localMember_.end() ? KorPortList() : it->second;
}

LagSm::VixStatus* LagSm::status(Nollo::IntfId const& lag) const {
  auto it = status_.find(lag);
  return it == status_.end() ? nullptr : it->second.get();
}

void LagSm::handleInitialized() {
  KOR_TRACE_FUNC();
  korHelper_->hwInit();
  if (disableCleanupOnRestart_) KOR_TRACE(0, "Disabling Kor cleanup in case of restart");
  for (auto const& [lag, s] : ethLagIntfStatusDir_->intfStatusMap())
    if (s) statusIs(lag, s);
  // Device names of LAGs that went while no machine ran.
  std::vector<Nollo::IntfId> stale;
  for (auto const& [lag, name] : lagInputIntfDeviceNameDir_->deviceNameMap())
    if (!status_.count(lag)) stale.push_back(lag);
  for (auto const& lag : stale) {
    KOR_TRACE(0, " clearing stale lagInputIntfDeviceNameDir entry for " << lag);
    doRemoveDeviceName(lag);
  }
  // The chip's LAGs of the previous run that no status names any longer;
  // kept when asked, so that what forwards keeps forwarding until their
  // owner says otherwise.
  if (disableCleanupOnRestart_) return;
  for (auto const& [lag, ports] : korHelper_->hwLags()) {
    if (status_.count(lag)) continue;
    KOR_TRACE(5, "Destroying stale hardware lag " << lag);
    korHelper_->maybeDestroyLag(lag);
  }
}

void LagSm::handleIntfStatus(Nollo::IntfId const& lag) {
  if (!initialized()) return;
  auto const s = ethLagIntfStatusDir_->intfStatus(lag);
  if (s) statusIs(lag, s);
  else statusDel(lag);
}

void LagSm::statusIs(Nollo::IntfId const& lag, Vix::Ptr<Interface::EthLagIntfStatus const> const& s) {
  if (!s) throw std::invalid_argument("null _status parameter to mutator for Kor::LagSm::status not allowed");
  auto& r = status_[lag];
  if (r && r->notifier() == s) return;
  if (!r) {
    r = std::make_unique<VixStatus>(this, lag);
    reactorAdd(r.get());
    r->notificationActiveIs(hasNotificationActive());
  }
  r->notifierIs(s);
  if (!r->initialized()) r->handleInitialized();
  else r->handleIntf();
}

void LagSm::statusDel(Nollo::IntfId const& lag) {
  auto it = status_.find(lag);
  if (it == status_.end()) return;
  reactorDel(it->second.get());
  status_.erase(it);
  doCleanupLag(lag);
  doRemoveDeviceName(lag);
}

KorPortList LagSm::managedMembers(Interface::EthLagIntfStatus const& s) const {
  bool const all = korHelper_->intfManagedCheckOverride();
  KorPortList ports;
  for (auto const& [member, active] : s.memberMap()) {
    if (!active) continue;
    if (!all && !korHelper_->isIntfManaged(member)) {
      KOR_TRACE(7, s.intfId() << " member " << member << " not managed");
      continue;
    }
    ports.portAdd(member);
  }
  return ports;
}

void LagSm::handleIntf(Nollo::IntfId const& lag) {
  if (!initialized()) return;
  auto* r = status(lag);
  if (!r || !r->notifier()) return;
  KOR_TRACE(8, "handleIntf " << lag);
  KorPortList const next = managedMembers(*r->notifier());
  bool const fresh = !acsd()->lagToPortHas(lag);
  KorPortList const prev = acsd()->lagToPort(lag);
  auto& acsd = *this->acsd();
  std::vector<Nollo::IntfId> left, joined;
  for (auto const& p : prev) {
    if (next.has(p)) continue;
    KOR_TRACE(5, lag << " deleting " << p);
    left.push_back(p);
    if (acsd.portToLag(p) == lag) acsd.portToLagDel(p);
  }
  for (auto const& p : next) {
    if (prev.has(p)) continue;
    KOR_TRACE(5, lag << " adding " << p);
    joined.push_back(p);
    if (acsd.portToLagHas(p) && acsd.portToLag(p) != lag) doScrubMember(p, acsd.portToLag(p));
  }
  acsd.lagToPortIs(lag, next);
  for (auto const& p : next) acsd.portToLagIs(p, lag);
  for (auto const& p : left) doUpdateMember(lag, p, false);
  for (auto const& p : joined) doUpdateMember(lag, p, true);
  if (fresh) korHelper_->maybeCreateLag(lag);
  korHelper_->updateLag(lag, next);
  doRequestVerify();
}

void LagSm::doScrubMember(Nollo::IntfId const& member, Nollo::IntfId const& lag) {
  KOR_TRACE(1, " intfName " << member << " duplicate lag found " << lag);
  auto& acsd = *this->acsd();
  KorPortList ports = acsd.lagToPort(lag);
  ports.portDel(member);
  if (acsd.lagToPortHas(lag)) acsd.lagToPortIs(lag, ports);
  acsd.portToLagDel(member);
  doUpdateMember(lag, member, false);
  korHelper_->updateLag(lag, ports);
}

void LagSm::doUpdateMember(Nollo::IntfId const& lag, Nollo::IntfId const& member, bool add) {
  KOR_TRACE(5, lag << " infName " << member << " add " << add);
  auto& ports = localMember_[lag];
  if (add) ports.portAdd(member);
  else ports.portDel(member);
  korHelper_->updateLagMember(lag, member, add, ports);
}

void LagSm::doCleanupLag(Nollo::IntfId const& lag) {
  KOR_TRACE(5, "doCleanupLag " << lag);
  auto& acsd = *this->acsd();
  for (auto const& i : acsd.lagToPort(lag)) {
    if (acsd.portToLag(i) != lag) {
      korAssert("acsd()->portToLag( i.key() ) == intf()");
      continue;  // a no-op agent carries on: the port stays with its LAG
    }
    acsd.portToLagDel(i);
  }
  acsd.lagToPortDel(lag);
  acsd.lagToLagTypeDel(lag);
  localMember_.erase(lag);
  korHelper_->maybeDestroyLag(lag);
  doRequestVerify();
}

void LagSm::handleDeviceName(Nollo::IntfId const& lag) {
  auto* r = status(lag);
  if (!r || !r->notifier()) return;
  std::string const& name = r->notifier()->deviceName();
  if (name.empty()) {
    doRemoveDeviceName(lag);
    return;
  }
  if (lagInputIntfDeviceNameDir_->deviceName(lag) == name) return;
  KOR_TRACE(5, "Added deviceName " << name << " input for " << lag);
  lagInputIntfDeviceNameDir_->deviceNameIs(lag, name);
}

void LagSm::doRemoveDeviceName(Nollo::IntfId const& lag) {
  if (!lagInputIntfDeviceNameDir_->deviceNameHas(lag)) return;
  KOR_TRACE(5, "Removing deviceName input for " << lag);
  lagInputIntfDeviceNameDir_->deviceNameDel(lag);
}

void LagSm::handleOperationalMode() {
  if (!initialized()) return;
  KOR_TRACE(5, "handleOperationalMode " << acsd()->operationalMode());
  // The platform may manage other interfaces in the new mode.
  for (auto const& [lag, r] : status_) handleIntf(lag);
}

void LagSm::handleIntfManaged(Nollo::IntfId const& intf) {
  if (!initialized()) return;
  for (auto const& [lag, r] : status_)
    if (r->notifier() && r->notifier()->memberHas(intf)) handleIntf(lag);
}

void LagSm::doLagType(Nollo::IntfId const& lag, KorLagType type) {
  if (!status_.count(lag)) return;
  if (acsd()->lagToLagTypeHas(lag) && acsd()->lagToLagType(lag) == type) return;
  KOR_TRACE(5, lag << " is a " << type);
  acsd()->lagToLagTypeIs(lag, type);
  if (type == softwareLag) retry_.timeMinEarlierIs(acsd()->activityLoop()->now() + kRetryPeriod);
  doRequestVerify();
}

void LagSm::handleRetry() {
  retry_.timeMinIs(Vix::kNever);
  auto anySoftware = [this] {
    for (auto const& [lag, type] : acsd()->lagToLagTypeMap())
      if (type == softwareLag) return true;
    return false;
  };
  if (!anySoftware()) return;
  KOR_TRACE(5, "retrying software LAGs");
  korHelper_->handleRetryVerify();
  if (anySoftware()) retry_.timeMinIs(acsd()->activityLoop()->now() + kRetryPeriod);
}

void LagSm::doRequestVerify() {
  if (auto const& vd = acsd()->verifyData())
    if (auto const& vr = vd->verifyRequired()) vr->verifyRequiredInc();
}

void LagSm::handleVerify() {
  korHelper_->handleVerify();
  auto const hw = korHelper_->hwLags();
  std::string wrong, waiting;
  auto const& acsd = *this->acsd();
  for (auto const& [lag, ports] : acsd.lagToPortMap()) {
    auto it = hw.find(lag);
    if (it == hw.end()) {
      // Refused by the chip: a software LAG until the platform's retry.
      waiting += ' ';
      waiting += lag.str();
    } else if (!(it->second == ports)) {
      wrong += ' ';
      wrong += lag.str();
    }
  }
  if (!disableCleanupOnRestart_)
    for (auto const& [lag, ports] : hw)
      if (!acsd.lagToPortHas(lag)) {
        wrong += ' ';
        wrong += lag.str();
      }
  if (!wrong.empty()) {
    std::string d = "LAGs differ from the chip:";
    d += wrong;
    KOR_VERIFY_REPORT(KorTypes::verifyFail, d);
  } else if (!waiting.empty()) {
    std::string d = "LAGs not in the chip yet:";
    d += waiting;
    KOR_VERIFY_REPORT(KorTypes::verifyRetry, d);
    korHelper_->handleRetryVerify();
  } else {
    KOR_VERIFY_REPORT(KorTypes::verifySuccess, "LAGs agree with the chip");
  }
}

}  // namespace Kor
