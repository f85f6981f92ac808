#pragma once
// The software chip's route resolver: turns the library's route hand-over
// lists (L3Status::adjInfoList / adjInfo6List) into entries of the chip's
// route tables. On each changed key it reads the current record: none ->
// the route leaves whichever table holds it; a record -> it is written to
// the table its prefix belongs in (IPv4: "route4"; IPv6: "route6em" when
// the hardware status lists its length as exact-match, else "route6"). A
// route found in the other IPv6 table (the exact-match lengths changed) is
// moved make-before-break: written to its new table, and erased from the
// old one only once the new one took it, so a refused move leaves the
// packets on the old route.
//
// It remembers the answer of the last write only for keys the chip does not
// hold as handed over (refused4_ / refused6_, empty in the steady state);
// routeUpdateAnswer() answers the route machine from those, otherwise from
// what the chip holds. A new entry refused for room sets the family's
// resource-full flag in L3Status (and, for the exact-match table,
// ip6OverflowRoute of the prefix); an erase that makes room in the table
// that refused, or doRecheckResourceFull() after a capacity or rule change,
// clears it, which is the route machines' signal to hand their unprogrammed
// routes over again.
//
// Created by the owner of the L3Status (the agent) for one run of the
// library and reached through SoftChip::routeResolver(). It acts on changes
// only: detached before the library goes away, so emptying the hand-over
// lists across a restart leaves the chip's routes in place.
#include <cstddef>

#include "kor/helpers/RouteUpdateAnswer.h"
#include "kor/l3/L3Status.h"
#include "kor/l3/VrfAndPrefixT.h"
#include "models/routing/hardware/Status.h"
#include "softchip/ChipRouteTable.h"
#include "vix/HashMap.h"
#include "vix/Ptr.h"
#include "vix/ValidPtr.h"

namespace SoftChip {

class SoftChip;

class RouteResolverSm : public Vix::PtrInterface, public Kor::L3Status::Notifiee {
 public:
  template <class AF>
  using Key = Kor::VrfAndPrefixT<AF>;
  using Answer = KorHelper::RouteUpdateAnswer;

  // Both entities are mandatory (std::invalid_argument "null ValidPtr").
  RouteResolverSm(SoftChip* chip, Vix::Ptr<Kor::L3Status> const& l3Status,
                  Vix::Ptr<Routing::Hardware::Status const> const& hwStatus);

  void handleAdjInfoList(Kor::VrfAndPrefix const& key) override;
  void handleAdjInfo6List(Kor::VrfAndIp6Prefix const& key) override;

  // Whether the chip now holds the key as last handed over (or, when it is
  // no longer handed over, no longer holds it).
  template <class AF>
  Answer routeUpdateAnswer(Key<AF> const& key) const;
  // Takes a route the restarted library no longer has out of the chip.
  template <class AF>
  void doDeleteHardwareRoute(Key<AF> const& key);
  // Clears a resource-full flag once every table that refused has room.
  void doRecheckResourceFull();

  // Keys whose last write the chip refused.
  size_t refusedRoutes() const { return refused4_.size() + refused6_.size(); }

 private:
  template <class AF>
  void doResolve(Key<AF> const& key);
  template <class AF>
  void doForget(Key<AF> const& key);
  template <class AF>
  Kor::AdjInfo const* handedOver(Key<AF> const& key) const;
  ChipRouteTable<Nollo::Ipv6>& table6For(Nollo::Ip6Prefix const& prefix) const;

  // The answer of the last resolve, for the route machine's question that
  // follows it at once (routeUpdateAnswer). It holds while the key's record
  // is the one resolved and the family's chip tables saw no change since.
  template <class AF>
  struct LastAnswer {
    Key<AF> key{};
    Kor::AdjInfo const* info = nullptr;
    uint64_t changes = ~uint64_t(0);
    Answer answer{};
  };
  template <class AF>
  uint64_t chipChanges() const;
  template <class AF>
  LastAnswer<AF>& lastAnswer() const;
  template <class AF>
  void lastAnswerIs(Key<AF> const& key, Kor::AdjInfo const* info, Answer answer);

  SoftChip* chip_;
  Vix::Ptr<Kor::L3Status> l3Status_;
  Vix::Ptr<Routing::Hardware::Status const> hwStatus_;
  Vix::HashMap<Kor::VrfAndPrefix, Answer> refused4_;
  Vix::HashMap<Kor::VrfAndIp6Prefix, Answer> refused6_;
  // Which tables refused a new entry for room since their flag was cleared.
  bool full4_ = false;
  bool full6_ = false;
  bool full6em_ = false;
  mutable LastAnswer<Nollo::Ipv4> last4_;
  mutable LastAnswer<Nollo::Ipv6> last6_;
};

}  // namespace SoftChip
