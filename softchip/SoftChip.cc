#include "softchip/SoftChip.h"

#include "softchip/RouteResolverSm.h"
#include "softchip/SoftAdjSmHelper.h"
#include "softchip/SoftRouteSmHelper.h"
#include "softchip/SoftRoutingStatusSmHelper.h"
#include "softchip/SoftVrfHelper.h"

namespace SoftChip {

SoftChip::SoftChip() {
  tableAdd(&vrf_);
  tableAdd(&sync_);
  tableAdd(&l2Adj_);
  tableAdd(&route4_);
  tableAdd(&route6_);
  tableAdd(&route6em_);
  softVrfHelper_ = Vix::makePtr<SoftVrfHelper>(this);
  routingStatusSmHelper_ = Vix::makePtr<SoftRoutingStatusSmHelper>(this);
  routeSmHelper_ = Vix::makePtr<SoftRouteSmHelper<Nollo::Ipv4>>(this);
  route6SmHelper_ = Vix::makePtr<SoftRouteSmHelper<Nollo::Ipv6>>(this);
  softAdjSmHelper_ = Vix::makePtr<SoftAdjSmHelper>(this);
}

SoftChip::~SoftChip() = default;

Vix::Ptr<KorHelper::AdjSmHelper> SoftChip::adjSmHelper() const { return softAdjSmHelper_; }

Vix::Ptr<KorHelper::VrfHelper> SoftChip::vrfHelper() const { return softVrfHelper_; }

void SoftChip::routeResolverIs(Vix::Ptr<RouteResolverSm> const& r) { routeResolver_ = r; }

void SoftChip::tableAdd(ChipTableBase* t) { tables_.push_back(t); }

bool SoftChip::refusesNew(ChipTableBase const& table) const {
  auto const& kinds = injector_.kindFaults();
  auto rule = kinds.find(table.name());
  return table.size() >= table.capacity() || (rule != kinds.end() && rule->second == ChipAnswer::resourceFull);
}

ChipTableBase* SoftChip::table(std::string const& name) const {
  for (auto* t : tables_)
    if (t->name() == name) return t;
  return nullptr;
}

}  // namespace SoftChip
