#pragma once
// The file's VLANs and switchports, under "vlans" and "switchports":
//
//   "vlans": [10, 20, 30],
//   "switchports": { "Ethernet1": { "mode": "trunk", "allowed": [10, 20], "native": 10,
//                                   "tpid": "0x88a8" },
//                    "Port-Channel1": { "mode": "access", "vlan": 20 } }
//
// "mode" is access (default), trunk or dot1q-tunnel; "vlan" the access VLAN
// (default 1); "allowed" a trunk's VLANs (all when omitted); "native" its
// native VLAN (default 1); "tpid" a number or "0x..." string (default
// 0x8100). Every VLAN id and TPID is checked while reading, so a bad one
// refuses the whole file with its place and nothing is applied. A VLAN or
// switchport that leaves the file is removed; a changed one written again.
// Holds what was applied.
#include <map>
#include <set>

#include "agent/config/ConfigSection.h"
#include "models/bridging/SwitchportConfig.h"
#include "nollo/IntfId.h"

namespace KorAgent {

class VlanSection : public ConfigSection {
 public:
  // After the interfaces and LAGs whose ports it configures.
  int rank() const override { return 32; }
  std::vector<std::string> keys() const override { return {"vlans", "switchports"}; }
  void parse(ConfigValue const& doc, ConfigNames& names) override;
  void doApplyRemovals(Agent& agent, ConfigSection const& next, ConfigReport& report) override;
  void doApplyAdds(Agent& agent, ConfigSection const& next, ConfigReport& report) override;

 private:
  std::map<uint16_t, bool> vlans_;
  std::map<Nollo::IntfId, Bridging::SwitchportConfig> switchports_;
};

}  // namespace KorAgent
