#pragma once
// The VLAN updates handed to the platform: per VLAN a snapshot of its
// VlanUpdate (genId, adds, ingress, egress, removes) taken when the update
// was started. An entry exists exactly while that VLAN's update is in
// flight: VlanHelper writes it before doUpdateVlan and deletes it when the
// platform's answer is folded in, so one update per VLAN is in flight.
#include "kor/common/KorExport.h"
#include "kor/common/VlanId.h"
#include "kor/l2/VlanUpdate.h"
#include "vix/Entity.h"

namespace Kor {

class KOR_EXPORT VlanHwUpdateConfig : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<VlanHwUpdateConfig> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(VlanId, Vlan)
  };

  explicit VlanHwUpdateConfig(std::string name) : Entity(std::move(name)) {}

  VIX_ORDERED_MAP(VlanId, Vix::Ptr<VlanUpdate>, vlan, Vlan)
};

}  // namespace Kor
