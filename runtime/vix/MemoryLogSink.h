#pragma once
// Keeps every raised event so tests (and the agent's scenario output) can
// read them.
#include <cstddef>
#include <string>
#include <vector>

#include "vix/LogSink.h"

namespace Vix {

class MemoryLogSink : public LogSink {
 public:
  void write(LogRecord const& r) override { records_.push_back(r); }
  std::vector<LogRecord> const& records() const { return records_; }
  size_t count(std::string const& name) const;
  void clear() { records_.clear(); }

 private:
  std::vector<LogRecord> records_;
};

}  // namespace Vix
