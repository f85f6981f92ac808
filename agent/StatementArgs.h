#pragma once
// The words of one statement after the words that chose it, read left to
// right. Every accessor throws std::invalid_argument with a message naming
// what was expected, so a statement is either read whole or rejected before
// anything is applied. The parse helpers are the scenario language's value
// syntax, shared by every module's statements.
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "kor/common/VlanId.h"

namespace KorAgent {

class StatementArgs {
 public:
  StatementArgs(std::vector<std::string> const& w, size_t start) : w_(w), i_(start) {}
  bool more() const { return i_ < w_.size(); }
  std::string const& peek() const { return w_[i_]; }
  std::string const& next(char const* what);
  void keyword(char const* kw);
  bool accept(char const* kw);
  void end() const;
  // An option that may be given once in a statement: true when it is next.
  bool option(char const* kw);
  // The words not read yet (a statement nested in this one).
  std::vector<std::string> rest();

  // The longest duration a statement may give (30 days): beyond it a `run`
  // or a timer setting is a typo, not a scenario.
  static constexpr double kMaxDuration = 30 * 86400.0;
  static uint64_t parseUnsigned(std::string const& t, char const* what, uint64_t max = UINT64_MAX);
  static int64_t parseSigned(std::string const& t, char const* what);
  static double parseNumber(std::string const& t, char const* what);
  static bool parseOnOff(std::string const& t);
  static Kor::VlanId parseVlan(std::string const& t);
  // "250ms", "2s", "1.5s", "100us", "0.2" (seconds), finite and at most
  // kMaxDuration.
  static double parseDuration(std::string const& text);

 private:
  std::vector<std::string> const& w_;
  size_t i_;
  std::set<std::string> seen_;
};

}  // namespace KorAgent
