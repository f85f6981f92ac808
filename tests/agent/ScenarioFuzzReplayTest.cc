// Every input the scenario fuzz target keeps - the scenario files, fragments
// of them, and the inputs that once broke the agent or the runner -
// replayed through the same checks under `make test`.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/ScenarioCheck.h"
#include "fuzz/FuzzInputs.h"

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> inputs(char const* dir) { return KorFuzz::inputFiles(KOR_FUZZ_DIR, dir); }

void replay(std::vector<fs::path> const& files) {
  for (auto const& f : files) {
    std::ifstream in(f, std::ios::binary);
    std::string const text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(KorFuzz::checkScenario(reinterpret_cast<uint8_t const*>(text.data()), text.size()), "") << f;
  }
}

TEST(ScenarioFuzzReplayTest, SeedCorpusAndRegressions) {
  auto files = inputs("corpus/scenario");
  EXPECT_GE(files.size(), 20u) << "seed corpus missing under " << KOR_FUZZ_DIR;
  auto const regressions = inputs("regressions/scenario");
  files.insert(files.end(), regressions.begin(), regressions.end());
  replay(files);
}

}  // namespace
