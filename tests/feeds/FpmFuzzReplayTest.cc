// Every input the FPM fuzz target keeps - its seed corpus and the inputs
// that once broke it - replayed through the same checks under `make test`.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/FpmStreamCheck.h"
#include "fuzz/FuzzInputs.h"

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> inputs(char const* dir) { return KorFuzz::inputFiles(KOR_FUZZ_DIR, dir); }

void replay(std::vector<fs::path> const& files) {
  for (auto const& f : files) {
    std::ifstream in(f, std::ios::binary);
    std::vector<uint8_t> const bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(KorFuzz::checkFpmStream(bytes.data(), bytes.size()), "") << f;
  }
}

TEST(FpmFuzzReplayTest, SeedCorpusAndRegressions) {
  auto files = inputs("corpus/fpm");
  EXPECT_GE(files.size(), 24u) << "seed corpus missing under " << KOR_FUZZ_DIR;
  auto const regressions = inputs("regressions/fpm");
  files.insert(files.end(), regressions.begin(), regressions.end());
  replay(files);
}

}  // namespace
