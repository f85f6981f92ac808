#include "softchip/l2/XlateChip.h"

namespace SoftChip {

XlateChip::XlateChip(ChipRegistry& registry, FaultInjector* injector)
    : ingress_("xlate-ingress", injector), egress_("xlate-egress", injector), vlanFid_("vlan-fid", injector),
      vlanMappingSmHelper_(Vix::makePtr<SoftVlanMappingSmHelper>(&ingress_, &egress_)),
      vlanPhyIntfSmHelper_(Vix::makePtr<SoftVlanPhyIntfSmHelper>(&vlanFid_)) {
  registry.tableIs(&ingress_);
  registry.tableIs(&egress_);
  registry.tableIs(&vlanFid_);
  registry.helperIs(vlanMappingSmHelper_.ptr());
  registry.helperIs(vlanPhyIntfSmHelper_.ptr());
}

XlateChip::~XlateChip() = default;

}  // namespace SoftChip
