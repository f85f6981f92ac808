#pragma once
// The file's VRFs and their routing, under "vrfs":
//
//   "vrfs": { "red": {}, "blue": { "ipv6": false }, "default": { "ipv4": true } }
//
// Each VRF named is announced (the VRF "default" always is) with IPv4 and
// IPv6 routing as given; an omitted family keeps the VRF's start value: on
// for an added VRF, off for "default". A VRF that leaves the file is
// withdrawn; "default", which cannot be, gets its start value back (routing
// off). Holds, per VRF the file names, the routing applied.
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "agent/config/ConfigSection.h"
#include "kor/common/VrfName.h"

namespace KorAgent {

class VrfSection : public ConfigSection {
 public:
  struct Routing {
    bool v4 = true;
    bool v6 = true;
    bool operator==(Routing const&) const = default;
  };

  int rank() const override { return 20; }
  std::vector<std::string> keys() const override { return {"vrfs"}; }
  void parse(ConfigValue const& doc, ConfigNames& names) override;
  void doApplyRemovals(Agent& agent, ConfigSection const& next, ConfigReport& report) override;
  void doApplyAdds(Agent& agent, ConfigSection const& next, ConfigReport& report) override;

  // The routing a VRF has before the file names it.
  static Routing startRouting(Kor::VrfName const& vrf);

 private:
  void doRoutingIs(Agent& agent, Kor::VrfName const& vrf, Routing from, Routing const& to,
                   ConfigReport& report);

  std::map<Kor::VrfName, Routing> vrfs_;
};

}  // namespace KorAgent
