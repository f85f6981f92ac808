#pragma once
// Spanning-tree forwarding of the ports of one VLAN: interface -> whether
// the port may forward in the VLAN. Written by VlanHelper::doHandlePortState
// and setPortsBlocked (driven by the topology helper); read by
// doAddPortToVlan when checkPortState is set. The record exists while the
// VLAN is under spanning tree (newPortForwarding / portForwardingDel); a
// port without an entry in it has no state there and does not forward.
#include "kor/common/KorExport.h"
#include "kor/common/VlanId.h"
#include "nollo/IntfId.h"
#include "vix/Entity.h"

namespace Kor {

class KOR_EXPORT PortForwarding : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<PortForwarding> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(Nollo::IntfId, Forwarding)
  };

  explicit PortForwarding(VlanId vlan) : vlanId_(vlan) {}
  VlanId vlanId() const { return vlanId_; }

  VIX_ORDERED_MAP(Nollo::IntfId, bool, forwarding, Forwarding)

 private:
  VlanId vlanId_;
};

}  // namespace Kor
