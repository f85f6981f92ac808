#pragma once
// The VLAN translations configured on one interface (an Ethernet port or a
// port channel, whose members take it): ingress (tag on arrival -> the VLAN
// the frame is bridged in), egress (the VLAN a frame leaves in -> the tag it
// leaves with), and per direction one native-VLAN pair (untagged frames of
// the native VLAN are bridged in / leave from the mapped VLAN; 0: none).
#include <cstdint>
#include <map>

#include "models/bridging/VlanXlateKey.h"

namespace Bridging {

struct VlanXlateIntfConfig {
  std::map<VlanXlateKey, uint16_t> ingress;
  std::map<VlanXlateKey, uint16_t> egress;
  uint16_t ingressNativeVlan = 0;
  uint16_t ingressNativeMapped = 0;
  uint16_t egressNativeVlan = 0;
  uint16_t egressNativeMapped = 0;

  bool empty() const {
    return ingress.empty() && egress.empty() && !ingressNativeVlan && !egressNativeVlan;
  }
  bool operator==(VlanXlateIntfConfig const&) const = default;
};

}  // namespace Bridging
