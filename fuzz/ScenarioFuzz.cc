// libFuzzer target: bytes as scenario text run on the agent (see
// ScenarioCheck.h for what must hold).
#include <cstdio>
#include <cstdlib>

#include "fuzz/ScenarioCheck.h"

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
  std::string const broke = KorFuzz::checkScenario(data, size);
  if (!broke.empty()) {
    std::fprintf(stderr, "ScenarioFuzz: %s\n", broke.c_str());
    std::abort();
  }
  return 0;
}
