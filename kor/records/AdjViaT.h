#pragma once
// The paths of one adjacency (AdjVia for IPv4, AdjVia6 for IPv6, in
// AdjVia.h), rebuilt by the adjacency machine from the FEC on every review
// and read by the L2 adjacency helper to build the L2 rewrite data. `via` is
// indexed by ViaIndex (a via beyond ViaIndex::max is refused with a range
// error, the record unchanged); equal vias may repeat, the count is the
// path's weight. `viaBitmap` holds vias that stand for a bitmap of members.
// `noAdjSharing` set keeps this adjacency off shared L2 adjacencies.
#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "kor/records/ViaT.h"
#include "kor/common/ViaBitmap.h"
#include "kor/common/ViaIndex.h"
#include "nollo/IpGenAddr.h"
#include "vix/Ptr.h"

namespace Kor {

template <class AF>
class AdjViaT : public Vix::PtrInterface {
 public:
  using Via = ViaT<AF>;

  // Number of vias (with repetitions).
  size_t vias() const { return via_.size(); }
  Via const& via(ViaIndex i) const { return via_.at(i.value()); }
  std::vector<Via> const& viaList() const { return via_; }
  // Appends at the next index; throws Vix::RangeError past ViaIndex::max.
  void viaAdd(Via const& v) {
    ViaIndex(static_cast<int64_t>(via_.size()));
    via_.push_back(v);
  }
  void viaDelAll() { via_.clear(); }
  // How many times `v` stands in via: its weight.
  uint32_t weight(Via const& v) const {
    uint32_t n = 0;
    for (auto const& x : via_) n += x == v;
    return n;
  }

  size_t viaBitmaps() const { return viaBitmap_.size(); }
  std::map<Via, ViaBitmap> const& viaBitmapMap() const { return viaBitmap_; }
  void viaBitmapIs(Via const& v, ViaBitmap const& b) { viaBitmap_[v] = b; }
  void viaBitmapDel(Via const& v) { viaBitmap_.erase(v); }

  uint8_t numBackupVias() const { return numBackupVias_; }
  void numBackupViasIs(uint8_t n) { numBackupVias_ = n; }
  uint32_t ttl() const { return ttl_; }
  void ttlIs(uint32_t t) { ttl_ = t; }
  uint8_t greKeyType() const { return greKeyType_; }
  void greKeyTypeIs(uint8_t t) { greKeyType_ = t; }
  uint8_t nextHopGroupType() const { return nextHopGroupType_; }
  void nextHopGroupTypeIs(uint8_t t) { nextHopGroupType_ = t; }
  uint32_t nextHopGroupSize() const { return nextHopGroupSize_; }
  void nextHopGroupSizeIs(uint32_t s) { nextHopGroupSize_ = s; }
  Nollo::IpGenAddr const& nextHopGroupSource() const { return nextHopGroupSource_; }
  void nextHopGroupSourceIs(Nollo::IpGenAddr const& a) { nextHopGroupSource_ = a; }
  bool noAdjSharing() const { return noAdjSharing_; }
  void noAdjSharingIs(bool b) { noAdjSharing_ = b; }

  bool operator==(AdjViaT const& o) const {
    return via_ == o.via_ && viaBitmap_ == o.viaBitmap_ && numBackupVias_ == o.numBackupVias_ && ttl_ == o.ttl_ &&
           greKeyType_ == o.greKeyType_ && nextHopGroupType_ == o.nextHopGroupType_ &&
           nextHopGroupSize_ == o.nextHopGroupSize_ && nextHopGroupSource_ == o.nextHopGroupSource_ &&
           noAdjSharing_ == o.noAdjSharing_;
  }

 private:
  std::vector<Via> via_;
  std::map<Via, ViaBitmap> viaBitmap_;
  uint8_t numBackupVias_ = 0;
  uint32_t ttl_ = 0;
  uint8_t greKeyType_ = 0;
  uint8_t nextHopGroupType_ = 0;
  uint32_t nextHopGroupSize_ = 0;
  Nollo::IpGenAddr nextHopGroupSource_;
  bool noAdjSharing_ = false;
};

}  // namespace Kor
