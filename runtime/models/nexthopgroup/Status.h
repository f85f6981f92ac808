#pragma once
// The next-hop groups the platform side publishes, by name: each group's id
// and members (Group). A FEC names a group by its id: the FEC id's adjacency
// type is the next-hop-group type and its index the group id. Read by the
// next-hop-group route machine of every VRF.
#include <cstdint>
#include <string>

#include "models/nexthopgroup/Group.h"
#include "vix/Entity.h"

namespace NexthopGroup {

class Status : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<Status> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(std::string, Group)
  };

  Status() = default;
  explicit Status(std::string name) : Entity(std::move(name)) {}

  VIX_ORDERED_MAP(std::string, Group, group, Group)
};

}  // namespace NexthopGroup
