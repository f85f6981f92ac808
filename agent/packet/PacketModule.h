#pragma once
// The `packet` statement: offers one frame to the chip's packet path
// (SoftChip::PacketPath) and prints where its copies leave and with which
// tags, as text or JSON. It owns no input and no part of the library: it
// reads only what the chip's tables hold, so it shows what the library
// programmed, whatever the configuration says.
#include <string>

#include "agent/AgentModule.h"
#include "softchip/packet/Frame.h"
#include "softchip/packet/PacketResult.h"

namespace KorAgent {

class PacketModule : public AgentModule {
 public:
  explicit PacketModule(Agent* agent) : AgentModule(agent) {}

  void statementsAdd(StatementTable& t) override;

  // "packet in Ethernet1 vlan 10: bridged in vlan 10, out Ethernet2 vlan 10,
  // Ethernet3 untagged, Port-Channel1 (Ethernet5) vlan 10"
  static std::string resultText(SoftChip::Frame const& frame, SoftChip::PacketResult const& r);
  // {"in": ..., "tags": [...], "vlan": ..., "fid": ..., "copies": [...], "drop": ...}
  static std::string resultJson(SoftChip::Frame const& frame, SoftChip::PacketResult const& r);
};

}  // namespace KorAgent
