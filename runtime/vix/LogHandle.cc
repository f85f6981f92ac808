#include "vix/LogHandle.h"

#include <cstdarg>
#include <cstdio>

#include "vix/Log.h"

namespace Vix {

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
  if (auto s = logSink()) s->write({name_, severity_, buf, now});
  return true;
}

}  // namespace Vix
