#include "softchip/SoftRoutingStatusSmHelper.h"

namespace SoftChip {

bool SoftRoutingStatusSmHelper::routingEnabled(Kor::VrfName const& vrfName) const {
  return chip_->vrfTable().has(vrfName.str());
}

bool SoftRoutingStatusSmHelper::routing6Enabled(Kor::VrfName const& vrfName) const {
  return chip_->vrfTable().has(vrfName.str());
}

}  // namespace SoftChip
