#pragma once
// The software chip's filtering-database hook: VLAN -> fid in the chip's
// "vlan-fid" table, answered through the fault injector; fid 0 removes the
// VLAN's entry (it learns in a database of its own), which is never refused.
#include <cstdint>

#include "kor/helpers/VlanPhyIntfSmHelper.h"
#include "softchip/common/ChipTable.h"

namespace SoftChip {

class SoftVlanPhyIntfSmHelper : public KorHelper::VlanPhyIntfSmHelper {
 public:
  explicit SoftVlanPhyIntfSmHelper(ChipTable<uint16_t, uint16_t>* table) : table_(table) {}

  KorTypes::HwXlateResult doUpdateVlanFid(Kor::VlanId vlan, uint16_t fid) override {
    if (!fid) {
      table_->erase(vlan.value());
      return KorTypes::success_;
    }
    auto a = table_->write(vlan.value(), fid);
    return a == ChipAnswer::success ? KorTypes::success_
                                    : a == ChipAnswer::resourceFull ? KorTypes::resourceFull_ : KorTypes::failed_;
  }

 private:
  ChipTable<uint16_t, uint16_t>* table_;
};

}  // namespace SoftChip
