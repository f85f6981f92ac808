#pragma once
// The subcommands of kor-bench. Each benchmark file registers itself with
// KOR_BENCH(name, description) { ... return 0; } and main dispatches by name,
// so adding a benchmark is adding a file. "all" runs every benchmark in name
// order.
#include <functional>
#include <map>
#include <string>

namespace KorBench {

class BenchRegistry {
 public:
  using Fn = std::function<int()>;
  struct Entry {
    std::string description;
    Fn fn;
  };
  // `--json` on the command line: one JSON object per benchmark.
  static bool& json() {
    static bool j = false;
    return j;
  }
  static std::map<std::string, Entry>& entries() {
    static std::map<std::string, Entry> e;
    return e;
  }
  struct Registrar {
    Registrar(std::string const& name, std::string const& description, Fn fn) {
      entries()[name] = Entry{description, std::move(fn)};
    }
  };
};

inline bool jsonOutput() { return BenchRegistry::json(); }

}  // namespace KorBench

#define KOR_BENCH(name, description)                                                        \
  static int korBench_##name();                                                             \
  static KorBench::BenchRegistry::Registrar korBenchRegistrar_##name(#name, description,    \
                                                                      &korBench_##name);    \
  static int korBench_##name()
