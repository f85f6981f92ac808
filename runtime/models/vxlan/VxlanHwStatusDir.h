#pragma once
// VXLAN hardware status. Handed to the ARP machines.
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace Vxlan {

class VxlanHwStatusDir : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<VxlanHwStatusDir> {
   public:
    using NotifieeOf::NotifieeOf;
  };

  VxlanHwStatusDir() = default;
  explicit VxlanHwStatusDir(std::string name) : Entity(std::move(name)) {}
};

}  // namespace Vxlan
