#pragma once
// The routing inputs under "routing":
//
//   "routing": { "routerMac": "00:1c:73:00:00:01", "maxNumRoutes": 0,
//                "parentDropRoute": false, "deletionDelay": "0s",
//                "icmpUnreachable": false, "greKeyForwarding": false,
//                "mlagPeerMac": "00:1c:73:00:00:42", "mpls": false, "urpf": false,
//                "deferredRouting": false,
//                "urpfInterfaces": { "Ethernet4": { "ipv4": "strict", "ipv6": "off", "allowDefault": false } },
//                "mplsOffInterfaces": ["Ethernet5"] }
//
// A key the file leaves out has the agent's start value (the default router
// MAC, every flag off, MLAG inactive, no limit, no delay, no interface
// entries; a "mlagPeerMac" makes MLAG active with that peer), so one that
// leaves the file returns to it. Rank 15: after the hardware, before the
// VRFs whose routing reads these inputs. Holds the values applied.
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "agent/config/ConfigSection.h"
#include "models/urpf/UrpfStatus.h"
#include "nollo/EthAddr.h"
#include "nollo/IntfId.h"

namespace KorAgent {

class RoutingInputsSection : public ConfigSection {
 public:
  RoutingInputsSection();
  int rank() const override { return 15; }
  std::vector<std::string> keys() const override { return {"routing"}; }
  void parse(ConfigValue const& doc, ConfigNames& names) override;
  void doApplyRemovals(Agent&, ConfigSection const&, ConfigReport&) override {}
  void doApplyAdds(Agent& agent, ConfigSection const& next, ConfigReport& report) override;

 private:
  struct IntfUrpf {
    Urpf::UrpfStatus v4, v6;
    bool operator==(IntfUrpf const&) const = default;
  };
  Nollo::EthAddr routerMac_;
  // The hardware fields by name (flags as 0/1).
  std::map<std::string, double> hwFields_;
  Nollo::EthAddr mlagPeerMac_;  // zero: MLAG inactive
  bool mpls_ = false, urpf_ = false, deferredRouting_ = false;
  std::map<Nollo::IntfId, IntfUrpf> urpfIntfs_;
  std::set<Nollo::IntfId> mplsOff_;
};

}  // namespace KorAgent
