#include "kor/common/ViaBitmapRange.h"

#include "vix/RangeError.h"

namespace Kor {

ViaBitmapRange::ViaBitmapRange(ViaIndex first, ViaIndex last) : first_(first), last_(last) {
  if (last < first) throw Vix::RangeError("ViaBitmapRange::last < ViaBitmapRange::first not allowed");
}

std::ostream& operator<<(std::ostream& os, ViaBitmapRange const& r) {
  return os << r.first() << "-" << r.last();
}

}  // namespace Kor
