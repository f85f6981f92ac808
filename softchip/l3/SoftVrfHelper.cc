#include "softchip/l3/SoftVrfHelper.h"

#include "softchip/SoftChip.h"

namespace SoftChip {

Kor::VrfHwState SoftVrfHelper::vrfCreated(Kor::VrfName const& vrfName, Kor::VrfId vrfId) {
  switch (chip_->l3().vrfTable().write(vrfName.str(), vrfId.value())) {
    case ChipAnswer::success: return Kor::VrfHwState::vrfHwInstalled;
    case ChipAnswer::notReady: return Kor::VrfHwState::vrfHwNotReady;
    case ChipAnswer::resourceFull:
      if (l3Status_) l3Status_->vrfResourceFullIs(true);
      return Kor::VrfHwState::vrfHwFull;
    case ChipAnswer::fail: break;
  }
  return Kor::VrfHwState::vrfHwFailed;
}

void SoftVrfHelper::vrfDeleted(Kor::VrfName const& vrfName, Kor::VrfId) {
  // The VRF's tables go with it.
  if (chip_->l3().vrfTable().erase(vrfName.str())) recheckResourceFull();
  chip_->l3().syncTable().erase(vrfName.str() + "/v4");
  chip_->l3().syncTable().erase(vrfName.str() + "/v6");
}

void SoftVrfHelper::recheckResourceFull() {
  if (l3Status_ && l3Status_->vrfResourceFull() && !chip_->refusesNew(chip_->l3().vrfTable()))
    l3Status_->vrfResourceFullIs(false);
}

}  // namespace SoftChip
