#include "kor/common/MplsStackEntryIndex.h"

#include "vix/RangeError.h"

namespace Kor {

MplsStackEntryIndex::MplsStackEntryIndex(int64_t value) {
  if (value < min || value > max) {
    throw Vix::RangeError("MplsStackEntryIndex::value < MplsStackEntryIndex::min or > MplsStackEntryIndex::max not allowed");
  }
  value_ = static_cast<uint32_t>(value);
}

}  // namespace Kor
