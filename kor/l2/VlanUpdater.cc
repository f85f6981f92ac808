#include "kor/l2/VlanUpdater.h"

#include <algorithm>
#include <vector>

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
  std::vector<VlanId> work;
  work.reserve(std::min(passQuanta_, pending_.size()));
  auto it = pending_.begin();
  for (; it != pending_.end() && work.size() < passQuanta_; ++it) work.push_back(*it);
  pending_.erase(pending_.begin(), it);
  if (!pending_.empty()) {
    state_ = VlanUpdaterState::busy;
    clock_.timeMinEarlierIs(clock_.now());
  }
  // A handler may trigger again (a retry): that arms the clock anew.
  for (VlanId v : work) handler_(v);
}

}  // namespace Kor
