#pragma once
// Platform hook of the VRF root: told when a VRF gets its id and when it goes,
// so the chip can set up or tear down its VRF tables. A platform library
// derives from it; an operation it does not override fails loudly.
#include <string>

#include "kor/common/KorBaseHelper.h"
#include "kor/common/KorExport.h"
#include "kor/common/VrfName.h"
#include "kor/l3/VrfId.h"

namespace KorHelper {

class KOR_EXPORT VrfHelper : public Kor::KorBaseHelper {
 public:
  explicit VrfHelper(std::string name = "VrfHelper") : KorBaseHelper(std::move(name)) {}
  virtual void vrfCreated(Kor::VrfName const& vrfName, Kor::VrfId vrfId) { unimplemented("VrfHelper", "vrfCreated"); }
  virtual void vrfDeleted(Kor::VrfName const& vrfName, Kor::VrfId vrfId) { unimplemented("VrfHelper", "vrfDeleted"); }
};

}  // namespace KorHelper
