#pragma once
// IP tunnel status: tunnel interface -> how it resolved through its underlay
// VRF. Written by the library's tunnel resolver only (one entry per
// configured tunnel), read by shows and the tunnel agent.
#include <cstdint>
#include <string>

#include "models/tunnel/TunnelIntfStatus.h"
#include "nollo/IntfId.h"
#include "vix/Entity.h"

namespace Tunnel {

class KorTunnelStatus : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<KorTunnelStatus> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(Nollo::IntfId, Tunnel)
  };

  KorTunnelStatus() = default;
  explicit KorTunnelStatus(std::string name) : Entity(std::move(name)) {}

  VIX_ORDERED_MAP(Nollo::IntfId, TunnelIntfStatus, tunnel, Tunnel)
};

}  // namespace Tunnel
