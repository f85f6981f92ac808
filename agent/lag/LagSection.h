#pragma once
// The file's LAG memberships, under "lags":
//
//   "lags": { "Port-Channel1": ["Ethernet2", "Ethernet3"] }
//
// A LAG is a port channel and its Ethernet member ports (one or more), each
// port in one LAG at most. Applied after the interfaces (a port channel's
// ports come up before they join it) and removed before them. Holds the
// memberships applied.
#include <map>
#include <set>
#include <string>
#include <vector>

#include "agent/config/ConfigSection.h"
#include "nollo/IntfId.h"

namespace KorAgent {

class LagSection : public ConfigSection {
 public:
  int rank() const override { return 35; }
  std::vector<std::string> keys() const override { return {"lags"}; }
  void parse(ConfigValue const& doc, ConfigNames& names) override;
  void doApplyRemovals(Agent& agent, ConfigSection const& next, ConfigReport& report) override;
  void doApplyAdds(Agent& agent, ConfigSection const& next, ConfigReport& report) override;

 private:
  std::map<Nollo::IntfId, std::set<Nollo::IntfId>> lags_;
};

}  // namespace KorAgent
