#include "kor/l2/TopoPortSm.h"

#include "kor/common/KorCommonSmData.h"
#include "kor/l2/StpSm.h"
#include "kor/l2/TopoSm.h"

namespace Kor {

using Bridging::Topology::PortState;

TopoPortSm::TopoPortSm(Vix::Ptr<KorCommonSmData> const& acsd, TopoSm* topoSm, Nollo::IntfId intf)
    : KorBaseSm(acsd, "KorTopoPortSm"), topoSm_(topoSm), intf_(std::move(intf)) {}

void TopoPortSm::doSetStpState(Nollo::IntfId const& intf, PortState state) {
  if (lastReported_ == state) {
    KOR_TRACE(8, intf << " " << state << " in " << topoSm_->topoName() << " skipping unchanged report");
    return;
  }
  lastReported_ = state;
  if (acsd()->portToLagHas(intf)) {
    // The member carries its LAG's state; its own report waits for it to leave.
    KOR_TRACE(5, intf << " " << state << " part of a LAG, not updating");
    return;
  }
  if (state == PortState::trapping) KOR_TRACE(5, intf << " " << "trap" << " in " << topoSm_->topoName());
  KOR_TRACE(5, intf << " " << state << " in " << topoSm_->topoName());
  topoSm_->doWriteState(intf, state);
  if (intf.isPortChannel()) topoSm_->doApplyLagState(intf);
  topoSm_->stpSm()->doRequestVerify();
}

void TopoPortSm::handleFdbFlush() {
  TopoHelper& helper = *topoSm_->stpSm()->topoHelper();
  if (!topoSm_->topoId()) {
    // Nothing of the topology is on the platform yet: nothing was learned in it.
    KOR_TRACE(5, "flush of " << intf_ << " in " << topoSm_->topoName() << ": no hardware topology");
    return;
  }
  if (helper.flushTopoPortByVlan()) {
    auto const& maps = topoSm_->stpSm()->topoToVlanMap();
    auto it = maps.find(topoSm_->topoName());
    if (it == maps.end()) return;
    for (auto const& [vlan, mapped] : it->second.mappedVlan()) helper.flushTopoPortVlan(vlan, intf_);
    KOR_TRACE(5, "flush of " << intf_ << " in " << it->second.mappedVlan().size() << " vlans of "
                             << topoSm_->topoName());
    return;
  }
  helper.flushTopoPort(topoSm_->topoId(), intf_);
  KOR_TRACE(5, "flush of " << intf_ << " in " << topoSm_->topoName());
}

}  // namespace Kor
