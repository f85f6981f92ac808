#include "softchip/l2/VlanChip.h"

namespace SoftChip {

VlanChip::VlanChip(ChipRegistry& registry, FaultInjector* injector)
    : vlan_("vlan", injector), portVlan_("portvlan", injector) {
  registry.tableIs(&vlan_);
  registry.tableIs(&portVlan_);
}

}  // namespace SoftChip
