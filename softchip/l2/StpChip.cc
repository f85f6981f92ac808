#include "softchip/l2/StpChip.h"

#include <vector>

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

void StpChip::topologiesClear() {
  std::vector<StpStateKey> states;
  for (auto const& [key, state] : stpState_.entries()) states.push_back(key);
  for (auto const& key : states) stpState_.erase(key);
  std::vector<int> ids;
  for (auto const& [id, topo] : topo_.entries()) ids.push_back(id);
  for (int id : ids) topo_.erase(id);
}

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
