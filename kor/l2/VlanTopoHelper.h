#pragma once
// The topology helper of a platform without hardware topologies: spanning
// tree carried out by VLAN membership through the VLAN helper. A topology
// is a set of VLANs kept here (ids 1..maxTopo, the lowest free first; a
// name already held gets its id back), and a port's state in a topology
// becomes its forwarding flag (VlanHelper::doHandlePortState) in every VLAN
// of it. A port that does not forward in a VLAN is not a member of it; it
// is added back when it forwards (hwInit sets the VLAN helper's
// checkPortState).
//
// State to forwarding: only `forwarding` passes frames and is a member;
// `learning`, `discarding` and `trapping` are not members. The VLAN helper
// has no learn-only membership, so a learning port learns nothing here.
// A VLAN in a topology is under spanning tree (newPortForwarding): a port
// without a state in the topology is blocked in it; a VLAN leaving its
// topology leaves spanning tree (portForwardingDel) and every port asked
// into it forwards again, as on a chip with hardware topologies.
//
// Invariants: a VLAN is in at most one topology; for every VLAN of a
// topology and every port with a state there, the VLAN helper's
// forwarding flag equals forwards(state) (verify checks it). Nothing is
// refused: every write answers true. Flushes are counted: there is no
// MAC table behind the VLAN helper to flush; BPDU trapping is recorded.
// Fed by StpSm and its TopoSm machines.
#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "kor/common/KorExport.h"
#include "kor/common/VlanId.h"
#include "kor/helpers/TopoHelper.h"
#include "kor/l2/VlanHelper.h"
#include "vix/Ptr.h"

namespace Kor {

class KOR_EXPORT VlanTopoHelper : public TopoHelper {
 public:
  // One topology per VLAN at most: each VLAN could be its own.
  static constexpr uint32_t kDefaultMaxTopo = VlanId::max;

  struct Topo {
    std::string name;
    std::set<VlanId> vlans;
    std::map<Nollo::IntfId, Bridging::Topology::PortState> states;
  };

  // Without a VLAN helper it refuses to work ("No Vlan helper").
  explicit VlanTopoHelper(Vix::Ptr<VlanHelper> const& vlanHelper, uint32_t maxTopo = kDefaultMaxTopo);

  // The mapping of a reported state to per-VLAN forwarding.
  static bool forwards(Bridging::Topology::PortState state);

  void hwInit() override;
  bool verify() override;
  uint32_t maxTopo() override { return maxTopo_; }
  int allocTopo(std::string const& name) override;
  void freeTopo(std::string const& name) override;
  bool setStpState(int topoId, Nollo::IntfId const& intf, Bridging::Topology::PortState state) override;
  void clearStpState(int topoId, Nollo::IntfId const& intf) override;
  bool addVlanToTopo(int topoId, VlanId vlan) override;
  bool delVlanFromTopo(int topoId, VlanId vlan) override;
  void flushTopoPort(int topo, Nollo::IntfId const& intf) override;
  void flushTopoPortVlan(VlanId mappedVlan, Nollo::IntfId const& intf) override;
  // Topologies are VLAN sets: a flush is per VLAN.
  bool flushTopoPortByVlan() override { return true; }
  void flushTopoMacAddr(int topo) override;
  void bpduTrappingIs(bool trap) override { bpduTrapping_ = trap; }

  Vix::Ptr<VlanHelper> const& vlanHelper() const { return vlanHelper_; }
  std::map<int, Topo> const& topo() const { return topo_; }
  // The topology holding the VLAN; 0 for none.
  int topoOfVlan(VlanId vlan) const;
  uint64_t flushes() const { return flushes_; }
  bool bpduTrapping() const { return bpduTrapping_; }

 private:
  Topo* doTopo(int topoId);
  // The port's forwarding in every VLAN of the topology.
  void doApplyPort(Topo const& t, Nollo::IntfId const& intf, bool forwarding);
  bool doHelper() const;

  Vix::Ptr<VlanHelper> vlanHelper_;
  uint32_t maxTopo_;
  std::map<int, Topo> topo_;
  std::map<VlanId, int> vlanTopo_;
  uint64_t flushes_ = 0;
  bool bpduTrapping_ = false;
};

}  // namespace Kor
