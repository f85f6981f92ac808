// libFuzzer target: bytes as a command-channel request (see
// CommandRequestCheck.h for what must hold).
#include <cstdio>
#include <cstdlib>

#include "fuzz/CommandRequestCheck.h"

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
  std::string const broke = KorFuzz::checkCommandRequest(data, size);
  if (!broke.empty()) {
    std::fprintf(stderr, "CommandRequestFuzz: %s\n", broke.c_str());
    std::abort();
  }
  return 0;
}
