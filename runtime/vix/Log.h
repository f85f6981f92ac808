#pragma once
// Named log events. Each event is declared once, as a LogHandle holding its
// name, severity, printf format, explanation, recommended action and rate
// limit; raising it formats the message and hands it to the process's log
// sink unless the same event was raised less than `rateLimit` seconds ago.
// The sink is the process's one syslog-like output: the agent writes it to
// stderr, tests capture it with MemoryLogSink.
#include <cstdarg>
#include <cstdint>
#include <string>
#include <vector>

#include "vix/Ptr.h"
#include "vix/Time.h"

namespace Vix {

struct LogRecord {
  std::string name;
  int severity;
  std::string text;
  Seconds time;
};

class LogSink : public PtrInterface {
 public:
  virtual void write(LogRecord const& r) = 0;
};

class StderrLogSink : public LogSink {
 public:
  void write(LogRecord const& r) override;
};

class MemoryLogSink : public LogSink {
 public:
  void write(LogRecord const& r) override { records_.push_back(r); }
  std::vector<LogRecord> const& records() const { return records_; }
  size_t count(std::string const& name) const;
  void clear() { records_.clear(); }

 private:
  std::vector<LogRecord> records_;
};

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

// The process's log sink (StderrLogSink until replaced).
void logSinkIs(Ptr<LogSink> s);
Ptr<LogSink> logSink();

}  // namespace Vix

// Declares a log event once, at namespace scope in one .cc file (and with
// VIX_LOG_EXTERN in a header where others raise it).
#define VIX_LOG_EVENT(NAME, severity, format, explanation, action, rateLimit) \
  ::Vix::LogHandle const NAME(#NAME, severity, format, explanation, action, rateLimit)
#define VIX_LOG_EXTERN(NAME) extern ::Vix::LogHandle const NAME
