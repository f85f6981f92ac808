#include "softchip/l2/SoftSwitchIntfSmHelper.h"

#include <string>

#include "kor/common/VerifyOutput.h"

namespace SoftChip {

SoftSwitchIntfSmHelper::SoftSwitchIntfSmHelper(Vix::ActivityLoop* loop, VlanChip* chip,
                                               Vix::Ptr<Kor::KorCommonSmData> acsd)
    : SwitchIntfSmHelper("switchIntfSmHelper"), chip_(chip), acsd_(std::move(acsd)),
      retry_(loop, [this] { doRetry(); }) {
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

void SoftSwitchIntfSmHelper::handleVerify() {
  if (!acsd_) return;
  auto const& rows = chip_->portVlanTable().entries();
  std::string wrong;
  auto note = [&wrong](Nollo::IntfId const& intf, char const* what) {
    if (!wrong.empty()) wrong += ',';
    wrong += ' ';
    wrong += intf.str();
    wrong += ' ';
    wrong += what;
  };
  for (auto const& [intf, row] : wanted_) {
    if (refused_.count(intf)) continue;
    auto it = rows.find(intf);
    if (it == rows.end()) note(intf, "missing");
    else if (!(it->second == row)) note(intf, "differs");
  }
  for (auto const& [intf, row] : rows)
    if (!wanted_.count(intf) && !unclaimed_.count(intf)) note(intf, "unknown to the library");
  if (wrong.empty()) return;
  std::string d = "port VLAN rows differ from the chip:";
  d += wrong;
  acsd_->verifyReport(
      Kor::VerifyOutput(d, "SoftSwitchIntfSmHelper.cc", 0, "SoftSwitchIntfSmHelper::handleVerify", KorTypes::verifyFail));
}

void SoftSwitchIntfSmHelper::doRetry() {
  auto waiting = refused_;
  for (auto const& [intf, row] : waiting) doApplyConfig(intf);
}

}  // namespace SoftChip
