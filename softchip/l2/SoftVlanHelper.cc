#include "softchip/l2/SoftVlanHelper.h"

#include "kor/common/KorCommonSmData.h"

namespace SoftChip {

SoftVlanHelper::SoftVlanHelper(Vix::Ptr<Kor::KorCommonSmData> const& acsd, VlanChip* chip)
    : VlanHelper(acsd, "vlanHelper"), chip_(chip), loop_(acsd->activityLoop().ptr()) {}

SoftVlanHelper::~SoftVlanHelper() = default;

void SoftVlanHelper::doCreateHwVlan(Kor::VlanId vlan) {
  auto& t = chip_->vlanTable();
  // A VLAN the chip already holds (a restart) is written as it is: a sync.
  // A refusal here is harmless: the VLAN's first update writes the row.
  auto const* have = t.find(vlan);
  t.write(vlan, have ? *have : ChipVlan{});
}

void SoftVlanHelper::doUpdateVlan(Kor::VlanId vlan) {
  auto& c = answer_[vlan];
  if (!c) c = std::make_unique<Vix::Clock>(loop_, [this, vlan] { doAnswer(vlan); });
  c->timeMinIs(loop_->now() + chip_->updateDelay());
}

void SoftVlanHelper::doAnswer(Kor::VlanId vlan) {
  auto u = updateConfig()->vlan(vlan);
  if (!u) return;
  auto& t = chip_->vlanTable();
  auto const* have = t.find(vlan);
  ChipVlan row = have ? *have : ChipVlan{};
  for (auto const& [intf, tagged] : u->addMap()) row.members[intf] = tagged;
  for (auto const& [intf, on] : u->ingressMap()) {
    if (on) row.ingress.insert(intf);
    else row.ingress.erase(intf);
  }
  for (auto const& [intf, on] : u->egressMap()) {
    if (on) row.egress.insert(intf);
    else row.egress.erase(intf);
  }
  for (auto const& [intf, on] : u->removeMap()) {
    row.members.erase(intf);
    row.ingress.erase(intf);
    row.egress.erase(intf);
  }
  using S = Kor::VlanHwUpdateStatus;
  S::Status st;
  st.genId = u->genId();
  st.programmingStatus = t.write(vlan, row) == ChipAnswer::success ? S::VlanProgrammingStatus::programmingSucceeded
                                                                    : S::VlanProgrammingStatus::programmingFailed;
  updateStatus()->statusIs(vlan, st);
}

}  // namespace SoftChip
