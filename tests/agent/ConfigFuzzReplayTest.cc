// Every input the configuration fuzz target keeps - its seed files and the
// inputs that once broke the reading or the applying - replayed through the
// same checks under `make test`.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "fuzz/ConfigCheck.h"
#include "fuzz/FuzzInputs.h"

namespace {

TEST(ConfigFuzzReplayTest, SeedCorpusAndRegressions) {
  auto files = KorFuzz::inputFiles(KOR_FUZZ_DIR, "corpus/config");
  EXPECT_GE(files.size(), 5u) << "seed corpus missing under " << KOR_FUZZ_DIR;
  auto const regressions = KorFuzz::inputFiles(KOR_FUZZ_DIR, "regressions/config");
  files.insert(files.end(), regressions.begin(), regressions.end());
  for (auto const& f : files) {
    std::ifstream in(f, std::ios::binary);
    std::string const text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(KorFuzz::checkConfig(reinterpret_cast<uint8_t const*>(text.data()), text.size()), "") << f;
  }
}

}  // namespace
