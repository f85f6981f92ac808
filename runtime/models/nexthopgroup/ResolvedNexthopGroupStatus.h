#pragma once
// The answers to next-hop-group requests (WatchedNexthopGroupConfig), by
// group name: whether the group resolved to an installed adjacency and, when
// it did, its next-hop index in the hardware (0 while unresolved).
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
    VIX_KEY_HANDLER(std::string, NexthopIndex)
  };

  ResolvedNexthopGroupStatus() = default;
  explicit ResolvedNexthopGroupStatus(std::string name) : Entity(std::move(name)) {}

  VIX_ORDERED_MAP(std::string, bool, group, Group)
  VIX_ORDERED_MAP(std::string, uint64_t, nexthopIndex, NexthopIndex)
};

}  // namespace NexthopGroup
