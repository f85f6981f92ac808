#include "quill/FecId.h"

#include "vix/RangeError.h"

namespace Quill::Fib {

FecId FecId::make(AdjType type, uint64_t index) {
  if (index > FecIdConstants::indexMask_) throw Vix::RangeError("FecId::index > 2^56-1 not allowed");
  FecId f(uint64_t(type) << FecIdConstants::adjTypeShift_ | index);
  if (!f.isValid()) throw Vix::RangeError("FecId::value == invalidFecId_ not allowed");
  return f;
}

std::ostream& operator<<(std::ostream& os, FecId const& f) { return os << f.value(); }

}  // namespace Quill::Fib
