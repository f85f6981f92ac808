#pragma once
// Deferred neighbour resolution of the VRF root, one per address family
// (owned as "arpDefReqList" for IPv4 and "neighDefReqList" for IPv6): the
// requests to resolve a next hop of a VRF (VrfRootSm::doRequestResolution)
// that the VRF cannot take yet - it has no root, or the ARP agent has not
// given it an ARP-table id, so its neighbour machine has no table to ask.
// The VRF root drains a VRF's requests into its neighbour machine right
// after it populated that machine, and drops them when the VRF goes away.
// One entry per (VRF, address): asking twice keeps one request.
#include <compare>
#include <string>
#include <utility>

#include "kor/common/VrfName.h"
#include "vix/Entity.h"

namespace Kor {

template <class AF>
class KorArpDef : public Vix::Entity {
 public:
  using Addr = typename AF::Addr;
  struct DefReq {
    VrfName vrfName;
    Addr addr;
    auto operator<=>(DefReq const&) const = default;
  };

  class Notifiee : public Vix::NotifieeOf<KorArpDef> {
   public:
    using Vix::NotifieeOf<KorArpDef>::NotifieeOf;
    VIX_KEY_HANDLER(DefReq, Request)
  };
  explicit KorArpDef(std::string name) : Entity(std::move(name)) {}

  // The value is true while the request waits (entries leave when drained).
  VIX_ORDERED_MAP(DefReq, bool, request, Request)
};

}  // namespace Kor
