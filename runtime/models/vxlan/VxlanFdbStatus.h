#pragma once
// Hosts learned behind VXLAN tunnels: (MAC, VLAN) -> remote VTEP address.
// Written by the VXLAN agent; read by the ARP / neighbour machines to find
// the tunnel destination of a MAC the MAC table places on a VXLAN interface.
#include <string>

#include "models/vxlan/MacVlan.h"
#include "nollo/IpAddr4.h"
#include "vix/Entity.h"

namespace Vxlan {

class VxlanFdbStatus : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<VxlanFdbStatus> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(MacVlan, RemoteVtep)
  };

  VxlanFdbStatus() = default;
  explicit VxlanFdbStatus(std::string name) : Entity(std::move(name)) {}

  VIX_HASH_MAP(MacVlan, Nollo::IpAddr4, remoteVtep, RemoteVtep)
};

}  // namespace Vxlan
