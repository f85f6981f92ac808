#include "kor/common/RecircFeatureSet.h"

#include "vix/RangeError.h"

namespace Kor {

void RecircFeatureSet::featureIs(unsigned feature, bool on) {
  if (feature >= 32) throw Vix::RangeError("RecircFeatureSet::feature > 31 not allowed");
  uint32_t m = 1u << feature;
  bits_ = on ? (bits_ | m) : (bits_ & ~m);
}

std::ostream& operator<<(std::ostream& os, RecircFeatureSet s) {
  os << "{";
  bool first = true;
  for (unsigned f = 0; f < 32; ++f) {
    if (!s.has(f)) continue;
    os << (first ? "" : ",") << f;
    first = false;
  }
  return os << "}";
}

}  // namespace Kor
