#pragma once
// VLAN -> filtering database: VLANs that share one MAC table (shared VLAN
// learning) name the same filtering database id. A VLAN without an entry
// learns in a database of its own. Read by the library's VlanPhyIntfSm.
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace Bridging {

class VlanFidConfigDir : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<VlanFidConfigDir> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(uint16_t, VidToFid)
  };

  VlanFidConfigDir() = default;
  explicit VlanFidConfigDir(std::string name) : Entity(std::move(name)) {}

  VIX_ORDERED_MAP(uint16_t, uint16_t, vidToFid, VidToFid)
};

}  // namespace Bridging
