#pragma once
// VLAN translation status per port (`xlateStatus`), written by the
// library's VlanMappingSm for every port that has translations configured
// (its own or its port channel's) or still holds some in hardware.
#include <string>

#include "models/bridging/VlanXlateIntfStatus.h"
#include "nollo/IntfId.h"
#include "vix/Entity.h"

namespace Bridging {

class VlanXlateStatusDir : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<VlanXlateStatusDir> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(Nollo::IntfId, XlateStatus)
  };

  VlanXlateStatusDir() = default;
  explicit VlanXlateStatusDir(std::string name) : Entity(std::move(name)) {}

  VIX_ORDERED_MAP(Nollo::IntfId, VlanXlateIntfStatus, xlateStatus, XlateStatus)
};

}  // namespace Bridging
