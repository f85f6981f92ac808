#pragma once
// The file's interfaces, under "interfaces" (LAG memberships, "lags", are
// the LAG module's LagSection):
//
//   "interfaces": { "Ethernet1": { "vrf": "red", "vlan": 10, "routed": true, "link": "down" } }
//
// An interface is in the VRF "default" unless one is named (a VRF of the
// file), has no VLAN unless one is given, is a routed port only when
// "routed" is true and has its link up unless "link" is "down".
// A change of VRF or of "routed" removes the interface and adds it again
// (the agent changes neither in place); VLAN and link change in place.
// Holds the interfaces applied.
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agent/config/ConfigSection.h"
#include "kor/common/VlanId.h"
#include "kor/common/VrfName.h"
#include "nollo/IntfId.h"

namespace KorAgent {

class InterfaceSection : public ConfigSection {
 public:
  struct Intf {
    std::optional<Kor::VrfName> vrf;
    std::optional<Kor::VlanId> vlan;
    bool routed = false;
    bool up = true;
    bool operator==(Intf const&) const = default;
  };

  int rank() const override { return 30; }
  std::vector<std::string> keys() const override { return {"interfaces"}; }
  void parse(ConfigValue const& doc, ConfigNames& names) override;
  void doApplyRemovals(Agent& agent, ConfigSection const& next, ConfigReport& report) override;
  void doApplyAdds(Agent& agent, ConfigSection const& next, ConfigReport& report) override;

 private:
  std::map<Nollo::IntfId, Intf> intfs_;
};

}  // namespace KorAgent
