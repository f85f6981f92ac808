#pragma once
// Runs a benchmark's agent on its real clock in 1 ms steps until a
// condition holds or a wall-clock limit passes; shared so every benchmark
// waits for convergence the same way.
#include "ProcessUsage.h"
#include "agent/Agent.h"

namespace KorBench {

class BenchLoop {
 public:
  // Runs the loop until `done()` or `limit` seconds pass; false on timeout.
  template <class Done>
  static bool runUntil(KorAgent::Agent& agent, Done done, double limit) {
    auto start = ProcessUsage::SteadyClock::now();
    while (!done()) {
      agent.runFor(0.001);
      if (ProcessUsage::secondsSince(start) > limit) return false;
    }
    return true;
  }
};

}  // namespace KorBench
