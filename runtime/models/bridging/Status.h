#pragma once
// Bridging status: the MAC table, one FdbStatus per filtering database
// (VLAN id). A VLAN without MAC entries may have no FdbStatus at all.
#include <cstdint>
#include <string>

#include "models/bridging/FdbStatus.h"
#include "vix/Entity.h"

namespace Bridging {

class Status : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<Status> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(uint16_t, FdbStatus)
  };

  Status() = default;
  explicit Status(std::string name) : Entity(std::move(name)) {}

  VIX_CHILD_MAP(uint16_t, FdbStatus, fdbStatus, FdbStatus)
};

}  // namespace Bridging
