#include "softchip/SoftVrfHelper.h"

namespace SoftChip {

void SoftVrfHelper::vrfCreated(Kor::VrfName const& vrfName, Kor::VrfId vrfId) {
  chip_->vrfTable().write(vrfName.str(), vrfId.value());
}

void SoftVrfHelper::vrfDeleted(Kor::VrfName const& vrfName, Kor::VrfId) { chip_->vrfTable().erase(vrfName.str()); }

}  // namespace SoftChip
