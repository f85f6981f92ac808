#pragma once
// What the hardware holds for one VLAN, as far as the platform confirmed it:
// its members (the bool says tagged), the ports that may receive and send in
// it, and the ports configured for the recirculation feature. A port in
// recircFeature is never removed from the VLAN (VlanHelper::doRemovePortFromVlan
// skips it). Owned by VlanHelper, one per created VLAN; written by
// updateVlanDone (members) and by the recirculation configuration
// (recircFeature).
#include "kor/common/KorExport.h"
#include "kor/common/VlanId.h"
#include "nollo/IntfId.h"
#include "vix/Entity.h"

namespace Kor {

class KOR_EXPORT VlanCache : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<VlanCache> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(Nollo::IntfId, Member)
    VIX_KEY_HANDLER(Nollo::IntfId, Ingress)
    VIX_KEY_HANDLER(Nollo::IntfId, Egress)
    VIX_KEY_HANDLER(Nollo::IntfId, RecircFeature)
  };

  explicit VlanCache(VlanId vlan) : vlanId_(vlan) {}
  VlanId vlanId() const { return vlanId_; }

  VIX_ORDERED_MAP(Nollo::IntfId, bool, member, Member)
  VIX_ORDERED_MAP(Nollo::IntfId, bool, ingress, Ingress)
  VIX_ORDERED_MAP(Nollo::IntfId, bool, egress, Egress)
  VIX_ORDERED_MAP(Nollo::IntfId, bool, recircFeature, RecircFeature)

 private:
  VlanId vlanId_;
};

}  // namespace Kor
