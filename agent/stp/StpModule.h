#pragma once
// Spanning tree: the topology configuration (topologies, VLAN -> topology,
// BPDU trapping, pvst) as the bridging configuration agent writes it, the
// protocol's status (per topology the port states and flush requests) as
// the spanning-tree protocol writes it - here the `stp` statements stand in
// for both - and the switch's operational mode (`mode`), which it writes
// into each new common data before the library starts. Its part of the
// library is the one StpSm over the chip's topology helper, or over a
// VlanTopoHelper on the VLAN helper (`stp helper vlan`). Shows `stp`.
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "agent/AgentModule.h"
#include "kor/common/HwOperationalMode.h"
#include "kor/common/VlanId.h"
#include "models/bridging/topology/Config.h"
#include "models/bridging/topology/Status.h"
#include "nollo/IntfId.h"
#include "vix/Ptr.h"

namespace Kor {
class StpSm;
}

namespace KorAgent {

class StpModule : public AgentModule {
 public:
  explicit StpModule(Agent* agent);
  ~StpModule() override;

  // Adds the topology (if new) and maps the VLANs to it, moving them from
  // any other topology.
  void topologyAdd(std::string const& name, std::set<uint16_t> const& vlans);
  // Removes the topology and its VLAN mappings.
  void topologyDel(std::string const& name);
  // The protocol reports the port's state in the topology (none: not in it).
  void portStateIs(Nollo::IntfId const& intf, std::string const& topo,
                   std::optional<Bridging::Topology::PortState> state);
  void flushRequest(Nollo::IntfId const& intf, std::string const& topo);
  void bpduTrappingIs(bool on) { topoConfig_->bpduTrappingIs(on); }
  void pvstIs(bool on) { topoConfig_->pvstIs(on); }
  void operationalModeIs(Kor::HwOperationalMode mode);
  // Spanning tree through the VLAN helper (true) or the chip's hardware
  // topologies (false, the start). A change restarts the library over the
  // same inputs; leaving the chip's topologies empties them.
  void vlanTopoHelperIs(bool on);
  // The topology of the VLANs no topology names ("": none).
  void defaultTopoIs(std::string const& name);
  bool vlanTopoHelper() const { return vlanTopoHelper_; }

  Vix::Ptr<Bridging::Topology::Config> const& topoConfig() const { return topoConfig_; }
  Vix::Ptr<Bridging::Topology::Status> const& topoStatus() const { return topoStatus_; }
  Kor::StpSm* stpSm() const;

  void statementsAdd(StatementTable& t) override;
  void showsAdd() override;
  std::vector<InputGroup> inputGroups() const override;
  void configSectionsAdd(std::vector<std::unique_ptr<ConfigSection>>& out) const override;
  void doCreateRoots() override;
  void doStartLibrary() override;
  void doDestroyLibrary() override;

 private:
  ShowModel stpShow() const;

  Vix::Ptr<Bridging::Topology::Config> topoConfig_;
  Vix::Ptr<Bridging::Topology::Status> topoStatus_;
  Kor::HwOperationalMode mode_ = Kor::modeNormal;
  bool vlanTopoHelper_ = false;
  std::string defaultTopo_;
  Vix::Ptr<Kor::StpSm> stp_;
};

}  // namespace KorAgent
