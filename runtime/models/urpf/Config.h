#pragma once
// uRPF configuration as the uRPF agent publishes it: whether uRPF checks are
// wanted at all on this switch (enabled), and the check each interface asks
// for, per address family (intfUrpf for IPv4, intfUrpf6 for IPv6; an
// interface without an entry asks for none). Handed to the routing status
// machines, which bring the hardware into that state.
#include <string>

#include "models/urpf/UrpfStatus.h"
#include "nollo/IntfId.h"
#include "vix/Entity.h"

namespace Urpf {

class Config : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<Config> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_HANDLER(Enabled)
    VIX_KEY_HANDLER(Nollo::IntfId, IntfUrpf)
    VIX_KEY_HANDLER(Nollo::IntfId, IntfUrpf6)
  };

  Config() = default;
  explicit Config(std::string name) : Entity(std::move(name)) {}

  VIX_ATTR(bool, enabled, Enabled)
  VIX_HASH_MAP(Nollo::IntfId, UrpfStatus, intfUrpf, IntfUrpf)
  VIX_HASH_MAP(Nollo::IntfId, UrpfStatus, intfUrpf6, IntfUrpf6)
};

}  // namespace Urpf
