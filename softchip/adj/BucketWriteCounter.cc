#include "softchip/adj/BucketWriteCounter.h"

#include <sstream>

namespace SoftChip {

BucketWriteCounter::Buckets BucketWriteCounter::bucketsOf(Kor::NextHopL2InfoCollection const* coll) {
  Buckets out;
  if (!coll) return out;
  for (auto const& [key, info] : coll->nextHopBitmap()) {
    std::ostringstream text;
    text << key.first << " " << info;
    std::string path = text.str();
    for (uint32_t w = 0; w < key.second.size(); ++w)
      for (uint32_t b = 0; b < 32; ++b)
        if ((key.second[w] >> b) & 1u) out[w * 32 + b] = path;
  }
  return out;
}

void BucketWriteCounter::handleWrite(uint64_t index, Kor::NextHopL2InfoCollection const* before,
                                     Kor::NextHopL2InfoCollection const* after) {
  Buckets old = bucketsOf(before), now = bucketsOf(after);
  uint64_t n = 0;
  for (auto const& [b, path] : now) {
    auto it = old.find(b);
    n += it == old.end() || it->second != path;
  }
  for (auto const& [b, path] : old) n += now.count(b) == 0;
  if (!n) return;
  total_ += n;
  perIndex_[index] += n;
}

uint64_t BucketWriteCounter::bucketWrites(uint64_t index) const {
  auto it = perIndex_.find(index);
  return it == perIndex_.end() ? 0 : it->second;
}

}  // namespace SoftChip
