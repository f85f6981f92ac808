#include "softchip/l2/SoftSwitchIntfSmHelper.h"

namespace SoftChip {

SoftSwitchIntfSmHelper::SoftSwitchIntfSmHelper(Vix::ActivityLoop* loop, VlanChip* chip)
    : SwitchIntfSmHelper("switchIntfSmHelper"), chip_(chip), retry_(loop, [this] { doRetry(); }) {
  for (auto const& [intf, row] : chip_->portVlanTable().entries()) unclaimed_.insert(intf);
}

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
  unclaimed_.erase(intf);
  auto const* held = chip_->portVlanTable().find(intf);
  if ((held && *held == row) || chip_->portVlanTable().write(intf, row) == ChipAnswer::success) {
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

void SoftSwitchIntfSmHelper::doEndSync() {
  if (syncEnded_) return;
  syncEnded_ = true;
  for (auto const& intf : unclaimed_) chip_->portVlanTable().erase(intf);
  unclaimed_.clear();
}

void SoftSwitchIntfSmHelper::doRetry() {
  auto waiting = refused_;
  for (auto const& [intf, row] : waiting) doApplyConfig(intf);
}

}  // namespace SoftChip
