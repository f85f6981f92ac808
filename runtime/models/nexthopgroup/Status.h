#pragma once
// Next-hop-group hardware status. Handed to the next-hop-group route machines.
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace NexthopGroup {

class Status : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<Status> {
   public:
    using NotifieeOf::NotifieeOf;
  };

  Status() = default;
  explicit Status(std::string name) : Entity(std::move(name)) {}
};

}  // namespace NexthopGroup
