#include "softchip/SoftVrfHelper.h"

namespace SoftChip {

void SoftVrfHelper::vrfCreated(Kor::VrfName const& vrfName, Kor::VrfId vrfId) {
  chip_->vrfTable().write(vrfName.str(), vrfId.value());
}

void SoftVrfHelper::vrfDeleted(Kor::VrfName const& vrfName, Kor::VrfId) {
  // The VRF's tables go with it.
  chip_->vrfTable().erase(vrfName.str());
  chip_->syncTable().erase(vrfName.str() + "/v4");
  chip_->syncTable().erase(vrfName.str() + "/v6");
}

}  // namespace SoftChip
