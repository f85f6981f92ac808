#pragma once
// Trace lines on standard error (kor-agent --trace).
#include "vix/TraceSink.h"

namespace Vix {

class StderrTraceSink : public TraceSink {
 public:
  void write(std::string const& facility, int level, std::string const& msg) override;
};

}  // namespace Vix
