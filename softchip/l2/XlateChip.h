#pragma once
// The software chip's VLAN translation part: the ingress table
// ("xlate-ingress": port and received tag -> the VLAN the frame is bridged
// in), the egress table ("xlate-egress": port and VLAN -> the tag the frame
// leaves with), each also holding the port's native pair, and the VLAN ->
// filtering database table ("vlan-fid": only VLANs that share a database;
// a VLAN without an entry learns in its own). The packet path reads them
// through the const accessors: ingress translation after VLAN
// classification, egress translation before tagging. Also the helpers of
// VlanMappingSm and VlanPhyIntfSm, registered by name with the tables.
// Owned by the SoftChip, so tables outlive restarts of the library.
#include <cstdint>

#include "softchip/common/ChipRegistry.h"
#include "softchip/common/ChipTable.h"
#include "softchip/common/FaultInjector.h"
#include "softchip/l2/SoftVlanMappingSmHelper.h"
#include "softchip/l2/SoftVlanPhyIntfSmHelper.h"
#include "softchip/l2/XlateEntryKey.h"
#include "vix/Ptr.h"

namespace SoftChip {

class XlateChip {
 public:
  using XlateTable = ChipTable<XlateEntryKey, uint16_t>;
  using FidTable = ChipTable<uint16_t, uint16_t>;

  XlateChip(ChipRegistry& registry, FaultInjector* injector);
  ~XlateChip();
  XlateChip(XlateChip const&) = delete;
  XlateChip& operator=(XlateChip const&) = delete;

  XlateTable& ingressTable() { return ingress_; }
  XlateTable const& ingressTable() const { return ingress_; }
  XlateTable& egressTable() { return egress_; }
  XlateTable const& egressTable() const { return egress_; }
  FidTable& vlanFidTable() { return vlanFid_; }
  FidTable const& vlanFidTable() const { return vlanFid_; }

  Vix::Ptr<SoftVlanMappingSmHelper> const& vlanMappingSmHelper() const { return vlanMappingSmHelper_; }
  Vix::Ptr<SoftVlanPhyIntfSmHelper> const& vlanPhyIntfSmHelper() const { return vlanPhyIntfSmHelper_; }

 private:
  XlateTable ingress_;
  XlateTable egress_;
  FidTable vlanFid_;
  Vix::Ptr<SoftVlanMappingSmHelper> vlanMappingSmHelper_;
  Vix::Ptr<SoftVlanPhyIntfSmHelper> vlanPhyIntfSmHelper_;
};

}  // namespace SoftChip
