#include "vix/Trace.h"

namespace Vix {

namespace {
Ptr<TraceSink>& sinkRef() {
  static Ptr<TraceSink> sink;
  return sink;
}
}  // namespace

void traceSinkIs(Ptr<TraceSink> s) { sinkRef() = std::move(s); }
TraceSink* traceSink() { return sinkRef().ptr(); }

}  // namespace Vix
