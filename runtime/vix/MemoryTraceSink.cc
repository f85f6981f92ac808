#include "vix/MemoryTraceSink.h"

namespace Vix {

void MemoryTraceSink::write(std::string const& facility, int level, std::string const& msg) {
  lines_.push_back(facility + "[" + std::to_string(level) + "] " + msg);
}

size_t MemoryTraceSink::count(std::string const& text) const {
  size_t n = 0;
  for (auto const& l : lines_) n += l.find(text) != std::string::npos;
  return n;
}

}  // namespace Vix
