#pragma once
// Counts the bucket writes of the chip's resilient L2 adjacencies. An L2
// adjacency whose rewrite data holds bitmap paths (NextHopL2InfoCollection::
// nextHopBitmap) is a bucket table: bucket b names the path whose bitmap has
// bit b. A write of such an adjacency costs one bucket write per bucket whose
// path differs from what the chip held (a bucket emptied counts too); a
// rewrite of equal data costs none. Counted per L2 adjacency index and in
// total, for the life of the chip (restarts of the library included).
// Fed by SoftAdjSmHelper after each accepted write or delete.
#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "kor/records/NextHopL2InfoCollection.h"

namespace SoftChip {

class BucketWriteCounter {
 public:
  // Bucket -> the text of the path it names.
  using Buckets = std::map<uint32_t, std::string>;
  static Buckets bucketsOf(Kor::NextHopL2InfoCollection const* coll);

  void handleWrite(uint64_t index, Kor::NextHopL2InfoCollection const* before,
                   Kor::NextHopL2InfoCollection const* after);
  uint64_t bucketWrites() const { return total_; }
  uint64_t bucketWrites(uint64_t index) const;
  std::map<uint64_t, uint64_t> const& perIndex() const { return perIndex_; }

 private:
  uint64_t total_ = 0;
  std::map<uint64_t, uint64_t> perIndex_;
};

}  // namespace SoftChip
