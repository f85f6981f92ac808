#pragma once
// Spanning-tree topology configuration, as the bridging configuration agent
// writes it: the topologies (instances) by name, which topology each VLAN
// belongs to (vidToTopo: VLAN id -> topology name; a VLAN absent from it is
// under no topology), whether BPDUs are trapped to the CPU, and whether
// per-VLAN spanning tree is in use.
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace Bridging::Topology {

class Config : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<Config> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(std::string, Topology)
    VIX_KEY_HANDLER(uint16_t, VidToTopo)
    VIX_HANDLER(BpduTrapping)
    VIX_HANDLER(Pvst)
  };

  Config() = default;
  explicit Config(std::string name) : Entity(std::move(name)) {}

  VIX_ORDERED_MAP(std::string, bool, topology, Topology)
  VIX_ORDERED_MAP(uint16_t, std::string, vidToTopo, VidToTopo)
  VIX_ATTR(bool, bpduTrapping, BpduTrapping)
  VIX_ATTR(bool, pvst, Pvst)
};

}  // namespace Bridging::Topology
