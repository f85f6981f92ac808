// libFuzzer target: bytes as zebra's FPM stream and as a kernel rtnetlink
// datagram (see FpmStreamCheck.h for what must hold).
#include <cstdio>
#include <cstdlib>

#include "fuzz/FpmStreamCheck.h"

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
  std::string const broke = KorFuzz::checkFpmStream(data, size);
  if (!broke.empty()) {
    std::fprintf(stderr, "FpmStreamFuzz: %s\n", broke.c_str());
    std::abort();
  }
  return 0;
}
