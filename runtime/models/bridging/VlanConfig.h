#pragma once
// The VLANs configured on the switch: VLAN id -> true. Written by the
// bridging configuration agent, read by Kor::SwitchIntfSm, which creates
// them and puts into them the ports whose configuration carries them.
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace Bridging {

class VlanConfig : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<VlanConfig> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(uint16_t, Vlan)
  };

  VlanConfig() = default;
  explicit VlanConfig(std::string name) : Entity(std::move(name)) {}

  VIX_ORDERED_MAP(uint16_t, bool, vlan, Vlan)
};

}  // namespace Bridging
