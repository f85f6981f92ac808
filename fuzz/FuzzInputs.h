#pragma once
// The files a fuzz target keeps under the fuzz directory (its seed corpus,
// the inputs that once broke it), for the tests that replay them.
#include <filesystem>
#include <vector>

namespace KorFuzz {

// Regular files of root/dir, hidden ones left out; none when dir is missing.
inline std::vector<std::filesystem::path> inputFiles(std::filesystem::path const& root, char const* dir) {
  std::vector<std::filesystem::path> files;
  auto const p = root / dir;
  if (!std::filesystem::is_directory(p)) return files;
  for (auto const& e : std::filesystem::directory_iterator(p))
    if (e.is_regular_file() && e.path().filename().string()[0] != '.') files.push_back(e.path());
  return files;
}

}  // namespace KorFuzz
