#pragma once
// One route as a chip route table holds it: what the route does (route
// type), the FEC it came from and the L2 adjacency its packets leave by.
// Kept to plain integers (24 bytes) because a table holds a million of them.
// A forwarding route with L2 adjacency index 0 is a valid entry: it points
// at no adjacency, so the chip drops (or punts) its packets until the route
// is handed over again with a real index.
#include <cstdint>
#include <ostream>

#include "kor/records/AdjInfo.h"
#include "kor/records/RouteType.h"
#include "quill/FecId.h"

namespace SoftChip {

class ChipRoute {
 public:
  ChipRoute() = default;
  ChipRoute(Kor::RouteType routeType, uint64_t fibAdjIndex, uint64_t l2AdjIndex)
      : fibAdjIndex_(fibAdjIndex), l2AdjIndex_(l2AdjIndex), routeType_(routeType) {}
  explicit ChipRoute(Kor::AdjInfo const& info) : ChipRoute(info.routeType(), info.fibAdjIndex(), info.l2AdjIndex()) {}

  Kor::RouteType routeType() const { return routeType_; }
  uint64_t fibAdjIndex() const { return fibAdjIndex_; }
  uint64_t l2AdjIndex() const { return l2AdjIndex_; }

  bool operator==(ChipRoute const&) const = default;

 private:
  uint64_t fibAdjIndex_ = 0;
  uint64_t l2AdjIndex_ = 0;
  Kor::RouteType routeType_ = Kor::RouteType::invalidRoute;
};

// "forwardRoute fec 3 l2adj 7": the FEC by its index, as the FIB names it.
inline std::ostream& operator<<(std::ostream& os, ChipRoute const& r) {
  return os << r.routeType() << " fec " << Quill::Fib::FecId(r.fibAdjIndex()) << " l2adj " << r.l2AdjIndex();
}

}  // namespace SoftChip
