#include "kor/common/KorBaseSm.h"

#include <algorithm>

#include "kor/common/KorCommonSmData.h"

namespace Kor {

KorBaseSm::KorBaseSm(Vix::Ptr<KorCommonSmData> const& acsd, std::string const& traceName)
    : acsd_(acsd), tf_(traceName) {
  if (acsd_) acsd_->traceFacilityAdd(&tf_);
}

KorBaseSm::~KorBaseSm() {
  if (!acsd_) return;
  acsd_->traceFacilityDel(&tf_);
  acsd_->verifiableSmDel(this);
  acsd_->handleSmDestroyed(this);
}

void KorBaseSm::initializedIs(bool v) {
  if (v == initialized_) return;
  initialized_ = v;
  if (v) handleInitialized();
}

void KorBaseSm::handleVerify() { korAssert("Call to unimplemented function " + className() + "::handleVerify"); }

void KorBaseSm::verifyReport(KorTypes::KorVerifyStatus status, std::string const& description, char const* file,
                             unsigned line, char const* function) {
  if (!acsd_) return;
  std::string filename(file ? file : "");
  if (auto slash = filename.rfind('/'); slash != std::string::npos) filename.erase(0, slash + 1);
  acsd_->verifyReport(VerifyOutput(description, filename, line, function ? function : "", status));
}

void KorBaseSm::vixDoZombieReactors(bool zombie) { hasNotificationActiveIs(!zombie); }

void KorBaseSm::hasNotificationActiveIs(bool active) {
  hasNotificationActive_ = active;
  for (auto* r : reactors_) r->notificationActiveIs(active);
}

void KorBaseSm::reactorDel(Vix::NotifieeBase* r) {
  reactors_.erase(std::remove(reactors_.begin(), reactors_.end(), r), reactors_.end());
}

}  // namespace Kor
