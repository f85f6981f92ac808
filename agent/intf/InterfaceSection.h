#pragma once
// The file's interfaces and LAG memberships, under "interfaces" and "lags":
//
//   "interfaces": { "Ethernet1": { "vrf": "red", "vlan": 10, "routed": true, "link": "down" } },
//   "lags": { "Port-Channel1": ["Ethernet2", "Ethernet3"] }
//
// An interface is in the VRF "default" unless one is named (a VRF of the
// file), has no VLAN unless one is given, is a routed port only when
// "routed" is true and has its link up unless "link" is "down". A LAG is a
// port channel and its Ethernet member ports, each port in one LAG at most.
// A change of VRF or of "routed" removes the interface and adds it again
// (the agent changes neither in place); VLAN and link change in place.
// Holds the interfaces and memberships applied.
#include <map>
#include <memory>
#include <optional>
#include <set>
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
  std::vector<std::string> keys() const override { return {"interfaces", "lags"}; }
  void parse(ConfigValue const& doc, ConfigNames& names) override;
  void doApplyRemovals(Agent& agent, ConfigSection const& next, ConfigReport& report) override;
  void doApplyAdds(Agent& agent, ConfigSection const& next, ConfigReport& report) override;

 private:
  void doParseLags(ConfigValue const& lags);

  std::map<Nollo::IntfId, Intf> intfs_;
  std::map<Nollo::IntfId, std::set<Nollo::IntfId>> lags_;
};

}  // namespace KorAgent
