#pragma once
// The file's static FECs and routes, under "fecs" and "routes":
//
//   "fecs": {
//     "1": { "vias": [ { "nextHop": "10.1.0.2", "interface": "Vlan10" },
//                      { "nextHop": "10.1.0.3", "interface": "Vlan10", "labels": [100, 200], "weight": 2 } ] },
//     "2": { "vrf": "red", "type": "attached", "vias": [ { "interface": "Ethernet3" } ] },
//     "3": { "type": "drop", "family": "ipv6" }
//   },
//   "routes": { "default": { "10.0.0.0/8": { "fec": 1 } }, "red": { "192.168.0.0/16": { "fec": 2 } } }
//
// A FEC (id below 2^48, in the VRF "default" unless one of the file is
// named) forwards to its vias, is "attached" (a connected subnet: one via,
// an interface without next hop) or drops; its family is its next hops' or,
// without next hops, "family" (ipv4 by default). A route is a prefix of a
// VRF of the file pointing at a FEC of the file in the same VRF and family.
// A FEC that changes VRF or family is removed and added again; other
// changes update it in place. Holds the FECs and routes applied.
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "agent/Agent.h"
#include "agent/fib/FibModule.h"
#include "agent/config/ConfigSection.h"
#include "kor/common/VrfName.h"
#include "quill/FecType.h"

namespace KorAgent {

class FecRouteSection : public ConfigSection {
 public:
  struct Fec {
    Kor::VrfName vrf;
    Quill::Fib::FecType type = Quill::Fib::FecType::forward;
    bool v6 = false;
    std::vector<FibModule::Via> vias;
    bool operator==(Fec const&) const = default;
  };
  struct Route {
    FibModule::Prefix prefix;
    uint64_t fec = 0;
    bool operator==(Route const&) const = default;
  };
  // A route's VRF and its prefix as text ("10.0.0.0/8").
  using RouteKey = std::pair<Kor::VrfName, std::string>;

  int rank() const override { return 40; }
  std::vector<std::string> keys() const override { return {"fecs", "routes"}; }
  void parse(ConfigValue const& doc, ConfigNames& names) override;
  void doApplyRemovals(Agent& agent, ConfigSection const& next, ConfigReport& report) override;
  void doApplyAdds(Agent& agent, ConfigSection const& next, ConfigReport& report) override;

 private:
  Fec doParseFec(ConfigValue const& v, ConfigNames const& names) const;
  void doParseRoutes(ConfigValue const& routes, ConfigNames const& names);

  std::map<uint64_t, Fec> fecs_;
  std::map<RouteKey, Route> routes_;
};

}  // namespace KorAgent
