#include "softchip/l3/L3Chip.h"

#include "softchip/l3/RouteResolverSm.h"
#include "softchip/l3/SoftRouteSmHelper.h"
#include "softchip/l3/SoftRoutingStatusSmHelper.h"
#include "softchip/l3/SoftVrfHelper.h"

namespace SoftChip {

L3Chip::L3Chip(SoftChip* chip, ChipRegistry& registry, FaultInjector* injector)
    : vrf_("vrf", injector),
      sync_("sync", injector),
      settings_("l3settings", injector),
      route4_("route4", injector),
      route6_("route6", injector),
      route6em_("route6em", injector),
      softVrfHelper_(Vix::makePtr<SoftVrfHelper>(chip)),
      routingStatusSmHelper_(Vix::makePtr<SoftRoutingStatusSmHelper>(chip)),
      routeSmHelper_(Vix::makePtr<SoftRouteSmHelper<Nollo::Ipv4>>(chip)),
      route6SmHelper_(Vix::makePtr<SoftRouteSmHelper<Nollo::Ipv6>>(chip)) {
  for (ChipTableBase* t : {static_cast<ChipTableBase*>(&vrf_), static_cast<ChipTableBase*>(&sync_),
                           static_cast<ChipTableBase*>(&route4_), static_cast<ChipTableBase*>(&route6_),
                           static_cast<ChipTableBase*>(&route6em_)})
    registry.tableIs(t);
  for (Kor::KorBaseHelper* h : {static_cast<Kor::KorBaseHelper*>(softVrfHelper_.ptr()),
                                static_cast<Kor::KorBaseHelper*>(routingStatusSmHelper_.ptr()),
                                static_cast<Kor::KorBaseHelper*>(routeSmHelper_.ptr()),
                                static_cast<Kor::KorBaseHelper*>(route6SmHelper_.ptr())})
    registry.helperIs(h);
}

L3Chip::~L3Chip() = default;

Vix::Ptr<KorHelper::VrfHelper> L3Chip::vrfHelper() const { return softVrfHelper_; }

void L3Chip::routeResolverIs(Vix::Ptr<RouteResolverSm> const& r) { routeResolver_ = r; }

}  // namespace SoftChip
