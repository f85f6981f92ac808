#pragma once
// Harness of the randomized agent tests (RandomAdjTest, RandomRouteTest): a
// whole agent over a manual clock and the software chip, a random generator
// seeded per run, and the seed loop with its environment knobs:
// KOR_RANDOM_SEED=N runs seed N only (else a fixed list), KOR_RANDOM_STEPS=N
// the number of random changes per run. A run that fails ends the loop, so
// the first failing seed is the one reported.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <random>
#include <vector>

#include "agent/Agent.h"
#include "agent/chip/ChipModule.h"
#include "agent/fib/FibModule.h"
#include "agent/intf/IntfModule.h"
#include "agent/neigh/NeighbourModule.h"
#include "agent/vrf/VrfModule.h"
#include "vix/ManualTimeSource.h"

class RandomAgentHarness : public ::testing::Test {
 protected:
  void SetUp() override {
    unsetenv("SIMULATION_VMID");
    unsetenv("KOR_ADJ_REVIEW_INTERVAL");
  }

  static uint64_t envNumber(char const* name, uint64_t dflt) {
    char const* v = std::getenv(name);
    return v && *v ? std::strtoull(v, nullptr, 10) : dflt;
  }

  // Calls run(seed, steps) once per seed, with a fresh agent and the random
  // generator seeded; steps is KOR_RANDOM_STEPS or defaultSteps.
  void forEachSeed(uint64_t defaultSteps, std::function<void(uint64_t seed, uint64_t steps)> const& run) {
    forEachSeed(defaultSteps, {}, run);
  }
  // `extraSeeds` join the fixed list: seeds that once found a fault.
  void forEachSeed(uint64_t defaultSteps, std::vector<uint64_t> const& extraSeeds,
                   std::function<void(uint64_t seed, uint64_t steps)> const& run) {
    uint64_t steps = envNumber("KOR_RANDOM_STEPS", defaultSteps);
    std::vector<uint64_t> seeds{1, 2, 3, 42, 1234, 99991};
    seeds.insert(seeds.end(), extraSeeds.begin(), extraSeeds.end());
    if (std::getenv("KOR_RANDOM_SEED")) seeds = {envNumber("KOR_RANDOM_SEED", 1)};
    for (uint64_t seed : seeds) {
      rng_.seed(seed);
      ts_ = Vix::makePtr<Vix::ManualTimeSource>(0.0);
      agent_ = std::make_unique<KorAgent::Agent>(ts_);
      agent_->exitFnIs([](int status) { FAIL() << "agent asked to exit with " << status; });
      run(seed, steps);
      if (HasFailure()) return;
    }
  }

  size_t pick(size_t n) { return std::uniform_int_distribution<size_t>(0, n - 1)(rng_); }
  bool coin(double p) { return std::uniform_real_distribution<double>(0, 1)(rng_) < p; }

  std::mt19937_64 rng_;
  Vix::Ptr<Vix::ManualTimeSource> ts_;
  std::unique_ptr<KorAgent::Agent> agent_;
};
