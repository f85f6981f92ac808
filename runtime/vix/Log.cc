#include "vix/Log.h"

namespace Vix {

namespace {
Ptr<LogSink>& sinkRef() {
  static Ptr<LogSink> sink = makePtr<StderrLogSink>();
  return sink;
}
}  // namespace

void logSinkIs(Ptr<LogSink> s) { sinkRef() = std::move(s); }
Ptr<LogSink> logSink() { return sinkRef(); }

}  // namespace Vix
