#include "softchip/l2/SoftVlanHelper.h"

#include <algorithm>
#include <string>

#include "kor/common/KorCommonSmData.h"

namespace SoftChip {

SoftVlanHelper::SoftVlanHelper(Vix::Ptr<Kor::KorCommonSmData> const& acsd, VlanChip* chip)
    : VlanHelper(acsd, "vlanHelper"), chip_(chip), loop_(acsd->activityLoop().ptr()) {}

SoftVlanHelper::~SoftVlanHelper() = default;

void SoftVlanHelper::hwInit() {
  for (auto const& [vlan, row] : chip_->vlanTable().entries())
    doClaimHwVlan(vlan, row.members, row.ingress, row.egress);
}

void SoftVlanHelper::doCreateHwVlan(Kor::VlanId vlan) {
  auto& t = chip_->vlanTable();
  // A VLAN the chip already holds (a restart) is claimed as it is.
  // A refusal here is harmless: the VLAN's first update writes the row.
  if (t.has(vlan)) return;
  if (t.write(vlan, ChipVlan{}) == ChipAnswer::success) ++writes_[vlan];
}

void SoftVlanHelper::doDestroyHwVlan(Kor::VlanId vlan) { chip_->vlanTable().erase(vlan); }

void SoftVlanHelper::verify() {
  auto const& rows = chip_->vlanTable().entries();
  // A VLAN being programmed is compared once it settles: the handshake
  // itself brings it to the chip, and a pass run amid a burst of changes
  // (every LAG change asks for one) must not cry wolf.
  auto settling = [this](Kor::VlanId v) { return updateConfig()->vlanHas(v) || vlanUpdate(v); };
  std::string wrong;
  auto note = [&wrong](Kor::VlanId v, char const* what) {
    if (!wrong.empty()) wrong += ',';
    wrong += ' ';
    wrong += std::to_string(v.value());
    wrong += ' ';
    wrong += what;
  };
  for (auto const& [vlan, cache] : vlanCacheMap()) {
    if (settling(vlan)) continue;
    auto it = rows.find(vlan);
    if (it == rows.end()) {
      if (createdVlan().count(vlan) || !cache->memberMap().empty()) note(vlan, "missing");
      continue;
    }
    ChipVlan want;
    want.members = cache->memberMap();
    for (auto const& [intf, on] : cache->ingressMap()) want.ingress.insert(intf);
    for (auto const& [intf, on] : cache->egressMap()) want.egress.insert(intf);
    if (!(it->second == want)) note(vlan, "members differ");
  }
  for (auto const& [vlan, row] : rows)
    if (!vlanCache(vlan) && !settling(vlan)) note(vlan, "unknown to the library");
  // The ports' view must be the VLANs' view: each membership is a member.
  for (auto const& [intf, m] : portVlanMembershipMap()) {
    for (auto const& [vlan, on] : m->taggedVlanMap()) {
      auto c = vlanCache(vlan);
      if (!c || !c->memberHas(intf) || !c->member(intf)) note(vlan, "port memberships differ");
    }
    for (auto const& [vlan, on] : m->untaggedVlanMap()) {
      auto c = vlanCache(vlan);
      if (!c || !c->memberHas(intf) || c->member(intf)) note(vlan, "port memberships differ");
    }
  }
  if (!wrong.empty()) {
    std::string d = "VLANs differ from the chip:";
    d += wrong;
    doVerifyReport(KorTypes::verifyFail, d, "SoftVlanHelper::verify");
  }
}

uint64_t SoftVlanHelper::vlanWrites(Kor::VlanId vlan) const {
  auto it = writes_.find(vlan);
  return it == writes_.end() ? 0 : it->second;
}

void SoftVlanHelper::doUpdateVlan(Kor::VlanId vlan) {
  maxInFlight_ = std::max(maxInFlight_, ++inFlight_[vlan]);
  auto& c = answer_[vlan];
  if (!c) c = std::make_unique<Vix::Clock>(loop_, [this, vlan] { doAnswer(vlan); });
  c->timeMinIs(loop_->now() + chip_->updateDelay());
}

void SoftVlanHelper::doAnswer(Kor::VlanId vlan) {
  if (auto it = inFlight_.find(vlan); it != inFlight_.end() && it->second > 0) --it->second;
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
  bool took = t.write(vlan, row) == ChipAnswer::success;
  if (took) ++writes_[vlan];
  st.programmingStatus =
      took ? S::VlanProgrammingStatus::programmingSucceeded : S::VlanProgrammingStatus::programmingFailed;
  updateStatus()->statusIs(vlan, st);
}

}  // namespace SoftChip
