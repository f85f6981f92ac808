#pragma once
// A route machine's statement of what one prefix needs: its route type, the
// FEC (adjacency index) of the FIB and the L2 adjacency index the adjacency
// machine gave it. Shared by reference count between the hand-over lists of
// L3Status and the platform code that programs the route from it. Written
// only by the route machine that owns the prefix.
#include <cstdint>

#include "kor/common/KorExport.h"
#include "kor/records/RouteType.h"
#include "vix/Ptr.h"

namespace Kor {

class KOR_EXPORT AdjInfo : public Vix::PtrInterface {
 public:
  AdjInfo() = default;
  AdjInfo(RouteType routeType, uint64_t fibAdjIndex, uint64_t l2AdjIndex, bool vias)
      : routeType_(routeType), fibAdjIndex_(fibAdjIndex), l2AdjIndex_(l2AdjIndex), vias_(vias) {}

  RouteType routeType() const { return routeType_; }
  void routeTypeIs(RouteType v) { routeType_ = v; }
  uint64_t fibAdjIndex() const { return fibAdjIndex_; }
  void fibAdjIndexIs(uint64_t v) { fibAdjIndex_ = v; }
  uint64_t l2AdjIndex() const { return l2AdjIndex_; }
  void l2AdjIndexIs(uint64_t v) { l2AdjIndex_ = v; }
  bool vias() const { return vias_; }
  void viasIs(bool v) { vias_ = v; }

 private:
  RouteType routeType_ = RouteType::invalidRoute;
  uint64_t fibAdjIndex_ = 0;
  uint64_t l2AdjIndex_ = 0;
  bool vias_ = false;
};

}  // namespace Kor
