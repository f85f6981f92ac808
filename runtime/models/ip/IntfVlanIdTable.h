#pragma once
// Interface -> internal VLAN id of routed interfaces, published by the VLAN
// allocator.
#include <cstdint>
#include <string>

#include "nollo/IntfId.h"
#include "vix/Entity.h"

namespace IntfVlanId {

class Table : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<Table> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(Nollo::IntfId, VlanId)
  };

  Table() = default;
  explicit Table(std::string name) : Entity(std::move(name)) {}

  VIX_HASH_MAP(Nollo::IntfId, uint16_t, vlanId, VlanId)
};

}  // namespace IntfVlanId
