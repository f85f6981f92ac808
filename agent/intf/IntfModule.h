#pragma once
// Interfaces: adds and removes interfaces (their VRF, VLAN, routed flag and
// link state in the IP, VLAN and interface status entities). LAG membership
// is the LAG module's.
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "agent/AgentModule.h"
#include "kor/common/VlanId.h"
#include "kor/common/VrfName.h"
#include "models/interface/AllIntfStatusDir.h"
#include "models/ip/IntfVlanIdTable.h"
#include "models/ip/Status.h"
#include "models/ip6/Status.h"
#include "nollo/IntfId.h"

namespace KorAgent {

class IntfModule : public AgentModule {
 public:
  explicit IntfModule(Agent* agent);

  // A new interface is up; `routed` marks a routed port.
  void intfAdd(Nollo::IntfId const& intf, std::optional<Kor::VrfName> const& vrf,
               std::optional<Kor::VlanId> const& vlan, bool routed = false, bool up = true);
  void intfDel(Nollo::IntfId const& intf);
  void intfLinkIs(Nollo::IntfId const& intf, bool up);
  void intfVlanIs(Nollo::IntfId const& intf, std::optional<Kor::VlanId> const& vlan);

  Vix::Ptr<IntfVlanId::Table> const& intfVlanIdTable() const { return intfVlanIdTable_; }
  Vix::Ptr<Ip::Status> const& ipStatus() const { return ipStatus_; }
  Vix::Ptr<Ip6::Status> const& ip6Status() const { return ip6Status_; }
  Vix::Ptr<Interface::AllIntfStatusDir> const& allIntfStatusDir() const { return allIntfStatusDir_; }

  void configSectionsAdd(std::vector<std::unique_ptr<ConfigSection>>& out) const override;
  void statementsAdd(StatementTable& t) override;
  std::vector<InputGroup> inputGroups() const override;

 private:
  void checkAdded(Nollo::IntfId const& intf) const;

  // What the IP and interface agents publish: VLANs, VRFs, link state.
  Vix::Ptr<IntfVlanId::Table> intfVlanIdTable_;
  Vix::Ptr<Ip::Status> ipStatus_;
  Vix::Ptr<Ip6::Status> ip6Status_;
  Vix::Ptr<Interface::AllIntfStatusDir> allIntfStatusDir_;
  // Interfaces added, with their VRF ("" for none).
  std::map<Nollo::IntfId, std::string> intfs_;
};

}  // namespace KorAgent
