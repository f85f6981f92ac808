#pragma once
// Status of one LAG interface (port channel) as the interface agent
// publishes it: its member ports (member -> true) and the kernel device name
// the LAG is known by. Owned by the EthLagIntfStatusDir that lists it.
#include <string>

#include "nollo/IntfId.h"
#include "vix/Entity.h"

namespace Interface {

class EthLagIntfStatus : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<EthLagIntfStatus> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(Nollo::IntfId, Member)
    VIX_HANDLER(DeviceName)
  };

  explicit EthLagIntfStatus(Nollo::IntfId const& intfId) : Entity(intfId.str()), intfId_(intfId) {}

  Nollo::IntfId const& intfId() const { return intfId_; }

  VIX_ORDERED_MAP(Nollo::IntfId, bool, member, Member)
  VIX_ATTR(std::string, deviceName, DeviceName)

 private:
  Nollo::IntfId intfId_;
};

}  // namespace Interface
