#pragma once
// The software chip's VLAN part: the "vlan" table (VLAN -> members with
// their tagged flag, ingress and egress ports) and the "portvlan" table
// (port -> default VLAN, tagging mode, TPID), each registered by name with
// capacity and fault gate, and the answer delay of VLAN updates
// (`chip delay vlan`). Owned by the SoftChip for the agent's whole life, so
// the tables survive restarts of the library; the helpers that write them
// (SoftVlanHelper, SoftSwitchIntfSmHelper) belong to one library life and
// are made by the agent with this part.
#include "kor/common/VlanId.h"
#include "softchip/common/ChipRegistry.h"
#include "softchip/common/ChipTable.h"
#include "softchip/common/FaultInjector.h"
#include "softchip/l2/ChipPortVlan.h"
#include "softchip/l2/ChipVlan.h"
#include "vix/Time.h"

namespace SoftChip {

class VlanChip {
 public:
  using VlanTable = ChipTable<Kor::VlanId, ChipVlan>;
  using PortVlanTable = ChipTable<Nollo::IntfId, ChipPortVlan>;

  VlanChip(ChipRegistry& registry, FaultInjector* injector);
  VlanChip(VlanChip const&) = delete;
  VlanChip& operator=(VlanChip const&) = delete;

  VlanTable& vlanTable() { return vlan_; }
  VlanTable const& vlanTable() const { return vlan_; }
  PortVlanTable& portVlanTable() { return portVlan_; }
  PortVlanTable const& portVlanTable() const { return portVlan_; }

  // How long the chip takes to answer a VLAN update (0: the next loop turn).
  Vix::Seconds updateDelay() const { return updateDelay_; }
  void updateDelayIs(Vix::Seconds d) { updateDelay_ = d; }

 private:
  VlanTable vlan_;
  PortVlanTable portVlan_;
  Vix::Seconds updateDelay_ = 0;
};

}  // namespace SoftChip
