#include "vix/StderrLogSink.h"

#include <cstdio>

namespace Vix {

void StderrLogSink::write(LogRecord const& r) {
  std::fprintf(stderr, "%%%s-%d: %s\n", r.name.c_str(), r.severity, r.text.c_str());
}

}  // namespace Vix
