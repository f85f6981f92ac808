#include "softchip/l2/SoftSwitchIntfSmHelper.h"

namespace SoftChip {

SoftSwitchIntfSmHelper::SoftSwitchIntfSmHelper(Vix::ActivityLoop* loop, VlanChip* chip)
    : SwitchIntfSmHelper("switchIntfSmHelper"), chip_(chip), retry_(loop, [this] { doRetry(); }) {}

void SoftSwitchIntfSmHelper::doSetDefaultVlan(Nollo::IntfId const& intf, uint16_t vlan) {
  wanted_[intf].defaultVlan = vlan;
}
void SoftSwitchIntfSmHelper::doSetPortTagging(Nollo::IntfId const& intf, Bridging::SwitchportConfig::Mode mode) {
  wanted_[intf].tagging = mode;
}
void SoftSwitchIntfSmHelper::doSetPortTpid(Nollo::IntfId const& intf, Kor::KorPortVlanTpidData const& tpid) {
  wanted_[intf].tpid = tpid;
}

void SoftSwitchIntfSmHelper::doApplyConfig(Nollo::IntfId const& intf) {
  auto const& row = wanted_[intf];
  if (chip_->portVlanTable().write(intf, row) == ChipAnswer::success) {
    refused_.erase(intf);
    return;
  }
  refused_[intf] = row;
  retry_.timeMinEarlierIs(retry_.now() + retryPeriod);
}

void SoftSwitchIntfSmHelper::doCleanup(Nollo::IntfId const& intf) {
  wanted_.erase(intf);
  refused_.erase(intf);
  chip_->portVlanTable().erase(intf);
}

void SoftSwitchIntfSmHelper::doRetry() {
  auto waiting = refused_;
  for (auto const& [intf, row] : waiting) doApplyConfig(intf);
}

}  // namespace SoftChip
