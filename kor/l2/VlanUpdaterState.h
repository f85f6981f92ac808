#pragma once
// Whether the VlanUpdater is collecting triggers ("busy": its clock runs)
// or has nothing pending ("idle").
#include <cstdint>
#include <ostream>

#include "kor/common/KorExport.h"

namespace Kor {

enum class VlanUpdaterState : uint8_t { idle, busy };

KOR_EXPORT std::ostream& operator<<(std::ostream& os, VlanUpdaterState s);

}  // namespace Kor
