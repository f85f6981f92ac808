#pragma once
// Spanning tree: the topology configuration (topologies, VLAN -> topology,
// BPDU trapping, pvst) as the bridging configuration agent writes it, the
// protocol's status (per topology the port states and flush requests) as
// the spanning-tree protocol writes it - here the `stp` statements stand in
// for both - and the switch's operational mode (`mode`), which it writes
// into each new common data before the library starts. Its part of the
// library is the one StpSm over the chip's topology helper. Shows `stp`.
#include <cstdint>
#include <optional>
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

  // "10-20,30" as VLAN ids; throws naming the part that is not a VLAN or range.
  static std::vector<uint16_t> vlanListParsed(std::string const& text);
  // "10-20,30": the VLANs as ranges ("none" when empty).
  static std::string vlanListText(std::vector<uint16_t> const& vlans);

  // Adds the topology (if new) and maps the VLANs to it, moving them from
  // any other topology.
  void topologyAdd(std::string const& name, std::vector<uint16_t> const& vlans);
  // Removes the topology and its VLAN mappings.
  void topologyDel(std::string const& name);
  // The protocol reports the port's state in the topology (none: not in it).
  void portStateIs(Nollo::IntfId const& intf, std::string const& topo,
                   std::optional<Bridging::Topology::PortState> state);
  void flushRequest(Nollo::IntfId const& intf, std::string const& topo);
  void bpduTrappingIs(bool on) { topoConfig_->bpduTrappingIs(on); }
  void pvstIs(bool on) { topoConfig_->pvstIs(on); }
  void operationalModeIs(Kor::HwOperationalMode mode);

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
  Vix::Ptr<Kor::StpSm> stp_;
};

}  // namespace KorAgent
