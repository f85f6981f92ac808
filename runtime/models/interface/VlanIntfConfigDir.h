#pragma once
// Configuration of VLAN interfaces. Handed on to the routing status machines.
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace Interface {

class VlanIntfConfigDir : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<VlanIntfConfigDir> {
   public:
    using NotifieeOf::NotifieeOf;
  };

  VlanIntfConfigDir() = default;
  explicit VlanIntfConfigDir(std::string name) : Entity(std::move(name)) {}
};

}  // namespace Interface
