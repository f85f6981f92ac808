#pragma once
// One raised log event as a sink receives it.
#include <string>

#include "vix/Time.h"

namespace Vix {

struct LogRecord {
  std::string name;
  int severity;
  std::string text;
  Seconds time;
};

}  // namespace Vix
