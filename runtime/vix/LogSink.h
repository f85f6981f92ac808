#pragma once
// Where raised log events go: the process's one syslog-like output.
#include "vix/LogRecord.h"
#include "vix/PtrInterface.h"

namespace Vix {

class LogSink : public PtrInterface {
 public:
  virtual void write(LogRecord const& r) = 0;
};

}  // namespace Vix
