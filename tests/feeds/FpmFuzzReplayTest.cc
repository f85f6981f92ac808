// Every input the FPM fuzz target keeps - its seed corpus and the inputs
// that once broke it - replayed through the same checks under `make test`.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/FpmStreamCheck.h"

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> inputs(char const* dir) {
  std::vector<fs::path> files;
  fs::path const p = fs::path(KOR_FUZZ_DIR) / dir;
  if (!fs::is_directory(p)) return files;
  for (auto const& e : fs::directory_iterator(p))
    if (e.is_regular_file() && e.path().filename().string()[0] != '.') files.push_back(e.path());
  return files;
}

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
