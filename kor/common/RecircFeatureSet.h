#pragma once
// The features a recirculation LAG serves, as a bit set (bit n = feature n,
// numbered by the recirculation machinery that configures them). Kept per LAG
// in KorCommonSmData::lagToFeatureSet; empty by default.
#include <compare>
#include <cstdint>
#include <ostream>

#include "kor/common/KorExport.h"

namespace Kor {

class KOR_EXPORT RecircFeatureSet {
 public:
  RecircFeatureSet() = default;
  explicit RecircFeatureSet(uint32_t bits) : bits_(bits) {}

  uint32_t bits() const { return bits_; }
  bool has(unsigned feature) const { return feature < 32 && ((bits_ >> feature) & 1u); }
  void featureIs(unsigned feature, bool on);
  bool empty() const { return bits_ == 0; }
  auto operator<=>(RecircFeatureSet const&) const = default;

 private:
  uint32_t bits_ = 0;
};

KOR_EXPORT std::ostream& operator<<(std::ostream& os, RecircFeatureSet s);

}  // namespace Kor
