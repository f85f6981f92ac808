#pragma once
// The changes of one VLAN's membership not yet confirmed by the platform:
// ports to add (the bool says tagged), to let receive (ingress) and send
// (egress) in the VLAN, and to remove. A port is in `remove` or in the other
// three sets, never both. genId counts every change; the platform answers
// with the genId it programmed, which is how VlanHelper knows whether a
// change arrived while the chip was busy. Owned by VlanHelper, one per VLAN
// with pending changes; a snapshot of one is what VlanHwUpdateConfig holds.
#include <cstdint>
#include <ostream>

#include "kor/common/KorExport.h"
#include "kor/common/VlanId.h"
#include "nollo/IntfId.h"
#include "vix/Entity.h"

namespace Kor {

class KOR_EXPORT VlanUpdate : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<VlanUpdate> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(Nollo::IntfId, Add)
    VIX_KEY_HANDLER(Nollo::IntfId, Ingress)
    VIX_KEY_HANDLER(Nollo::IntfId, Egress)
    VIX_KEY_HANDLER(Nollo::IntfId, Remove)
    VIX_HANDLER(GenId)
  };

  explicit VlanUpdate(VlanId vlan) : vlanId_(vlan) {}
  VlanId vlanId() const { return vlanId_; }

  VIX_ORDERED_MAP(Nollo::IntfId, bool, add, Add)
  VIX_ORDERED_MAP(Nollo::IntfId, bool, ingress, Ingress)
  VIX_ORDERED_MAP(Nollo::IntfId, bool, egress, Egress)
  VIX_ORDERED_MAP(Nollo::IntfId, bool, remove, Remove)
  VIX_COUNTER(uint64_t, genId, GenId)

 public:
  // A copy of the four sets and the genId (what the platform is handed).
  Vix::Ptr<VlanUpdate> snapshot() const;
  // Overwrites dst, an update of the same VLAN, with this one.
  void copyTo(VlanUpdate& dst) const;
  // The sets as traced: " adds: [Ethernet1(t)] removes: [] ingress: [...] egress: [...]"
  void print(std::ostream& os) const;

 private:
  VlanId vlanId_;
};

}  // namespace Kor
