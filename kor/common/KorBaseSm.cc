#include "kor/common/KorBaseSm.h"

#include <algorithm>

#include "kor/common/KorCommonSmData.h"

namespace Kor {

KorBaseSm::KorBaseSm(Vix::Ptr<KorCommonSmData> const& acsd, std::string const& traceName)
    : acsd_(acsd), tf_(traceName) {}

KorBaseSm::~KorBaseSm() = default;

void KorBaseSm::initializedIs(bool v) {
  if (v == initialized_) return;
  initialized_ = v;
  if (v) handleInitialized();
}

void KorBaseSm::handleVerify() { korAssert("Call to unimplemented function " + className() + "::handleVerify"); }

void KorBaseSm::vixDoZombieReactors(bool zombie) { hasNotificationActiveIs(!zombie); }

void KorBaseSm::hasNotificationActiveIs(bool active) {
  hasNotificationActive_ = active;
  for (auto* r : reactors_) r->notificationActiveIs(active);
}

void KorBaseSm::reactorDel(Vix::NotifieeBase* r) {
  reactors_.erase(std::remove(reactors_.begin(), reactors_.end(), r), reactors_.end());
}

}  // namespace Kor
