#pragma once
// The route machine's share of the routing counters (RouteCounts for IPv4,
// Route6Counts for IPv6): its unprogrammed and parent-drop routes, counted
// in the VRF's VrfL3Status and summed over the VRFs in L3Status. Both
// outlive a restart of the machine, so the machine takes back what it
// counted when it goes (doForget), and the next run starts from its own
// routes only.
//
// Owns the machine's number of parent-drop routes; invariant: the counters
// moved by this object add up to its own unprogrammed and parent-drop
// routes. Fed by its route machine on every change of either set.
#include <cstddef>
#include <cstdint>

#include "kor/records/L3Status.h"
#include "kor/records/VrfL3Status.h"
#include "nollo/Ipv4.h"
#include "nollo/Ipv6.h"
#include "vix/Ptr.h"

namespace Kor {

template <class AF>
class RouteCountsT {
 public:
  RouteCountsT(Vix::Ptr<VrfL3Status> vrf, Vix::Ptr<L3Status> l3) : vrf_(std::move(vrf)), l3_(std::move(l3)) {}

  size_t parentDropRoutes() const { return parentDropRoutes_; }
  void unprogrammedCountIs(int delta);
  void parentDropCountIs(int delta);
  // The machine goes: what it counted leaves the shared counters.
  void doForget(size_t unprogrammed) {
    if (unprogrammed) unprogrammedCountIs(-int(unprogrammed));
    if (parentDropRoutes_) parentDropCountIs(-int(parentDropRoutes_));
  }

 private:
  static constexpr bool isV4 = AF::version == 4;

  Vix::Ptr<VrfL3Status> vrf_;
  Vix::Ptr<L3Status> l3_;
  size_t parentDropRoutes_ = 0;
};

template <class AF>
void RouteCountsT<AF>::unprogrammedCountIs(int delta) {
  auto& vrf = *vrf_;
  auto& l3 = *l3_;
  if constexpr (isV4) {
    vrf.numUnprogrammedRoutesIs(uint32_t(int64_t(vrf.numUnprogrammedRoutes()) + delta));
    l3.ipv4UnProgrammedRoutesIs(uint64_t(int64_t(l3.ipv4UnProgrammedRoutes()) + delta));
  } else {
    vrf.numUnprogrammedV6RoutesIs(uint32_t(int64_t(vrf.numUnprogrammedV6Routes()) + delta));
    l3.ipv6UnProgrammedRoutesIs(uint64_t(int64_t(l3.ipv6UnProgrammedRoutes()) + delta));
  }
}

template <class AF>
void RouteCountsT<AF>::parentDropCountIs(int delta) {
  parentDropRoutes_ = size_t(int64_t(parentDropRoutes_) + delta);
  auto& vrf = *vrf_;
  auto& l3 = *l3_;
  if constexpr (isV4) {
    vrf.numParentDropRoutesIs(uint32_t(int64_t(vrf.numParentDropRoutes()) + delta));
    l3.ipv4ParentDropRoutesIs(uint64_t(int64_t(l3.ipv4ParentDropRoutes()) + delta));
  } else {
    vrf.numParentDropV6RoutesIs(uint32_t(int64_t(vrf.numParentDropV6Routes()) + delta));
    l3.ipv6ParentDropRoutesIs(uint64_t(int64_t(l3.ipv6ParentDropRoutes()) + delta));
  }
}

}  // namespace Kor
