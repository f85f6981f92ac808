// kor-bench <subcommand>: runs one registered benchmark, or all of them.
#include <cstdio>
#include <string>

#include "BenchRegistry.h"

int main(int argc, char** argv) {
  auto& entries = KorBench::BenchRegistry::entries();
  std::string cmd;
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    if (a == "--json") KorBench::BenchRegistry::json() = true;
    else if (cmd.empty()) cmd = a;
  }
  if (cmd == "all") {
    int rc = 0;
    for (auto& [name, e] : entries) {
      std::printf("== %s: %s\n", name.c_str(), e.description.c_str());
      std::fflush(stdout);
      rc |= e.fn();
    }
    return rc;
  }
  auto it = entries.find(cmd);
  if (it == entries.end()) {
    std::fprintf(stderr, "usage: %s <benchmark>|all\n", argc > 0 ? argv[0] : "kor-bench");
    for (auto& [name, e] : entries) std::fprintf(stderr, "  %-12s %s\n", name.c_str(), e.description.c_str());
    return 2;
  }
  return it->second.fn();
}
