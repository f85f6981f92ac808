#pragma once
// The chip's forwarding pipeline for layer-2 frames, walked in software over
// what is programmed in the chip's tables - never over the library's or the
// agent's view of the configuration - so that tests judge what the library
// programmed from the outside. Ingress: LAG of the port, TPID and default
// VLAN (portvlan), ingress translation (xlate-ingress), VLAN ingress
// filtering (vlan), spanning-tree state (stpstate). Forwarding: flooding to
// the VLAN's egress members (the MAC table comes later), never back to the
// ingress port or its LAG, one member per egress LAG chosen by flow hash
// (LagChip::memberFor). Egress: spanning-tree state, tagging (vlan members'
// tagged flag), egress translation (xlate-egress).
#include "softchip/packet/Frame.h"
#include "softchip/packet/PacketResult.h"

namespace SoftChip {

class SoftChip;

class PacketPath {
 public:
  explicit PacketPath(SoftChip const& chip) : chip_(chip) {}
  PacketResult walk(Frame const& frame) const;

 private:
  SoftChip const& chip_;
};

}  // namespace SoftChip
