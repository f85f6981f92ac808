#pragma once
// Platform hook of VlanPhyIntfSm: the filtering database a VLAN learns in.
// doUpdateVlanFid(vlan, fid) points the VLAN at database `fid`; fid 0 gives
// the VLAN a database of its own (the chip drops its entry). Answers with a
// state; a refused write is asked again later. A platform library derives
// from it; an operation it does not override fails loudly.
#include <cstdint>
#include <string>

#include "kor/common/KorBaseHelper.h"
#include "kor/common/KorExport.h"
#include "kor/common/VlanId.h"
#include "kor/helpers/HwXlateResult.h"

namespace KorHelper {

class KOR_EXPORT VlanPhyIntfSmHelper : public Kor::KorBaseHelper {
 public:
  explicit VlanPhyIntfSmHelper(std::string name = "VlanPhyIntfSmHelper") : KorBaseHelper(std::move(name)) {}

  virtual KorTypes::HwXlateResult doUpdateVlanFid(Kor::VlanId, uint16_t /*fid*/) {
    unimplemented("VlanPhyIntfSm", "doUpdateVlanFid");
    return KorTypes::failed_;
  }
};

}  // namespace KorHelper
