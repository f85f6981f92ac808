#pragma once
// The chip's answer to one MAC table command. Success finishes it; full
// parks an address command in the programmer's overflow queue; busy, failed
// and parity errors are decided by the platform's completion step; the two
// in-progress values mean the command is still running.
// Values outside the list print as "MacProgramStatus(<number>)".
#include <cstdint>
#include <ostream>

#include "kor/common/KorExport.h"

namespace Kor {

enum class MacProgramStatus : uint8_t {
  macProgramSuccess,
  macProgramParityError,
  macProgramBusy,
  macProgramFull,
  macProgramFailed,
  macProgramInProgress,
  macProgramFlushInProgress,
};

KOR_EXPORT char const* toString(MacProgramStatus v);
KOR_EXPORT std::ostream& operator<<(std::ostream& os, MacProgramStatus v);

}  // namespace Kor
