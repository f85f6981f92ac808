#pragma once
// Per-state-machine tracing. Each state machine owns a TraceFacility named
// after its implementation ("KorVrfRootSm"); its level string ("0-4",
// "0,3,9", "" for off, "*" for all) chooses which of levels 0..15 are written.
// VIX_TRACE checks the level before it builds any string, so a disabled trace
// line costs one test of a bit.
#include <sstream>

#include "vix/MemoryTraceSink.h"
#include "vix/Ptr.h"
#include "vix/StderrTraceSink.h"
#include "vix/TraceFacility.h"
#include "vix/TraceSink.h"

namespace Vix {

// Process-wide trace output (none until set: tracing then costs nothing).
void traceSinkIs(Ptr<TraceSink> s);
TraceSink* traceSink();

}  // namespace Vix

#define VIX_TRACE(facility, level, expr)                            \
  do {                                                              \
    auto const& vixTf_ = (facility);                                \
    if (vixTf_.enabled(level) && ::Vix::traceSink()) {              \
      std::ostringstream vixOs_;                                    \
      vixOs_ << expr;                                               \
      vixTf_.write(level, vixOs_.str());                            \
    }                                                               \
  } while (0)
