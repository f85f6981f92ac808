#pragma once
// The agent's log output: one line per event on standard error.
#include "vix/LogSink.h"

namespace Vix {

class StderrLogSink : public LogSink {
 public:
  void write(LogRecord const& r) override;
};

}  // namespace Vix
