#pragma once
// The VLANs one interface belongs to as the hardware holds them: tagged and
// untagged members, and the VLANs it may receive in (ingress) and send in
// (egress). Written only by VlanHelper::updateVlanDone from what the platform
// confirmed, so it never runs ahead of the chip; other machines (the MAC
// table among them) read it. Keys present map to true.
#include "kor/common/KorExport.h"
#include "kor/common/VlanId.h"
#include "nollo/IntfId.h"
#include "vix/Entity.h"

namespace Kor {

class KOR_EXPORT PortVlanMembership : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<PortVlanMembership> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(VlanId, TaggedVlan)
    VIX_KEY_HANDLER(VlanId, UntaggedVlan)
    VIX_KEY_HANDLER(VlanId, IngressVlan)
    VIX_KEY_HANDLER(VlanId, EgressVlan)
  };

  explicit PortVlanMembership(Nollo::IntfId const& intf) : Entity(intf.str()), intf_(intf) {}
  Nollo::IntfId const& intf() const { return intf_; }

  VIX_ORDERED_MAP(VlanId, bool, taggedVlan, TaggedVlan)
  VIX_ORDERED_MAP(VlanId, bool, untaggedVlan, UntaggedVlan)
  VIX_ORDERED_MAP(VlanId, bool, ingressVlan, IngressVlan)
  VIX_ORDERED_MAP(VlanId, bool, egressVlan, EgressVlan)

 public:
  bool empty() const {
    return taggedVlanSize() + untaggedVlanSize() + ingressVlanSize() + egressVlanSize() == 0;
  }

 private:
  Nollo::IntfId intf_;
};

}  // namespace Kor
