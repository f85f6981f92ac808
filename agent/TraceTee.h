#pragma once
// The agent's trace sink: keeps the lines of the facilities a scenario asked
// for so that it can print them in statement order, and copies them to standard
// error when kor-agent runs with --trace. With a limit (the daemon, whose
// lines wait for the next answer on the command channel), at most that many
// lines are kept between two takes; the others are only counted.
#include <cstddef>
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
  // At most n lines are kept between takes (0: no limit).
  void limitIs(size_t n) { limit_ = n; }
  size_t limit() const { return limit_; }
  // The kept lines since the last call.
  std::vector<std::string> linesTaken();
  // Lines of kept facilities not kept, for the limit, since the last call.
  size_t droppedTaken();

 private:
  bool toStderr_ = false;
  std::set<std::string> kept_;
  std::vector<std::string> lines_;
  size_t limit_ = 0;
  size_t dropped_ = 0;
};

}  // namespace KorAgent
