#pragma once
// The route machine's record of one FIB prefix (FibRoute for IPv4, FibRoute6
// for IPv6), held by value in the machine's route map, so a million routes
// cost no allocation each. It carries what the machine last handed over for
// the prefix (an interned AdjInfo, shared by every route with the same
// statement; null: nothing handed over) and the review state. What only few
// routes need - the deletion time of a deleted route, the next hop an earlier
// run programmed - lives in side maps of the machine, not here.
#include <cstdint>

#include "kor/records/AdjInfo.h"
#include "kor/l3/RouteReviewState.h"
#include "nollo/Ipv4.h"
#include "nollo/Ipv6.h"
#include "vix/Ptr.h"

namespace Kor {

template <class AF>
class FibRouteT {
 public:
  AdjInfo const* adjInfo() const { return adjInfo_.ptr(); }
  Vix::Ptr<AdjInfo> const& adjInfoPtr() const { return adjInfo_; }
  void adjInfoIs(Vix::Ptr<AdjInfo> const& a) { adjInfo_ = a; }
  RouteReviewState state() const { return state_; }
  void stateIs(RouteReviewState s) { state_ = s; }
  // Rebuilt from the chip's routes at start (a restart).
  bool reconstructedRoute() const { return reconstructed_; }
  void reconstructedRouteIs(bool v) { reconstructed_ = v; }
  // Converted to a drop route because a more specific route could not be
  // programmed; its real hand-over waits until the children are back.
  bool parentDrop() const { return parentDrop_; }
  void parentDropIs(bool v) { parentDrop_ = v; }
  // Counted as a user of the adjacency of adjInfo()'s FEC (and listed in the
  // machine's prefix list of that FEC).
  bool attached() const { return attached_; }
  void attachedIs(bool v) { attached_ = v; }

 private:
  Vix::Ptr<AdjInfo> adjInfo_;
  RouteReviewState state_ = RouteReviewState::changedRoute;
  bool reconstructed_ = false;
  bool parentDrop_ = false;
  bool attached_ = false;
};

using FibRoute = FibRouteT<Nollo::Ipv4>;
using FibRoute6 = FibRouteT<Nollo::Ipv6>;

}  // namespace Kor
