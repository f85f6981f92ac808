#pragma once
// Resolution state of watched next-hop groups (group name -> resolved).
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace NexthopGroup {

class ResolvedNexthopGroupStatus : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<ResolvedNexthopGroupStatus> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(std::string, Group)
  };

  ResolvedNexthopGroupStatus() = default;
  explicit ResolvedNexthopGroupStatus(std::string name) : Entity(std::move(name)) {}

  VIX_ORDERED_MAP(std::string, bool, group, Group)
};

}  // namespace NexthopGroup
