#pragma once
// The file's VLAN translations, under "vlanTranslations", one object per
// Ethernet port or port channel:
//
//   "vlanTranslations": { "Ethernet1": { "ingress": { "100": 10, "100.20": 11 },
//                                        "egress": { "10": 100 },
//                                        "nativeIngress": { "vlan": 5, "to": 20 },
//                                        "nativeEgress": { "vlan": 20, "to": 5 } } }
//
// Keys are a VLAN or outer.inner; every VLAN is 1..4094 (the VlanId text
// names the place otherwise). An interface's object replaces its whole
// configuration; an interface that leaves the file loses its translations.
// Holds the configurations applied.
#include <map>

#include "agent/config/ConfigSection.h"
#include "models/bridging/VlanXlateIntfConfig.h"
#include "nollo/IntfId.h"

namespace KorAgent {

class XlateSection : public ConfigSection {
 public:
  // After the interfaces and port channels whose members take it.
  int rank() const override { return 32; }
  std::vector<std::string> keys() const override { return {"vlanTranslations"}; }
  void parse(ConfigValue const& doc, ConfigNames& names) override;
  void doApplyRemovals(Agent& agent, ConfigSection const& next, ConfigReport& report) override;
  void doApplyAdds(Agent& agent, ConfigSection const& next, ConfigReport& report) override;

 private:
  std::map<Nollo::IntfId, Bridging::VlanXlateIntfConfig> configs_;
};

}  // namespace KorAgent
