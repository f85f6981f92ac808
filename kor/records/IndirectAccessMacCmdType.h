#pragma once
// The kinds of MAC table command the programmer hands the chip: address
// adds and removes, and flushes by VLAN, port, LAG, or all.
// Values outside the list print as "IndirectAccessMacCmdType(<number>)".
#include <cstdint>
#include <ostream>

#include "kor/common/KorExport.h"

namespace Kor {

enum class IndirectAccessMacCmdType : uint8_t {
  addHost,
  addMcastHost,
  removeHost,
  flushVlanPort,
  flushPort,
  flushVlan,
  flushVlanLag,
  flushLag,
  flushAll,
};

KOR_EXPORT char const* toString(IndirectAccessMacCmdType v);
KOR_EXPORT std::ostream& operator<<(std::ostream& os, IndirectAccessMacCmdType v);

}  // namespace Kor
