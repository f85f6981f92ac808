// libFuzzer target: bytes as a configuration file read and applied (see
// ConfigCheck.h for what must hold).
#include <cstdio>
#include <cstdlib>

#include "fuzz/ConfigCheck.h"

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
  std::string const broke = KorFuzz::checkConfig(data, size);
  if (!broke.empty()) {
    std::fprintf(stderr, "ConfigFuzz: %s\n", broke.c_str());
    std::abort();
  }
  return 0;
}
