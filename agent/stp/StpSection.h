#pragma once
// The file's spanning-tree configuration, under "stp":
//
//   "stp": { "topologies": { "MST1": { "vlans": "10-20,30" }, "MST2": {} },
//            "bpduTrapping": true, "pvst": false, "mode": "regular" }
//
// A topology's "vlans" (optional) are mapped to it; a VLAN named by two
// topologies is refused. "mode" is "regular" or "tap-aggregation". A
// topology that leaves the file is removed; a changed one is written again.
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "agent/config/ConfigSection.h"

namespace KorAgent {

class StpSection : public ConfigSection {
 public:
  // After the interfaces and LAGs whose ports the topologies hold.
  int rank() const override { return 55; }
  std::vector<std::string> keys() const override { return {"stp"}; }
  void parse(ConfigValue const& doc, ConfigNames& names) override;
  void doApplyRemovals(Agent& agent, ConfigSection const& next, ConfigReport& report) override;
  void doApplyAdds(Agent& agent, ConfigSection const& next, ConfigReport& report) override;

 private:
  std::map<std::string, std::set<uint16_t>> topologies_;
  std::optional<bool> bpduTrapping_;
  std::optional<bool> pvst_;
  std::optional<bool> tapAgg_;
};

}  // namespace KorAgent
