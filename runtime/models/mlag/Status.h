#pragma once
// MLAG status: whether MLAG is active and its peer link (the port or port
// channel towards the MLAG peer; none without one). Handed to the per-VRF
// machines and the MAC table owner.
#include <cstdint>
#include <string>

#include "nollo/IntfId.h"
#include "vix/Entity.h"

namespace Mlag {

class Status : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<Status> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_HANDLER(Active)
    VIX_HANDLER(PeerLink)
  };

  Status() = default;
  explicit Status(std::string name) : Entity(std::move(name)) {}

  VIX_ATTR(bool, active, Active)
  VIX_ATTR(Nollo::IntfId, peerLink, PeerLink)
};

}  // namespace Mlag
