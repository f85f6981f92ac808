#include "kor/l2/VlanPhyIntfSm.h"

#include <vector>

#include "vix/RangeError.h"
#include "vix/ValidPtr.h"

namespace Kor {

class VlanPhyIntfSm::VixFidConfig : public Vix::NestedReactor<VlanPhyIntfSm, Bridging::VlanFidConfigDir::Notifiee> {
 public:
  void handleVidToFid(uint16_t const& vid) override { sm_->handleVidToFidMap(vid); }
};

class VlanPhyIntfSm::VixAcsd : public Vix::NestedReactor<VlanPhyIntfSm, KorCommonSmData::Notifiee> {
 public:
  void handleVlanIntf(Nollo::IntfId const& intf) override { sm_->handleVlanIntf(intf); }
};

VlanPhyIntfSm::VlanPhyIntfSm(Vix::Ptr<KorCommonSmData> const& acsd,
                             Vix::Ptr<Bridging::VlanFidConfigDir const> const& fidConfig,
                             Vix::Ptr<KorHelper::VlanPhyIntfSmHelper> const& helper)
    : KorBaseSm(acsd, "KorVlanPhyIntfSm"), fidConfig_(Vix::ValidPtr<Bridging::VlanFidConfigDir const>(fidConfig)),
      helper_(Vix::ValidPtr<KorHelper::VlanPhyIntfSmHelper>(helper)), retry_(acsd->activityLoop().ptr(), [this] {
        retry_.timeMinIs(Vix::kNever);
        std::vector<uint16_t> const vids(unprogrammedVlanList_.begin(), unprogrammedVlanList_.end());
        for (uint16_t vid : vids) handleVidToFidMap(vid);
      }) {
  vixReactors_.watch<VixFidConfig>(fidConfig_);
  vixReactors_.watch<VixAcsd>(acsd);
}

VlanPhyIntfSm::~VlanPhyIntfSm() = default;

Vix::Ptr<VlanPhyIntfSm> vlanPhyIntfSmFactory(Vix::Ptr<KorCommonSmData> const& acsd,
                                             Vix::Ptr<Bridging::VlanFidConfigDir const> const& fidConfig,
                                             Vix::Ptr<KorHelper::VlanPhyIntfSmHelper> const& helper) {
  return Vix::makePtr<VlanPhyIntfSm>(Vix::ValidPtr<KorCommonSmData>(acsd), fidConfig, helper);
}

void VlanPhyIntfSm::handleInitialized() {
  KOR_TRACE_FUNC();
  handleVidToFidMapAll();
  for (auto const& [intf, on] : acsd()->vlanIntfMap()) handleVlanIntf(intf);
}

void VlanPhyIntfSm::handleVidToFidMapAll() {
  std::set<uint16_t> vids;
  for (auto const& [vid, fid] : fidConfig_->vidToFidMap()) vids.insert(vid);
  for (auto const& [vid, fid] : fidProgrammed_) vids.insert(vid);
  for (uint16_t vid : vids) handleVidToFidMap(vid);
}

void VlanPhyIntfSm::handleVidToFidMap(uint16_t vid) {
  if (!initialized()) return;
  uint16_t const fid = fidConfig_->vidToFid(vid);
  VlanId vlan;
  try {
    vlan = VlanId(vid);
    if (fid) VlanId{fid};
  } catch (Vix::RangeError const& e) {
    KOR_TRACE(3, "vlan: " << vid << " fid: " << fid << ": " << e.what());
    return;
  }
  auto held = fidProgrammed_.find(vid);
  uint16_t const heldFid = held == fidProgrammed_.end() ? 0 : held->second;
  if (heldFid == fid && !unprogrammedVlanList_.count(vid) && (fid || held == fidProgrammed_.end())) return;
  KOR_TRACE(5, "vlan: " << vlan << " fid: " << fid);
  if (helper_->doUpdateVlanFid(vlan, fid) != KorTypes::success_) {
    unprogrammedVlanList_.insert(vid);
    retry_.timeMinEarlierIs(acsd()->activityLoop()->now() + kRetryPeriod);
    return;
  }
  unprogrammedVlanList_.erase(vid);
  if (fid) fidProgrammed_[vid] = fid;
  else fidProgrammed_.erase(vid);
}

void VlanPhyIntfSm::handleVlanIntf(Nollo::IntfId const& intf) {
  if (!initialized()) return;
  if (!intf.isVlan()) {
    KOR_TRACE(3, "Unknown intf:" << intf);
    return;
  }
  VlanId const vlan(intf.number(0));
  if (acsd()->vlanIntfHas(intf)) {
    vlanIntfStatus_[vlan] = intf;
    KOR_TRACE(5, intf << " added to " << "vlan " << vlan);
  } else if (vlanIntfStatus_.erase(vlan)) {
    KOR_TRACE(5, intf << " removed from" << " vlan " << vlan);
  }
}

}  // namespace Kor
