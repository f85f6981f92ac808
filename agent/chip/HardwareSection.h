#pragma once
// The hardware's capabilities and the VRF root's settings, under "hardware"
// and "knobs":
//
//   "hardware": { "maxEcmp": 64, "adjSharing": "default", "exactMatchLengths": [48, 64] },
//   "knobs": { "totalTimeForRouteUpdates": "200ms", "reniceValue": 0 }
//
// "knobs" takes the settings of the scenario language's `set` (durations in
// seconds or as "250ms"; reniceValue an integer -20..19). A setting the file
// leaves out has the agent's start value (maxEcmp 0: not published,
// adjSharing "default", no exact-match lengths, each knob's default), so
// one that leaves the file returns to it, and one the file never names is
// never touched. Holds the values applied.
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "agent/config/ConfigSection.h"
#include "models/routing/hardware/AdjSharing.h"

namespace KorAgent {

class HardwareSection : public ConfigSection {
 public:
  int rank() const override { return 10; }
  std::vector<std::string> keys() const override { return {"hardware", "knobs"}; }
  void parse(ConfigValue const& doc, ConfigNames& names) override;
  // Settings have nothing that depends on them in the file: a setting that
  // leaves the file returns to its start value with the changes.
  void doApplyRemovals(Agent&, ConfigSection const&, ConfigReport&) override {}
  void doApplyAdds(Agent& agent, ConfigSection const& next, ConfigReport& report) override;

 private:
  uint32_t maxEcmp_ = 0;
  Routing::Hardware::AdjSharing adjSharing_ = Routing::Hardware::AdjSharing::platformDefault;
  std::set<uint32_t> exactMatchLengths_;
  std::map<std::string, double> knobs_;
};

}  // namespace KorAgent
