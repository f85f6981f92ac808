#pragma once
// VLANs and switchports: the bridging configuration of the VLANs
// (Bridging::VlanConfig) and of each switch interface
// (Bridging::SwitchIntfConfig), the ports serving the recirculation
// feature per VLAN, and the chip's answer delay for VLAN updates. Its part
// of the library: the VLAN helper (the chip's SoftVlanHelper, handed to the
// common data as `vlanHelper`) and the one SwitchIntfSm. It also tells the
// common data which interfaces exist (`intf`, from the interface module's
// status directory), which SwitchIntfSm waits for. Shows `vlan` and
// `switchport`; reads the configuration file's "vlans" and "switchports".
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "agent/AgentModule.h"
#include "kor/common/VlanId.h"
#include "models/bridging/SwitchIntfConfig.h"
#include "models/bridging/VlanConfig.h"
#include "nollo/IntfId.h"
#include "vix/Ptr.h"

namespace Kor {
class SwitchIntfSm;
}
namespace SoftChip {
class SoftSwitchIntfSmHelper;
class SoftVlanHelper;
}

namespace KorAgent {

class VlanModule : public AgentModule {
 public:
  explicit VlanModule(Agent* agent);
  ~VlanModule() override;

  void vlanAdd(Kor::VlanId vlan);
  void vlanDel(Kor::VlanId vlan);
  // Replaces the interface's switchport configuration. What is wrong with
  // it (switchportError, empty: nothing) is refused and changes nothing.
  void switchportIs(Nollo::IntfId const& intf, Bridging::SwitchportConfig const& cfg);
  void switchportDel(Nollo::IntfId const& intf);
  static std::string switchportError(Nollo::IntfId const& intf, Bridging::SwitchportConfig const& cfg);
  void recircIs(Kor::VlanId vlan, Nollo::IntfId const& intf, bool on);

  Vix::Ptr<Bridging::VlanConfig> const& vlanConfig() const { return vlanConfig_; }
  Vix::Ptr<Bridging::SwitchIntfConfig> const& switchIntfConfig() const { return switchIntfConfig_; }
  SoftChip::SoftVlanHelper* vlanHelper() const;
  Kor::SwitchIntfSm* switchIntfSm() const;

  void statementsAdd(StatementTable& t) override;
  void showsAdd() override;
  std::vector<InputGroup> inputGroups() const override;
  void configSectionsAdd(std::vector<std::unique_ptr<ConfigSection>>& out) const override;
  void doCreateHelpers() override;
  void doCreateRoots() override;
  void doStartLibrary() override;
  void doDestroyLibrary() override;

 private:
  class IntfWatch;
  ShowModel vlanShow() const;
  ShowModel switchportShow() const;
  void doMirrorIntf(Nollo::IntfId const& intf);

  Vix::Ptr<Bridging::VlanConfig> vlanConfig_;
  Vix::Ptr<Bridging::SwitchIntfConfig> switchIntfConfig_;
  std::set<std::pair<Kor::VlanId, Nollo::IntfId>> recirc_;
  Vix::Ptr<SoftChip::SoftVlanHelper> vlanHelper_;
  Vix::Ptr<SoftChip::SoftSwitchIntfSmHelper> switchIntfHelper_;
  Vix::Ptr<Kor::SwitchIntfSm> switchIntfSm_;
  std::unique_ptr<IntfWatch> intfWatch_;
};

}  // namespace KorAgent
