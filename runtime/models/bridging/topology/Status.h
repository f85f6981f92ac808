#pragma once
// The spanning-tree protocol's status: one InstStatus per topology it runs,
// by topology name. The protocol adds an instance's status when it starts
// running the topology and removes it when it stops.
#include <string>

#include "models/bridging/topology/InstStatus.h"
#include "vix/Entity.h"
#include "vix/Ptr.h"

namespace Bridging::Topology {

class Status : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<Status> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(std::string, InstStatus)
  };

  Status() = default;
  explicit Status(std::string name) : Entity(std::move(name)) {}

  VIX_ORDERED_MAP(std::string, Vix::Ptr<InstStatus>, instStatus, InstStatus)
};

}  // namespace Bridging::Topology
