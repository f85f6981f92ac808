#pragma once
// Flush requests for the MAC table, by the requester's name. A request is
// carried out once, when it appears or changes; the requester may take it
// away afterwards. Read by the MAC table owner (MacAddrSm).
#include <string>

#include "models/bridging/HostTableFlushRequest.h"
#include "vix/Entity.h"

namespace Bridging {

class HostTableFlushRequestDir : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<HostTableFlushRequestDir> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(std::string, HostTableFlushRequest)
  };

  HostTableFlushRequestDir() = default;
  explicit HostTableFlushRequestDir(std::string name) : Entity(std::move(name)) {}

  VIX_ORDERED_MAP(std::string, HostTableFlushRequest, hostTableFlushRequest, HostTableFlushRequest)
};

}  // namespace Bridging
