#pragma once
// Deferred neighbour resolution of the VRF root, one per address family
// (owned as "arpDefReqList" for IPv4 and "neighDefReqList" for IPv6): the
// addresses whose resolution was requested before the VRF that owns them
// could take the request (address -> VRF name). The neighbour work drains it.
#include <string>
#include <utility>

#include "kor/common/VrfName.h"
#include "vix/Entity.h"

namespace Kor {

template <class AF>
class KorArpDef : public Vix::Entity {
 public:
  using Addr = typename AF::Addr;

  class Notifiee : public Vix::NotifieeOf<KorArpDef> {
   public:
    using Vix::NotifieeOf<KorArpDef>::NotifieeOf;
    VIX_KEY_HANDLER(Addr, Request)
  };
  explicit KorArpDef(std::string name) : Entity(std::move(name)) {}

  VIX_HASH_MAP(Addr, VrfName, request, Request)
};

}  // namespace Kor
