#include "softchip/adj/AdjChip.h"

#include "softchip/adj/SoftAdjSmHelper.h"

namespace SoftChip {

AdjChip::AdjChip(SoftChip* chip, ChipRegistry& registry, FaultInjector* injector)
    : l2Adj_("l2adj", injector), nhg_("nhg", injector), softAdjSmHelper_(Vix::makePtr<SoftAdjSmHelper>(chip)) {
  registry.tableIs(&l2Adj_);
  registry.tableIs(&nhg_);
  registry.helperIs(softAdjSmHelper_.ptr());
}

AdjChip::~AdjChip() = default;

Vix::Ptr<KorHelper::AdjSmHelper> AdjChip::adjSmHelper() const { return softAdjSmHelper_; }

}  // namespace SoftChip
