#pragma once
// IP tunnel configuration the library follows: tunnel interface -> its
// configuration. Written by the tunnel configuration agent, read by the
// library's tunnel resolver.
#include <cstdint>
#include <string>

#include "models/tunnel/TunnelIntfConfig.h"
#include "nollo/IntfId.h"
#include "vix/Entity.h"

namespace Tunnel {

class KorTunnelConfig : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<KorTunnelConfig> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(Nollo::IntfId, Tunnel)
  };

  KorTunnelConfig() = default;
  explicit KorTunnelConfig(std::string name) : Entity(std::move(name)) {}

  VIX_ORDERED_MAP(Nollo::IntfId, TunnelIntfConfig, tunnel, Tunnel)
};

}  // namespace Tunnel
