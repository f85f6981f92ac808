#include "vix/MemoryLogSink.h"

namespace Vix {

size_t MemoryLogSink::count(std::string const& name) const {
  size_t n = 0;
  for (auto const& r : records_) n += r.name == name;
  return n;
}

}  // namespace Vix
