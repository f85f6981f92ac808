#pragma once
// Switch interface configuration the library follows: interface (Ethernet
// port or port channel) -> its switchport configuration. Written by the
// bridging configuration agent, read by Kor::SwitchIntfSm. A port channel's
// entry is what its members use while they are in it.
#include <string>

#include "models/bridging/SwitchportConfig.h"
#include "nollo/IntfId.h"
#include "vix/Entity.h"

namespace Bridging {

class SwitchIntfConfig : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<SwitchIntfConfig> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(Nollo::IntfId, SwitchIntfConfig)
  };

  SwitchIntfConfig() = default;
  explicit SwitchIntfConfig(std::string name) : Entity(std::move(name)) {}

  VIX_ORDERED_MAP(Nollo::IntfId, SwitchportConfig, switchIntfConfig, SwitchIntfConfig)
};

}  // namespace Bridging
