#pragma once
// Virtual router MAC status of the first-hop redundancy agent. Handed to the
// routing status machines; its contents arrive with them.
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace Routing::Fhrp {

class VirtualRouterMacStatus : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<VirtualRouterMacStatus> {
   public:
    using NotifieeOf::NotifieeOf;
  };

  VirtualRouterMacStatus() = default;
  explicit VirtualRouterMacStatus(std::string name) : Entity(std::move(name)) {}
};

}  // namespace Routing::Fhrp
