#pragma once
// Keeps raised events so tests (and the agent's scenario output) can read
// them. With a limit, at most that many records are kept until the next
// clear(): later ones are only counted as dropped, so a process that keeps
// events for a reader that may not come (the daemon between two answers)
// stays bounded.
#include <cstddef>
#include <string>
#include <vector>

#include "vix/LogSink.h"

namespace Vix {

class MemoryLogSink : public LogSink {
 public:
  void write(LogRecord const& r) override {
    if (limit_ && records_.size() >= limit_) ++dropped_;
    else records_.push_back(r);
  }
  std::vector<LogRecord> const& records() const { return records_; }
  size_t count(std::string const& name) const;
  // Forgets the records and the count of dropped ones.
  void clear() {
    records_.clear();
    dropped_ = 0;
  }
  // At most n records are kept (0: no limit).
  void limitIs(size_t n) { limit_ = n; }
  size_t limit() const { return limit_; }
  // Records not kept since the last clear(), for the limit.
  size_t dropped() const { return dropped_; }

 private:
  std::vector<LogRecord> records_;
  size_t limit_ = 0;
  size_t dropped_ = 0;
};

}  // namespace Vix
