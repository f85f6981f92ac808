#pragma once
// Next-hop groups watched for resolution (group name -> watched). One per VRF
// root as well.
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace NexthopGroup {

class WatchedNexthopGroupConfig : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<WatchedNexthopGroupConfig> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(std::string, Group)
  };

  WatchedNexthopGroupConfig() = default;
  explicit WatchedNexthopGroupConfig(std::string name) : Entity(std::move(name)) {}

  VIX_ORDERED_MAP(std::string, bool, group, Group)
};

}  // namespace NexthopGroup
