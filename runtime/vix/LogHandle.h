#pragma once
// A named log event, declared once (VIX_LOG_EVENT): name, severity, printf
// format, explanation, recommended action and rate limit. raise() formats the
// message and hands it to the process's log sink unless the same event went
// out less than `rateLimit` seconds ago.
#include <cstdint>

#include "vix/Time.h"

namespace Vix {

class LogHandle {
 public:
  LogHandle(char const* name, int severity, char const* format, char const* explanation,
            char const* recommendedAction, Seconds rateLimit)
      : name_(name), severity_(severity), format_(format), explanation_(explanation),
        recommendedAction_(recommendedAction), rateLimit_(rateLimit) {}
  LogHandle(LogHandle const&) = delete;
  LogHandle& operator=(LogHandle const&) = delete;

  char const* name() const { return name_; }
  int severity() const { return severity_; }
  char const* format() const { return format_; }
  char const* explanation() const { return explanation_; }
  char const* recommendedAction() const { return recommendedAction_; }
  Seconds rateLimit() const { return rateLimit_; }
  uint64_t raised() const { return raised_; }
  uint64_t suppressed() const { return suppressed_; }

  // Formats with this event's format and the arguments; `now` drives the
  // rate limit. Returns whether the message went out.
  bool raise(Seconds now, ...) const;
  // Forgets the rate-limit history (tests, agent restart).
  void reset() const { last_ = -kNever; raised_ = suppressed_ = 0; }

 private:
  char const* name_;
  int severity_;
  char const* format_;
  char const* explanation_;
  char const* recommendedAction_;
  Seconds rateLimit_;
  mutable Seconds last_ = -kNever;
  mutable uint64_t raised_ = 0;
  mutable uint64_t suppressed_ = 0;
};

}  // namespace Vix
