#pragma once
// VLAN translation configuration per interface, written by the bridging
// configuration agent, read by the library's VlanMappingSm. An interface
// without an entry has no translations.
#include <string>

#include "models/bridging/VlanXlateIntfConfig.h"
#include "nollo/IntfId.h"
#include "vix/Entity.h"

namespace Bridging {

class VlanXlateConfigDir : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<VlanXlateConfigDir> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(Nollo::IntfId, IntfConfig)
  };

  VlanXlateConfigDir() = default;
  explicit VlanXlateConfigDir(std::string name) : Entity(std::move(name)) {}

  VIX_ORDERED_MAP(Nollo::IntfId, VlanXlateIntfConfig, intfConfig, IntfConfig)
};

}  // namespace Bridging
