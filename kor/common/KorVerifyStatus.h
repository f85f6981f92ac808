#pragma once
// Outcome of a self-verification run, as VerifySm publishes it in VerifyData
// and as each state machine reports it (see VerifySm for how reports combine).
#include <ostream>

#include "kor/common/KorExport.h"

namespace KorTypes {

enum KorVerifyStatus : int {
  verifyReset,
  verifyInProgress,
  verifySuccess,
  verifyFail,
  verifyRetry,
};

// Prints the enumerator name; a value outside the enum as "KorVerifyStatus(<n>)".
KOR_EXPORT std::ostream& operator<<(std::ostream& os, KorVerifyStatus v);

}  // namespace KorTypes
