#pragma once
// IPv4 interface status of the IP agent: the VRF each routed interface is
// currently bound to. The VRF root clears the bindings into a VRF it deletes
// (an empty name means no VRF). intfRouting: what is switched on for each
// routed interface. primaryAddr: the interface's primary address of the
// status's family (none: no address yet).
#include <cstdint>
#include <string>

#include "models/ip/IntfRouting.h"
#include "nollo/IntfId.h"
#include "nollo/IpGenAddr.h"
#include "vix/Entity.h"

namespace Ip {

class Status : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<Status> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(Nollo::IntfId, CurrentVrf)
    VIX_KEY_HANDLER(Nollo::IntfId, IntfRouting)
    VIX_KEY_HANDLER(Nollo::IntfId, PrimaryAddr)
  };

  Status() = default;
  explicit Status(std::string name) : Entity(std::move(name)) {}

  VIX_HASH_MAP(Nollo::IntfId, std::string, currentVrf, CurrentVrf)
  VIX_HASH_MAP(Nollo::IntfId, Ip::IntfRouting, intfRouting, IntfRouting)
  VIX_HASH_MAP(Nollo::IntfId, Nollo::IpGenAddr, primaryAddr, PrimaryAddr)
};

}  // namespace Ip
