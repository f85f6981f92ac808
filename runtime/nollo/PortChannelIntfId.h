#pragma once
// Port-channel (link aggregation) interface ids: the test the layer-2 and ACL
// code asks before treating an interface as a member port.
#include <cstdint>

#include "nollo/IntfId.h"

namespace Nollo {

class PortChannelIntfId {
 public:
  // True for "Port-Channel<n>" itself (not for its sub-interfaces).
  static bool isPortChannelIntfId(IntfId const& intf) { return intf.isPortChannel(); }
  static IntfId make(uint32_t n) { return IntfId::portChannel(n); }
};

}  // namespace Nollo
