#pragma once
// The file's resilient ECMP prefixes and the hardware's flag, under
// "resilient":
//
//   "resilient": { "supported": true,
//                  "prefixes": { "default": { "10.9.0.0/16": { "capacity": 4, "redundancy": 2 } },
//                                "red": { "2001:db8:9::/48": { "capacity": 8, "redundancy": 1 } } } }
//
// "supported" is `set resilientEcmpSupported`: the hardware section does not
// carry it, and it belongs with the prefixes it enables. Left out it is
// false (the start value), so one that leaves the file switches the flag
// off. A prefix is keyed by a VRF the file or the agent knows; "capacity"
// and "redundancy" are both required, each 1..1056, their product at most
// 1056 (one via index per bucket). A prefix that leaves the file is plain
// ECMP again; a changed one is written in place (its table is rebuilt at the
// new size). Holds what is applied.
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "agent/config/ConfigSection.h"
#include "kor/common/VrfName.h"
#include "kor/records/ResilientEcmpParams.h"

namespace KorAgent {

class ResilientSection : public ConfigSection {
 public:
  // After the VRFs, before the FECs and routes: a route comes up resilient
  // at once instead of plain first.
  int rank() const override { return 25; }
  std::vector<std::string> keys() const override { return {"resilient"}; }
  void parse(ConfigValue const& doc, ConfigNames& names) override;
  void doApplyRemovals(Agent& agent, ConfigSection const& next, ConfigReport& report) override;
  void doApplyAdds(Agent& agent, ConfigSection const& next, ConfigReport& report) override;

 private:
  // (VRF, prefix text): the prefix text is as the file writes it, checked.
  using Key = std::pair<Kor::VrfName, std::string>;

  bool supported_ = false;
  std::map<Key, Kor::ResilientEcmpParams> prefixes_;
};

}  // namespace KorAgent
