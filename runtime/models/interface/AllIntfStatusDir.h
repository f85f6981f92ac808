#pragma once
// Status of all interfaces. Handed on to the routing status machines.
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace Interface {

class AllIntfStatusDir : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<AllIntfStatusDir> {
   public:
    using NotifieeOf::NotifieeOf;
  };

  AllIntfStatusDir() = default;
  explicit AllIntfStatusDir(std::string name) : Entity(std::move(name)) {}
};

}  // namespace Interface
