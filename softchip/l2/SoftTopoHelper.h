#pragma once
// The software chip's spanning-tree helper: allocates hardware topologies in
// the chip's "topo" table (ids 1..capacity, the lowest free first; a name it
// already holds gets its id back, so a restart over a kept chip rewrites
// nothing), writes VLAN membership there and port states in "stpstate",
// and counts MAC flushes. Every write goes through the table, so capacity
// and fault rules answer it; a refusal answers false and the library asks
// again. Owned by StpChip.
#include <cstdint>
#include <string>

#include "kor/helpers/TopoHelper.h"

namespace SoftChip {

class StpChip;

class SoftTopoHelper : public Kor::TopoHelper {
 public:
  explicit SoftTopoHelper(StpChip* chip) : TopoHelper(), chip_(chip) {}

  void hwInit() override {}
  bool verify() override;
  uint32_t maxTopo() override;
  int allocTopo(std::string const& name) override;
  void freeTopo(std::string const& name) override;
  bool setStpState(int topoId, Nollo::IntfId const& intf, Bridging::Topology::PortState state) override;
  void clearStpState(int topoId, Nollo::IntfId const& intf) override;
  bool addVlanToTopo(int topoId, Kor::VlanId vlan) override;
  bool delVlanFromTopo(int topoId, Kor::VlanId vlan) override;
  void flushTopoPort(int topo, Nollo::IntfId const& intf) override;
  void flushTopoPortVlan(Kor::VlanId mappedVlan, Nollo::IntfId const& intf) override;
  bool flushTopoPortByVlan() override { return flushByVlan_; }
  void flushTopoMacAddr(int topo) override;
  void bpduTrappingIs(bool trap) override { bpduTrapping_ = trap; }

  // How the chip flushes: per VLAN (true) or per topology (false, the start).
  void flushByVlanIs(bool v) { flushByVlan_ = v; }
  bool bpduTrapping() const { return bpduTrapping_; }

 private:
  StpChip* chip_;
  bool flushByVlan_ = false;
  bool bpduTrapping_ = false;
};

}  // namespace SoftChip
