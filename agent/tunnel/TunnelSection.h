#pragma once
// The file's tunnels, under "tunnels":
//
//   "tunnels": { "Tunnel1": { "type": "gre", "source": "1.1.1.1",
//                             "destination": "2.2.2.2", "underlay": "red", "key": 5 } }
//
// "type" (ipip or gre), "source" and "destination" are required;
// "underlay" (a VRF, "default" when omitted) must be one the file or the
// agent knows; "key" only for gre. A tunnel that leaves the file is
// removed; a changed one is written again. Holds the tunnels applied.
#include <map>

#include "agent/config/ConfigSection.h"
#include "models/tunnel/TunnelIntfConfig.h"
#include "nollo/IntfId.h"

namespace KorAgent {

class TunnelSection : public ConfigSection {
 public:
  // After the VRFs and interfaces, beside the FECs and routes it resolves over.
  int rank() const override { return 35; }
  std::vector<std::string> keys() const override { return {"tunnels"}; }
  void parse(ConfigValue const& doc, ConfigNames& names) override;
  void doApplyRemovals(Agent& agent, ConfigSection const& next, ConfigReport& report) override;
  void doApplyAdds(Agent& agent, ConfigSection const& next, ConfigReport& report) override;

 private:
  std::map<Nollo::IntfId, Tunnel::TunnelIntfConfig> tunnels_;
};

}  // namespace KorAgent
