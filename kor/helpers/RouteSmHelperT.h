#pragma once
// Platform hook of the route machines, one per address family
// (KorHelper::RouteSmHelper, KorHelper::Route6SmHelper). The route machine of
// a VRF tells it when the VRF's initial sync is over, so the chip may drop
// routes of an earlier run that were not handed over again.
#include <string>
#include <type_traits>

#include "kor/common/KorBaseHelper.h"
#include "kor/common/KorExport.h"
#include "kor/common/VrfName.h"
#include "nollo/Ipv4.h"
#include "nollo/Ipv6.h"

namespace KorHelper {

template <class AF>
class KOR_EXPORT RouteSmHelperT : public Kor::KorBaseHelper {
 public:
  static constexpr char const* helperName = std::is_same_v<AF, Nollo::Ipv4> ? "RouteSmHelper" : "Route6SmHelper";

  explicit RouteSmHelperT(std::string name = helperName) : KorBaseHelper(std::move(name)) {}
  virtual void handleEndOfSync(Kor::VrfName const& vrfName) { unimplemented(helperName, "handleEndOfSync"); }
};

using RouteSmHelper = RouteSmHelperT<Nollo::Ipv4>;
using Route6SmHelper = RouteSmHelperT<Nollo::Ipv6>;

}  // namespace KorHelper
