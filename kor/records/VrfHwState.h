#pragma once
// Where a VRF stands in the chip: the platform's last answer to programming
// it (VrfHelper::vrfCreated). `vrfHwPending` until it is asked; `installed`
// once taken; `failed`, `notReady` and `full` are refusals the VRF root keeps
// retrying (full: also when the platform clears L3Status::vrfResourceFull).
// Values outside the list print as "VrfHwState(<number>)".
#include <cstdint>
#include <ostream>

#include "kor/common/KorExport.h"

namespace Kor {

enum class VrfHwState : uint8_t {
  vrfHwPending,
  vrfHwInstalled,
  vrfHwFailed,
  vrfHwNotReady,
  vrfHwFull,
};

// "pending", "installed", "failed", "notready", "full".
KOR_EXPORT char const* toString(VrfHwState v);
KOR_EXPORT std::ostream& operator<<(std::ostream& os, VrfHwState v);

}  // namespace Kor
