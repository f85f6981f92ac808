#pragma once
// The IP agent's local view of all VRFs: which VRF names it has state for.
// Held by the VRF root for the machines that will read per-VRF IP state; the
// routing spine itself does not read it yet.
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace Ip {

class AllVrfStatusLocal : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<AllVrfStatusLocal> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(std::string, Vrf)
  };

  AllVrfStatusLocal() = default;
  explicit AllVrfStatusLocal(std::string name) : Entity(std::move(name)) {}

  VIX_ORDERED_MAP(std::string, bool, vrf, Vrf)
};

}  // namespace Ip
