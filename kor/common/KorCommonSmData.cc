#include "kor/common/KorCommonSmData.h"

#include <algorithm>
#include <exception>

#include "kor/common/KorBaseSm.h"
#include "kor/common/VerifySm.h"
#include "vix/Log.h"

namespace Kor {

VIX_LOG_EVENT(KOR_ON_INITIALIZED_FAILED, 3, "A state machine failed to initialize: %s",
              "A state machine raised an error while doing its first pass after the agent "
              "handed in all its inputs. The other state machines were initialized; this one may "
              "not forward correctly.",
              "Restart the forwarding agent. If the problem persists, contact support.", 0.0);

void KorCommonSmData::Notifiee::guardedOnInitialized() {
  auto const& acsd = notifier();
  try {
    onInitialized();
  } catch (std::exception const& e) {
    KOR_ON_INITIALIZED_FAILED.raise(acsd->activityLoop()->now(), e.what());
  } catch (...) {
    KOR_ON_INITIALIZED_FAILED.raise(acsd->activityLoop()->now(), "unknown exception");
  }
}

KorCommonSmData::KorCommonSmData(std::string name, Vix::Ptr<Vix::ActivityLoop> loop)
    : Vix::Entity(std::move(name)), activityLoop_(Vix::ValidPtr<Vix::ActivityLoop>(loop)), tf_("KorCommonSmData") {
  operationalMode_ = modeNotConfigured;
}

KorCommonSmData::~KorCommonSmData() = default;

Vix::Ptr<VerifyData> KorCommonSmData::verifyDataIs(std::string const& name) {
  verifyData_ = Vix::makePtr<VerifyData>(name);
  notify(&Notifiee::handleVerifyData);
  return verifyData_;
}

Vix::Ptr<VerifySm> KorCommonSmData::verifySm() const {
  return Vix::Ptr<VerifySm>(static_cast<VerifySm*>(verifySm_.ptr()));
}

void KorCommonSmData::verifySmIs(Vix::Ptr<VerifySm> const& sm) {
  if (verifySm_.ptr() == sm.ptr()) return;
  verifySm_ = sm;
  notify(&Notifiee::handleVerifySm);
}

void KorCommonSmData::tractoLevelsIs(TractoLevels const& t) {
  if (t == tractoLevels_) return;
  tractoLevels_ = t;
  for (auto* tf : traceFacilities_) {
    if (auto levels = tractoLevels_.levelsFor(tf->name())) tf->levelsIs(*levels);
  }
  notify(&Notifiee::handleTractoLevels);
}

void KorCommonSmData::traceFacilityAdd(Vix::TraceFacility* tf) {
  if (std::find(traceFacilities_.begin(), traceFacilities_.end(), tf) != traceFacilities_.end()) return;
  traceFacilities_.push_back(tf);
  if (auto levels = tractoLevels_.levelsFor(tf->name())) tf->levelsIs(*levels);
}

void KorCommonSmData::traceFacilityDel(Vix::TraceFacility* tf) {
  traceFacilities_.erase(std::remove(traceFacilities_.begin(), traceFacilities_.end(), tf), traceFacilities_.end());
}

void KorCommonSmData::verifiableSmAdd(KorBaseSm* sm) {
  if (std::find(verifiableSms_.begin(), verifiableSms_.end(), sm) != verifiableSms_.end()) return;
  verifiableSms_.push_back(sm);
}

void KorCommonSmData::verifiableSmDel(KorBaseSm* sm) {
  verifiableSms_.erase(std::remove(verifiableSms_.begin(), verifiableSms_.end(), sm), verifiableSms_.end());
}

void KorCommonSmData::verifyReport(VerifyOutput const& o) {
  if (auto sm = verifySm()) sm->doReport(o);
}

void KorCommonSmData::initializedIs(bool v) {
  if (v == initialized_) return;
  initialized_ = v;
  if (v) handleInitialized();
  notify(&Notifiee::guardedOnInitialized);
}

void KorCommonSmData::handleInitialized() {
  VIX_TRACE(tf_, 9, __func__);
  auto vd = verifyDataIs("verify");
  vd->verifyRequiredIs("vr");
  verifySmIs(Vix::makePtr<VerifySm>(Vix::Ptr<KorCommonSmData>(this)));
}

void KorCommonSmData::doCleanup() {
  intfDelAll();
  unusedIntfDelAll();
  cpuIntfDelAll();
  mlagPeerLinkPortDelAll();
  mlagIntfPortDelAll();
  lagToPortConfigDelAll();
  lagToFeatureSetDelAll();
  portToLagDelAll();
  lagToPortDelAll();
  lagToLagTypeDelAll();
  internalVlanDelAll();
  vpriToTcDelAll();
  dscpToTcDelAll();
  vlanRoutingStatusDelAll();
  encapVlanDelAll();
  portVlanTpidDataDelAll();
  while (freeMirrorSessionSize()) freeMirrorSessionDeq();
  parityEventDelAll();
  vlanIntfDelAll();
  // The VerifySm refers back to this object: dropping it breaks the cycle.
  verifySmIs(nullptr);
  if (verifyData_) {
    verifyData_ = nullptr;
    notify(&Notifiee::handleVerifyData);
  }
  verifiableSms_.clear();
}

Vix::Ptr<KorCommonSmData> korCommonSmDataFactory(std::string const& name, Vix::Ptr<Vix::ActivityLoop> const& loop) {
  return Vix::makePtr<KorCommonSmData>(name, loop);
}

}  // namespace Kor
