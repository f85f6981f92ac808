#pragma once
// The agent's trace sink: keeps the lines the library traces so that a
// scenario can print them in statement order, and copies them to standard
// error when kor-agent runs with --trace.
#include <string>
#include <vector>

#include "vix/Trace.h"

namespace KorAgent {

class TraceTee : public Vix::TraceSink {
 public:
  void write(std::string const& facility, int level, std::string const& msg) override;

  bool toStderr() const { return toStderr_; }
  void toStderrIs(bool on) { toStderr_ = on; }
  bool keep() const { return keep_; }
  void keepIs(bool on) { keep_ = on; }
  // The kept lines since the last call.
  std::vector<std::string> linesTaken();

 private:
  bool toStderr_ = false;
  bool keep_ = false;
  std::vector<std::string> lines_;
};

}  // namespace KorAgent
