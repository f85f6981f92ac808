#pragma once
// Bridging status (the MAC table the library writes). Handed on to the
// per-VRF machines; the fields arrive with the MAC table work.
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace Bridging {

class Status : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<Status> {
   public:
    using NotifieeOf::NotifieeOf;
  };

  Status() = default;
  explicit Status(std::string name) : Entity(std::move(name)) {}
};

}  // namespace Bridging
