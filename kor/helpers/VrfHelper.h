#pragma once
// Platform hook of the VRF root: told when a VRF gets its id and when it goes,
// so the chip can set up or tear down its VRF tables. vrfCreated answers as
// every platform call does, with a state, never an exception: installed, or
// failed / notReady / full, which the VRF root records on the VRF and asks
// again (the same VRF and id) until it is installed: failed and notReady
// after a retry interval, full once the platform - which sets
// L3Status::vrfResourceFull with that answer - clears the flag. A platform library
// derives from it; an operation it does not override fails loudly.
#include <string>

#include "kor/common/KorBaseHelper.h"
#include "kor/common/KorExport.h"
#include "kor/common/VrfName.h"
#include "kor/records/VrfHwState.h"
#include "kor/records/VrfId.h"

namespace KorHelper {

class KOR_EXPORT VrfHelper : public Kor::KorBaseHelper {
 public:
  explicit VrfHelper(std::string name = "VrfHelper") : KorBaseHelper(std::move(name)) {}
  // Programs the VRF (again, on a retry: the chip takes an equal entry as a sync).
  virtual Kor::VrfHwState vrfCreated(Kor::VrfName const& /*vrfName*/, Kor::VrfId /*vrfId*/) {
    unimplemented("VrfHelper", "vrfCreated");
    return Kor::VrfHwState::vrfHwFailed;
  }
  virtual void vrfDeleted(Kor::VrfName const& /*vrfName*/, Kor::VrfId /*vrfId*/) {
    unimplemented("VrfHelper", "vrfDeleted");
  }
};

}  // namespace KorHelper
