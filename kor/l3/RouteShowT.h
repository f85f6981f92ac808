#pragma once
// The route machine's dumps (RouteShow for IPv4, Route6Show for IPv6), in
// prefix order: the FIB's routes ("FR4" / "FR6"), the machine's own route
// records ("AR4" / "AR6"), and the unprogrammed routes of the VRF ("SR4u" /
// "SR6u", in the texts the platform's tools parse). Owns nothing: it reads
// the machine's tables for one dump.
#include <cstdint>
#include <optional>
#include <ostream>

#include "kor/common/VrfName.h"
#include "kor/l3/FibRouteT.h"
#include "nollo/IpPrefix.h"
#include "quill/RouteStatus.h"
#include "vix/HashMap.h"
#include "vix/ReviewLoop.h"

namespace Kor {

template <class AF>
class RouteShowT {
 public:
  using Prefix = Nollo::IpPrefixT<AF>;
  using FibRoutes = Vix::HashMap<Prefix, FibRouteT<AF>>;
  using Unprogrammed = Vix::ReviewLoop<Prefix, bool>;

  RouteShowT(FibRoutes const& fibRoutes, Unprogrammed const& unprogrammed)
      : fibRoutes_(fibRoutes), unprogrammed_(unprogrammed) {}

  // One route, or all when prefix is empty.
  static void showFibRoutes(std::ostream& out, Quill::Fib::RouteStatusT<AF> const& routes,
                            std::optional<Prefix> prefix);
  void showKorRoutes(std::ostream& out, std::optional<Prefix> prefix) const;
  // The counts are the VRF's (VrfL3Status).
  void showUnprogrammed(std::ostream& out, VrfName const& vrfName, uint32_t unprogrammed,
                        uint32_t parentDrop) const;

 private:
  FibRoutes const& fibRoutes_;
  Unprogrammed const& unprogrammed_;
};

}  // namespace Kor
