#include "kor/common/KorAssert.h"

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
