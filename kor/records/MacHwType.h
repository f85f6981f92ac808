#pragma once
// Which hardware table a MAC entry lives in: the bridge table, the VXLAN
// table, or the double-wide bridge table.
// Values outside the list print as "MacHwType(<number>)".
#include <cstdint>
#include <ostream>

#include "kor/common/KorExport.h"

namespace Kor {

enum class MacHwType : uint8_t {
  macHwKeyBridge,
  macHwKeyVxlan,
  macHwKeyBridgeDwide,
};

KOR_EXPORT char const* toString(MacHwType v);
KOR_EXPORT std::ostream& operator<<(std::ostream& os, MacHwType v);

}  // namespace Kor
