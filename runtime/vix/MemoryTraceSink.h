#pragma once
// Keeps trace lines for tests to search.
#include <cstddef>
#include <string>
#include <vector>

#include "vix/TraceSink.h"

namespace Vix {

class MemoryTraceSink : public TraceSink {
 public:
  void write(std::string const& facility, int level, std::string const& msg) override;
  std::vector<std::string> const& lines() const { return lines_; }
  // Lines containing `text`.
  size_t count(std::string const& text) const;
  bool contains(std::string const& text) const { return count(text) > 0; }
  void clear() { lines_.clear(); }

 private:
  std::vector<std::string> lines_;
};

}  // namespace Vix
