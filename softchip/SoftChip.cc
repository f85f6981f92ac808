#include "softchip/SoftChip.h"

namespace SoftChip {

SoftChip::SoftChip() : l3_(this, registry_, &injector_), adj_(this, registry_, &injector_),
      lag_(this, registry_, &injector_), vlan_(registry_, &injector_), xlate_(registry_, &injector_),
      stp_(registry_, &injector_),
      mac_(registry_, &injector_) {}

SoftChip::~SoftChip() = default;

bool SoftChip::refusesNew(ChipTableBase const& table) const {
  auto const& kinds = injector_.kindFaults();
  auto rule = kinds.find(table.name());
  return table.size() >= table.capacity() || (rule != kinds.end() && rule->second == ChipAnswer::resourceFull);
}

}  // namespace SoftChip
