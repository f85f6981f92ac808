#pragma once
// The file's next-hop groups and the routes over them, under "nhg":
//
//   "nhg": {
//     "supported": true,
//     "groups": { "blue": { "id": 5, "members": [ { "nextHop": "10.1.0.2", "interface": "Vlan10" },
//                                                 { "nextHop": "10.1.0.3", "interface": "Vlan10", "weight": 2 } ] } },
//     "routes": { "default": { "10.0.0.0/8": { "group": "blue" } } }
//   }
//
// "supported" is the hardware's next-hop-group capability (left as it is
// when omitted). A group has an id (0..2^56-2, one group per id) and one
// member or more of one family: next hop, interface, optional "vlan",
// "labels" and "weight". A route is a prefix of a VRF of the file over a
// group of the file. A group whose id changes is removed and added again;
// new members update it in place. Holds what is applied.
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "agent/config/ConfigSection.h"
#include "agent/fib/FibModule.h"
#include "kor/common/VrfName.h"

namespace KorAgent {

class NhgSection : public ConfigSection {
 public:
  struct Group {
    uint64_t id = 0;
    std::vector<FibModule::Via> members;
    bool operator==(Group const&) const = default;
  };
  struct Route {
    FibModule::Prefix prefix;
    std::string group;
    bool operator==(Route const&) const = default;
  };
  using RouteKey = std::pair<Kor::VrfName, std::string>;

  // After the FECs and routes: a prefix is either a FEC's or a group's.
  int rank() const override { return 45; }
  std::vector<std::string> keys() const override { return {"nhg"}; }
  void parse(ConfigValue const& doc, ConfigNames& names) override;
  void doApplyRemovals(Agent& agent, ConfigSection const& next, ConfigReport& report) override;
  void doApplyAdds(Agent& agent, ConfigSection const& next, ConfigReport& report) override;

 private:
  Group doParseGroup(ConfigValue const& v) const;
  void doParseRoutes(ConfigValue const& routes, ConfigNames const& names);

  std::optional<bool> supported_;
  std::map<std::string, Group> groups_;
  std::map<RouteKey, Route> routes_;
};

}  // namespace KorAgent
