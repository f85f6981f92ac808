#pragma once
// VXLAN hardware status: holds the VXLAN learned-host table (absent until
// the VXLAN agent publishes it). Handed to the ARP machines.
#include <cstdint>
#include <string>

#include "models/vxlan/VxlanFdbStatus.h"
#include "vix/Entity.h"

namespace Vxlan {

class VxlanHwStatusDir : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<VxlanHwStatusDir> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_HANDLER(VxlanFdbStatus)
  };

  VxlanHwStatusDir() = default;
  explicit VxlanHwStatusDir(std::string name) : Entity(std::move(name)) {}

  VIX_ATTR(Vix::Ptr<VxlanFdbStatus>, vxlanFdbStatus, VxlanFdbStatus)
};

}  // namespace Vxlan
