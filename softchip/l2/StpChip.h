#pragma once
// The software chip's spanning-tree part: the topology table ("topo":
// hardware topology id -> its name and VLANs; capacity = maxTopo), the
// port-state table ("stpstate": (topology id, port) -> state), the MAC
// flush counters and the SoftTopoHelper handed to StpSm. Owned by the
// SoftChip, so tables and counters outlive restarts of the library.
//
// forwarding(port, vlan) is the packet path's question. A VLAN no topology
// holds is not under spanning tree: its ports forward. A VLAN of a topology
// forwards on the ports whose state there is forwarding, and on no other
// (a port absent from the topology is not part of it: it does not pass
// frames of the topology's VLANs).
#include <cstdint>
#include <map>
#include <utility>

#include "kor/common/VlanId.h"
#include "models/bridging/topology/PortState.h"
#include "nollo/IntfId.h"
#include "softchip/common/ChipRegistry.h"
#include "softchip/common/ChipTable.h"
#include "softchip/common/FaultInjector.h"
#include "softchip/l2/ChipTopo.h"
#include "softchip/l2/SoftTopoHelper.h"
#include "softchip/l2/StpStateKey.h"
#include "vix/Ptr.h"

namespace SoftChip {

class StpChip {
 public:
  using TopoFlushKey = std::pair<int, Nollo::IntfId>;
  using VlanFlushKey = std::pair<uint16_t, Nollo::IntfId>;
  static constexpr size_t kDefaultMaxTopo = 64;

  StpChip(ChipRegistry& registry, FaultInjector* injector);
  ~StpChip();
  StpChip(StpChip const&) = delete;
  StpChip& operator=(StpChip const&) = delete;

  ChipTable<int, ChipTopo>& topoTable() { return topo_; }
  ChipTable<int, ChipTopo> const& topoTable() const { return topo_; }
  ChipTable<StpStateKey, Bridging::Topology::PortState>& stpStateTable() { return stpState_; }
  ChipTable<StpStateKey, Bridging::Topology::PortState> const& stpStateTable() const { return stpState_; }
  Vix::Ptr<Kor::TopoHelper> topoHelper() const;
  SoftTopoHelper& softTopoHelper() const { return *softTopoHelper_; }

  // Flushes asked per (topology, port), per (VLAN, port), and of whole topologies.
  std::map<TopoFlushKey, uint64_t> const& topoFlushes() const { return topoFlushes_; }
  std::map<VlanFlushKey, uint64_t> const& vlanFlushes() const { return vlanFlushes_; }
  std::map<int, uint64_t> const& topoMacFlushes() const { return topoMacFlushes_; }
  void topoFlushInc(int topo, Nollo::IntfId const& intf) { ++topoFlushes_[{topo, intf}]; }
  void vlanFlushInc(Kor::VlanId vlan, Nollo::IntfId const& intf) { ++vlanFlushes_[{vlan.value(), intf}]; }
  void topoMacFlushInc(int topo) { ++topoMacFlushes_[topo]; }

  // Empties both tables: the platform stops using hardware topologies
  // (spanning tree carried by VLAN membership instead).
  void topologiesClear();

  // The hardware topology holding the VLAN; 0 for none.
  int topoOfVlan(Kor::VlanId vlan) const;
  bool forwarding(Nollo::IntfId const& port, Kor::VlanId vlan) const;

 private:
  ChipTable<int, ChipTopo> topo_;
  ChipTable<StpStateKey, Bridging::Topology::PortState> stpState_;
  Vix::Ptr<SoftTopoHelper> softTopoHelper_;
  std::map<TopoFlushKey, uint64_t> topoFlushes_;
  std::map<VlanFlushKey, uint64_t> vlanFlushes_;
  std::map<int, uint64_t> topoMacFlushes_;
};

}  // namespace SoftChip
