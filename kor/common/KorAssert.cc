#include "kor/common/KorAssert.h"

// The abort goes through the C library's assertion failure whatever the build
// type, so it needs the declaration that NDEBUG would hide.
#undef NDEBUG
#include <assert.h>

#include <cstdio>
#include <cstdlib>

namespace Kor {

void korAssert(std::string const& message) {
  if (std::getenv("KOR_NOOP_AGENT")) return;
  std::fprintf(stderr, "%s\n", message.c_str());
  std::fflush(stderr);
  __assert_fail(message.c_str(), "KorCommon", 12, "korAssert");
}

}  // namespace Kor
