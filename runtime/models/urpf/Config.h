#pragma once
// uRPF configuration as the uRPF agent publishes it: whether uRPF checks are
// wanted at all on this switch. Handed to the routing status machines, which
// bring the hardware into that state.
#include <string>

#include "vix/Entity.h"

namespace Urpf {

class Config : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<Config> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_HANDLER(Enabled)
  };

  Config() = default;
  explicit Config(std::string name) : Entity(std::move(name)) {}

  VIX_ATTR(bool, enabled, Enabled)
};

}  // namespace Urpf
