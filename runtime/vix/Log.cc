#include "vix/Log.h"

#include <cstdio>

namespace Vix {

namespace {
Ptr<LogSink>& sinkRef() {
  static Ptr<LogSink> sink = makePtr<StderrLogSink>();
  return sink;
}
}  // namespace

void logSinkIs(Ptr<LogSink> s) { sinkRef() = std::move(s); }
Ptr<LogSink> logSink() { return sinkRef(); }

void StderrLogSink::write(LogRecord const& r) {
  std::fprintf(stderr, "%%%s-%d: %s\n", r.name.c_str(), r.severity, r.text.c_str());
}

size_t MemoryLogSink::count(std::string const& name) const {
  size_t n = 0;
  for (auto const& r : records_) n += r.name == name;
  return n;
}

bool LogHandle::raise(Seconds now, ...) const {
  if (now - last_ < rateLimit_) {
    ++suppressed_;
    return false;
  }
  last_ = now;
  ++raised_;
  char buf[1024];
  va_list ap;
  va_start(ap, now);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  std::vsnprintf(buf, sizeof buf, format_, ap);
#pragma GCC diagnostic pop
  va_end(ap);
  if (auto s = sinkRef()) s->write({name_, severity_, buf, now});
  return true;
}

}  // namespace Vix
