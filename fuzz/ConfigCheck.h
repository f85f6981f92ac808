#pragma once
// What must hold for any bytes given as a configuration file: reading them
// either returns sections or throws std::invalid_argument naming the file,
// never anything else; what reading lets through, a fresh agent takes
// whole (the file's checks cover every check of the agent's input
// operations), the same file again changes nothing, and the library runs
// over it. Shared by the ConfigFuzz target and the test that replays its
// corpus and regressions. Returns "" when all holds, else what broke.
#include <cstddef>
#include <cstdint>
#include <exception>
#include <stdexcept>
#include <string>

#include "agent/Agent.h"
#include "agent/config/ConfigFile.h"
#include "vix/Time.h"

namespace KorFuzz {

inline std::string checkConfig(uint8_t const* data, size_t size) {
  std::string const text(reinterpret_cast<char const*>(data), size);
  std::string const name = "fuzz.json";
  try {
    KorAgent::Agent agent(Vix::makePtr<Vix::ManualTimeSource>(0.0));
    agent.exitFnIs([](int) {});
    KorAgent::ConfigFile file(name, agent);
    auto const sections = file.readText(text);
    auto const first = file.apply(agent, sections);
    if (!first.refusals().empty()) return "the agent refused what the file's checks let through: " + first.text(name);
    auto const again = file.apply(agent, file.readText(text));
    if (again.changes() != 0) return "the same file again changed inputs: " + again.text(name);
    agent.init();
    agent.runUntilIdle();
  } catch (std::invalid_argument const& e) {
    if (std::string(e.what()).rfind(name + ": ", 0) != 0) return std::string("an error not naming the file: ") + e.what();
  } catch (std::exception const& e) {
    return std::string("escaped: ") + e.what();
  }
  return "";
}

}  // namespace KorFuzz
