#include "kor/l2/TopoSm.h"

#include "kor/common/KorCommonSmData.h"
#include "kor/l2/StpSm.h"

namespace Kor {

using Bridging::Topology::PortState;

TopoSm::TopoSm(Vix::Ptr<KorCommonSmData> const& acsd, StpSm* stpSm, std::string topoName)
    : KorBaseSm(acsd, "KorTopoSm"), stpSm_(stpSm), topoName_(std::move(topoName)) {}

TopoSm::~TopoSm() = default;

TopoPortSm* TopoSm::topoPortSm(Nollo::IntfId const& intf) const {
  auto it = topoPortSm_.find(intf);
  return it == topoPortSm_.end() ? nullptr : it->second.ptr();
}

size_t TopoSm::pendingCount() const {
  size_t n = 0;
  for (auto const& [intf, state] : wantState_) {
    auto it = hwState_.find(intf);
    n += it == hwState_.end() || it->second != state;
  }
  return n;
}

void TopoSm::handleInitialized() {
  doAlloc();
  // Its VLANs: those that belong in it, skipped while it had no machine.
  stpSm_->doMapVlansOf(topoName_);
  if (auto inst = stpSm_->brTopoInstStatus(topoName_)) {
    for (auto const& [intf, state] : inst->portStateMap()) handleTopoPortChange(intf);
  }
  // Members take their LAG's state once every port has its machine.
  for (auto const& [port, lag] : acsd()->portToLagMap()) handlePortToLag(port);
}

void TopoSm::handleTopoPortChange(Nollo::IntfId const& intf) {
  auto inst = stpSm_->brTopoInstStatus(topoName_);
  bool const reported = inst && inst->portStateHas(intf);
  TopoPortSm* sm = topoPortSm(intf);
  if (reported && !sm) {
    KOR_TRACE(5, topoName_ << " Creating topoPortSm for " << intf);
    auto p = Vix::makePtr<TopoPortSm>(acsd(), this, intf);
    topoPortSm_.emplace(intf, p);
    p->doSetStpState(intf, inst->portState(intf));
  } else if (!reported && sm) {
    KOR_TRACE(5, topoName_ << " Deleting topoPortSm for " << intf);
    topoPortSm_.erase(intf);
    // A LAG member keeps its LAG's state; anything else leaves the topology.
    if (!acsd()->portToLagHas(intf)) doClearState(intf);
    if (intf.isPortChannel()) {
      for (auto const& [port, lag] : acsd()->portToLagMap())
        if (lag == intf) doClearState(port);
    }
    stpSm_->doRequestVerify();
  } else if (sm) {
    sm->doSetStpState(intf, inst->portState(intf));
  } else {
    KOR_TRACE(8, topoName_ << " Nothing to do " << intf);
  }
}

void TopoSm::handlePortToLag(Nollo::IntfId const& intf) {
  if (acsd()->portToLagHas(intf)) {
    Nollo::IntfId const lag = acsd()->portToLag(intf);
    lagOf_[intf] = lag;
    TopoPortSm const* lagSm = topoPortSm(lag);
    if (lagSm && lagSm->lastReported()) {
      KOR_TRACE(5, intf << " joining lag " << lag << ", lag in this stg");
      doWriteState(intf, *lagSm->lastReported());
    } else {
      KOR_TRACE(5, intf << " joining lag " << lag << ", but lag is not in this stg");
    }
    return;
  }
  auto it = lagOf_.find(intf);
  if (it == lagOf_.end()) return;
  KOR_TRACE(5, intf << " leaving lag " << it->second << " in " << topoName_);
  lagOf_.erase(it);
  TopoPortSm const* own = topoPortSm(intf);
  if (own && own->lastReported()) {
    doWriteState(intf, *own->lastReported());
  } else {
    KOR_TRACE(5, intf << " leaving" << " with no state of its own in " << topoName_);
    doClearState(intf);
  }
  stpSm_->doRequestVerify();
}

bool TopoSm::doAlloc() {
  if (topoId_) return true;
  topoId_ = stpSm_->doAllocTopo(topoName_);
  if (!topoId_) {
    KOR_TRACE(1, "topology " << topoName_ << " waits for a hardware topology");
    return false;
  }
  KOR_TRACE(5, "topology " << topoName_ << " has hardware id " << topoId_);
  stpSm_->doSyncVlans(topoName_);
  doRetry();
  return true;
}

void TopoSm::doWriteState(Nollo::IntfId const& intf, PortState state) {
  wantState_[intf] = state;
  if (!topoId_) return;
  auto it = hwState_.find(intf);
  if (it != hwState_.end() && it->second == state) return;
  if (stpSm_->topoHelper()->setStpState(topoId_, intf, state)) {
    hwState_[intf] = state;
  } else {
    KOR_TRACE(1, intf << " " << state << " in " << topoName_ << " refused by the platform, asked again later");
  }
}

void TopoSm::doApplyLagState(Nollo::IntfId const& lag) {
  TopoPortSm const* lagSm = topoPortSm(lag);
  if (!lagSm || !lagSm->lastReported()) return;
  for (auto const& [port, l] : acsd()->portToLagMap()) {
    if (l == lag) doWriteState(port, *lagSm->lastReported());
  }
}

void TopoSm::doRetry() {
  if (!topoId_) return;
  for (auto const& [intf, state] : PortStates(wantState_)) doWriteState(intf, state);
}

void TopoSm::doClearState(Nollo::IntfId const& intf) {
  wantState_.erase(intf);
  if (hwState_.erase(intf) && topoId_) stpSm_->topoHelper()->clearStpState(topoId_, intf);
}

void TopoSm::doCleanup() {
  topoPortSm_.clear();
  if (topoId_) {
    for (auto const& [intf, state] : hwState_) stpSm_->topoHelper()->clearStpState(topoId_, intf);
    stpSm_->topoHelper()->flushTopoMacAddr(topoId_);
    stpSm_->topoHelper()->freeTopo(topoName_);
  }
  hwState_.clear();
  wantState_.clear();
  topoId_ = 0;
}

}  // namespace Kor
