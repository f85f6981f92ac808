#pragma once
// Named log events and the process's log sink. The sink is StderrLogSink
// until replaced; tests capture events with MemoryLogSink.
#include "vix/LogHandle.h"
#include "vix/LogRecord.h"
#include "vix/LogSink.h"
#include "vix/MemoryLogSink.h"
#include "vix/Ptr.h"
#include "vix/StderrLogSink.h"

namespace Vix {

// The process's log sink (StderrLogSink until replaced).
void logSinkIs(Ptr<LogSink> s);
Ptr<LogSink> logSink();

}  // namespace Vix

// Declares a log event once, at namespace scope in one .cc file (and with
// VIX_LOG_EXTERN in a header where others raise it).
#define VIX_LOG_EVENT(NAME, severity, format, explanation, action, rateLimit) \
  ::Vix::LogHandle const NAME(#NAME, severity, format, explanation, action, rateLimit)
#define VIX_LOG_EXTERN(NAME) extern ::Vix::LogHandle const NAME
