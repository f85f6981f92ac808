#pragma once
// Fatal assertions of the library. korAssert writes the message and aborts,
// unless KOR_NOOP_AGENT is set in the environment (an agent that only goes
// through the motions), in which case it returns and the caller carries on.
#include <string>

#include "kor/common/KorExport.h"

namespace Kor {

KOR_EXPORT void korAssert(std::string const& message);

}  // namespace Kor

// Asserts an invariant; the failed expression is the message.
#define KOR_ASSERT(expr)                          \
  do {                                            \
    if (!(expr)) ::Kor::korAssert(#expr);         \
  } while (0)
