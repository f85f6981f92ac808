#pragma once
// Reads the scenario language (docs/scenario.md) line by line and runs each
// statement through the agent's statement table, where its module parsed and
// checked it completely - names, addresses, prefixes, VLAN ids, numbers,
// durations - before anything is applied, so a bad line prints
// "line N: <message>" and changes no state; the run then goes on with the
// next line. Output (shows, command answers, the
// library's log events and traces) goes to one stream in statement order.
#include <cstddef>
#include <istream>
#include <ostream>
#include <string>
#include <vector>

namespace KorAgent {

class Agent;

class ScenarioRunner {
 public:
  ScenarioRunner(Agent* agent, std::ostream* out) : agent_(agent), out_(out) {}

  // Runs every line; returns the number of bad lines.
  size_t runStream(std::istream& in);
  size_t runText(std::string const& text);
  // Runs one line as line number lineNo; false when it was bad (reported).
  bool runLine(std::string const& line, size_t lineNo);
  size_t errors() const { return errors_; }

  // Splits a line into words; '#' starts a comment.
  static std::vector<std::string> words(std::string const& line);
  // "250ms", "2s", "1.5s", "0.2" (seconds), finite and at most 30 days;
  // throws on anything else (StatementArgs::parseDuration).
  static double parseDuration(std::string const& text);

 private:
  static void checkText(std::string const& line);

  Agent* agent_;
  std::ostream* out_;
  size_t errors_ = 0;
};

}  // namespace KorAgent
