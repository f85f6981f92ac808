#include "softchip/l2/StpChip.h"

namespace SoftChip {

StpChip::StpChip(ChipRegistry& registry, FaultInjector* injector)
    : topo_("topo", injector), stpState_("stpstate", injector),
      softTopoHelper_(Vix::makePtr<SoftTopoHelper>(this)) {
  topo_.capacityIs(kDefaultMaxTopo);
  registry.tableIs(&topo_);
  registry.tableIs(&stpState_);
  registry.helperIs(softTopoHelper_.ptr());
}

StpChip::~StpChip() = default;

Vix::Ptr<Kor::TopoHelper> StpChip::topoHelper() const { return softTopoHelper_; }

int StpChip::topoOfVlan(Kor::VlanId vlan) const {
  for (auto const& [id, topo] : topo_.entries())
    if (topo.vlans[vlan.value()]) return id;
  return 0;
}

bool StpChip::forwarding(Nollo::IntfId const& port, Kor::VlanId vlan) const {
  int const topo = topoOfVlan(vlan);
  if (!topo) return true;
  auto const* state = stpState_.find(StpStateKey{topo, port});
  return state && *state == Bridging::Topology::PortState::forwarding;
}

}  // namespace SoftChip
