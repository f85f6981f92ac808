#include "softchip/l2/SoftLagHelper.h"

#include <vector>

#include "softchip/SoftChip.h"

namespace SoftChip {

void SoftLagHelper::doWrite(Nollo::IntfId const& lag, Kor::KorPortList const& ports) {
  auto& table = chip_->lag().lagTable();
  // A LAG held as wanted (claimed back after a restart) is not rewritten.
  auto const* held = table.find(lag);
  if ((held && *held == ports) || table.write(lag, ports) == ChipAnswer::success) refused_.erase(lag);
  else refused_.insert(lag);
  lagTypeIs(lag, table.has(lag) ? Kor::hardwareLag : Kor::softwareLag);
}

void SoftLagHelper::maybeCreateLag(Nollo::IntfId const& lag) {
  auto [it, fresh] = wanted_.try_emplace(lag);
  auto& table = chip_->lag().lagTable();
  // A LAG the chip kept from an earlier run is taken over as it is.
  if (auto const* held = table.find(lag)) {
    if (fresh) it->second = *held;
    lagTypeIs(lag, Kor::hardwareLag);
    return;
  }
  doWrite(lag, it->second);
}

void SoftLagHelper::maybeDestroyLag(Nollo::IntfId const& lag) {
  wanted_.erase(lag);
  refused_.erase(lag);
  if (chip_->lag().lagTable().erase(lag)) recheckRefused();
}

void SoftLagHelper::updateLag(Nollo::IntfId const& lag, Kor::KorPortList const& ports) {
  wanted_[lag] = ports;
  doWrite(lag, ports);
}

void SoftLagHelper::updateLagMember(Nollo::IntfId const& lag, Nollo::IntfId const& member, bool add,
                                    Kor::KorPortList const& ports) {
  auto it = wanted_.find(lag);
  if (it != wanted_.end()) it->second = ports;
  auto const* held = chip_->lag().lagTable().find(lag);
  if (!held) return;  // not created yet, or refused: the whole list follows
  Kor::KorPortList next = *held;
  if (add) next.portAdd(member);
  else next.portDel(member);
  doWrite(lag, next);
}

Kor::KorPortList const* SoftLagHelper::wanted(Nollo::IntfId const& lag) const {
  auto it = wanted_.find(lag);
  return it == wanted_.end() ? nullptr : &it->second;
}

KorHelper::KorHelperLagSm::HwLags SoftLagHelper::hwLags() const {
  auto const& entries = chip_->lag().lagTable().entries();
  return HwLags(entries.begin(), entries.end());
}

void SoftLagHelper::recheckRefused() {
  std::vector<Nollo::IntfId> const again(refused_.begin(), refused_.end());
  for (auto const& lag : again) {
    auto it = wanted_.find(lag);
    if (it == wanted_.end()) refused_.erase(lag);
    else doWrite(lag, it->second);
  }
}

void SoftLagHelper::unmanagedIs(Nollo::IntfId const& intf, bool unmanaged) {
  if (unmanaged) unmanaged_.insert(intf);
  else unmanaged_.erase(intf);
}

}  // namespace SoftChip
