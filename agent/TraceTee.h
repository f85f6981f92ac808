#pragma once
// The agent's trace sink: keeps the lines of the facilities a scenario asked
// for so that it can print them in statement order, and copies them to standard
// error when kor-agent runs with --trace.
#include <set>
#include <string>
#include <vector>

#include "vix/Trace.h"

namespace KorAgent {

class TraceTee : public Vix::TraceSink {
 public:
  void write(std::string const& facility, int level, std::string const& msg) override;

  bool toStderr() const { return toStderr_; }
  void toStderrIs(bool on) { toStderr_ = on; }
  // Keeps the lines of this facility from now on.
  void keepIs(std::string const& facility) { kept_.insert(facility); }
  // The kept lines since the last call.
  std::vector<std::string> linesTaken();

 private:
  bool toStderr_ = false;
  std::set<std::string> kept_;
  std::vector<std::string> lines_;
};

}  // namespace KorAgent
