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
//
// Choices where the tables leave room (docs/packet-path.md says why):
// - a port without a portvlan row is unknown to the chip: nothing enters;
// - a tag whose TPID is not the port's is payload; a priority tag (VID 0)
//   is dropped from the frame and the frame is untagged;
// - an access port admits untagged and priority-tagged frames only;
// - a dot1q-tunnel port (tagging dot1q-tunnel, or dot1QTunnel in its TPID
//   data) puts every frame, tags and all, into its default VLAN and never
//   translates; on egress it is an untagged member, which pops that tag;
// - a translation rewrites the outer tag only: an outer+inner match is
//   tried before an outer-only one, and the inner tag stays on the frame;
// - a native pair (V -> M) applies to frames the port sends or receives
//   untagged in V: received untagged, they are bridged in M; sent in V, they
//   leave tagged M;
// - only `forwarding` passes frames, in and out (learning, discarding and
//   trapping drop them; learning will learn once the MAC table exists);
// - a LAG the chip holds (the `lag` table) bridges as one port: its member
//   chosen by memberFor must itself be an egress member and forwarding, no
//   other member stands in; a software LAG (refused by the chip) is unknown
//   to the chip, so its members bridge as separate ports.
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "nollo/IntfId.h"
#include "softchip/packet/Frame.h"
#include "softchip/packet/PacketResult.h"

namespace SoftChip {

class SoftChip;
struct ChipVlan;

class PacketPath {
 public:
  explicit PacketPath(SoftChip const& chip) : chip_(chip) {}
  PacketResult walk(Frame const& frame) const;

 private:
  // The frame once the ingress port classified it: the VLAN its outer tag
  // (or the port) gives it before translation, the tags kept as payload
  // (outer first), whether the port took a tag of its own off it, and
  // whether the port is a tunnel port (which never translates).
  struct Classified {
    uint16_t vlan = 0;
    bool tagged = false;
    bool tunnel = false;
    std::vector<FrameTag> payload;
  };
  using PortToLag = std::map<Nollo::IntfId, Nollo::IntfId>;

  PortToLag lagsHeld() const;
  // Empty drop text: classified; otherwise why the frame went nowhere.
  std::string doClassify(Frame const& frame, Classified& c) const;
  uint16_t doTranslateIngress(Nollo::IntfId const& port, Classified const& c) const;
  // The ports the frame is sent to in its VLAN, before the per-port checks.
  // Today every frame floods; the MAC table's lookup narrows this set.
  std::set<Nollo::IntfId> doLookupDestinations(Frame const& frame, uint16_t fid, ChipVlan const& vlan) const;
  // One copy out of `port` (chosen for `lag` when not empty), or the reason
  // why none leaves there.
  std::optional<EgressCopy> doEgress(Nollo::IntfId const& port, Nollo::IntfId const& lag, uint16_t vlan,
                                     ChipVlan const& row, std::vector<FrameTag> const& payload,
                                     std::string& why) const;

  SoftChip const& chip_;
};

}  // namespace SoftChip
