#pragma once
// What must hold for any text given to the scenario runner: every line is
// applied or reported, nothing escapes runLine and nothing crashes the agent.
// Each input runs on a fresh agent with simulated time, so an input means the
// same thing whenever it runs; the environment `env` lines change is put
// back afterwards. Two things a real agent would do are cut short: `run`
// lines beyond two hours of simulated time in all are skipped (simulating
// them is only slow), and the input ends where the library asks the agent to
// exit. Shared by the
// ScenarioFuzz target and the test that replays its corpus and regressions.
// Returns "" when all holds, else what broke.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "agent/Agent.h"
#include "agent/ScenarioRunner.h"
#include "vix/Time.h"

extern char** environ;

namespace KorFuzz {

inline std::vector<std::pair<std::string, std::string>> environment() {
  std::vector<std::pair<std::string, std::string>> env;
  for (char** e = environ; *e; ++e) {
    std::string_view const kv(*e);
    size_t const eq = kv.find('=');
    if (eq != std::string_view::npos) env.emplace_back(kv.substr(0, eq), kv.substr(eq + 1));
  }
  return env;
}

// A `run` that would take the simulated clock past `limit`.
inline bool slowRun(std::string const& line, double now, double limit) {
  auto const w = KorAgent::ScenarioRunner::words(line);
  if (w.size() < 2 || w[0] != "run") return false;
  if (w[1] == "until") return now + 3600.0 > limit;  // runs until idle, an hour at most
  try {
    return now + KorAgent::ScenarioRunner::parseDuration(w[1]) > limit;
  } catch (std::exception const&) {
    return false;
  }
}

inline std::string checkScenario(uint8_t const* data, size_t size) {
  static auto const env = environment();
  std::string broke;
  {
    auto const clock = Vix::makePtr<Vix::ManualTimeSource>(0.0);
    KorAgent::Agent agent(clock);
    bool exited = false;
    agent.exitFnIs([&](int) { exited = true; });
    std::ostringstream out;
    KorAgent::ScenarioRunner runner(&agent, &out);
    std::string_view const text(reinterpret_cast<char const*>(data), size);
    size_t lineNo = 0;
    for (size_t at = 0; at < text.size() && !exited && broke.empty();) {
      size_t const nl = std::min(text.find('\n', at), text.size());
      std::string const line(text.substr(at, nl - at));
      at = nl + 1;
      ++lineNo;
      if (slowRun(line, clock->now(), 7200.0)) continue;
      try {
        runner.runLine(line, lineNo);
      } catch (std::exception const& e) {
        broke = "line " + std::to_string(lineNo) + " threw out of runLine: " + e.what();
      } catch (...) {
        broke = "line " + std::to_string(lineNo) + " threw something not a std::exception out of runLine";
      }
    }
  }
  clearenv();
  for (auto const& [k, v] : env) setenv(k.c_str(), v.c_str(), 1);
  return broke;
}

}  // namespace KorFuzz
