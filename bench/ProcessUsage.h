#pragma once
// What a benchmark reads of its own process: wall time since a start point,
// CPU time so far (user and system) and peak resident set size. Shared by
// the benchmarks so each reports the same figures the same way.
#include <sys/resource.h>

#include <chrono>

namespace KorBench {

class ProcessUsage {
 public:
  using SteadyClock = std::chrono::steady_clock;

  static double secondsSince(SteadyClock::time_point t) {
    return std::chrono::duration<double>(SteadyClock::now() - t).count();
  }

  static double cpuSeconds() {
    rusage ru{};
    getrusage(RUSAGE_SELF, &ru);
    return double(ru.ru_utime.tv_sec + ru.ru_stime.tv_sec) +
           double(ru.ru_utime.tv_usec + ru.ru_stime.tv_usec) * 1e-6;
  }

  static long peakRssKb() {
    rusage ru{};
    getrusage(RUSAGE_SELF, &ru);
    return ru.ru_maxrss;
  }
};

}  // namespace KorBench
