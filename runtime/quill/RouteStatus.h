#pragma once
// One VRF's route table of the shared-memory FIB for one address family
// (entity name = VRF name): prefix -> route, written by the routing agent and
// read by that VRF's route state machine through a sliced reader, one
// notification handleRoute(prefix) per added, changed or deleted route. A
// deleted route reads back as Route{} (invalid FEC id). Invariant: each
// route's prefix() equals its key. `frozen` is set while the writer holds the
// table still (during a routing restart).
#include <string>
#include <utility>

#include "nollo/IpPrefix.h"
#include "nollo/Ipv4.h"
#include "nollo/Ipv6.h"
#include "quill/Route.h"
#include "vix/Entity.h"

namespace Quill::Fib {

template <class AF>
class RouteStatusT : public Vix::Entity {
 public:
  using Prefix = Nollo::IpPrefixT<AF>;
  using Route = RouteT<AF>;
  using Key = Prefix;

  class Notifiee : public Vix::NotifieeOf<RouteStatusT> {
   public:
    using Vix::NotifieeOf<RouteStatusT>::NotifieeOf;
    VIX_KEY_HANDLER(Prefix, Route)
    VIX_HANDLER(Frozen)
  };
  // The per-key notification under one name for generic readers
  // (Quill::SlicedReader).
  class KeyNotifiee : public Notifiee {
   public:
    using Notifiee::Notifiee;
    void handleRoute(Prefix const& k) override { handleKey(k); }
    virtual void handleKey(Key const& k) = 0;
  };

  RouteStatusT() = default;
  explicit RouteStatusT(std::string vrfName) : Vix::Entity(std::move(vrfName)) {}

  VIX_HASH_MAP(Prefix, Route, route, Route)
  VIX_ATTR(bool, frozen, Frozen)

 public:
  // Publishes `r` under its own prefix.
  void routeIs(Route const& r) { routeIs(r.prefix(), r); }
  template <class F>
  void forEachKey(F f) const {
    for (auto const& kv : routeMap()) f(kv.first);
  }
};

using RouteStatus = RouteStatusT<Nollo::Ipv4>;

}  // namespace Quill::Fib

namespace Quill::Fib6 {
using RouteStatus = Quill::Fib::RouteStatusT<Nollo::Ipv6>;
}
