#include "kor/l2/VlanUpdater.h"

namespace Kor {

VlanUpdater::VlanUpdater(Vix::ActivityLoop* loop, Handler handler)
    : handler_(std::move(handler)), clock_(loop, [this] { handleTimeout(); }) {}

void VlanUpdater::doTriggerAfter(VlanId vlan, Vix::Seconds delay) {
  pending_.insert(vlan);
  state_ = VlanUpdaterState::busy;
  clock_.timeMinEarlierIs(clock_.now() + delay);
}

void VlanUpdater::handleTimeout() {
  state_ = VlanUpdaterState::idle;
  std::set<VlanId> work;
  work.swap(pending_);
  // A handler may trigger again (a retry): that arms the clock anew.
  for (VlanId v : work) handler_(v);
}

}  // namespace Kor
