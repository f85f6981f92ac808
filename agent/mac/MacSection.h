#pragma once
// The file's MAC table settings, under "macs":
//
//   "macs": { "aging": 300,
//             "static": { "10": { "00:1c:73:00:00:09": "Ethernet1" } },
//             "learning": { "Ethernet3": false } }
//
// aging: the host aging time in seconds (absent: 300); static: per VLAN,
// the static entries (MAC -> interface); learning: interfaces whose
// hardware learning is off (true is the default and may be written).
// Applied after the interfaces and LAGs its entries name, removed before
// them. Holds what is applied.
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "agent/config/ConfigSection.h"
#include "nollo/EthAddr.h"
#include "nollo/IntfId.h"

namespace KorAgent {

class MacSection : public ConfigSection {
 public:
  int rank() const override { return 38; }
  std::vector<std::string> keys() const override { return {"macs"}; }
  void parse(ConfigValue const& doc, ConfigNames& names) override;
  void doApplyRemovals(Agent& agent, ConfigSection const& next, ConfigReport& report) override;
  void doApplyAdds(Agent& agent, ConfigSection const& next, ConfigReport& report) override;

 private:
  using StaticKey = std::pair<uint16_t, Nollo::EthAddr>;
  std::optional<uint32_t> aging_;
  std::map<StaticKey, Nollo::IntfId> static_;
  std::map<Nollo::IntfId, bool> learning_;
};

}  // namespace KorAgent
