#pragma once
// The software chip's route resolver: turns the library's route hand-over
// lists (L3Status::adjInfoList / adjInfo6List) into entries of the chip's
// route tables. A handed-over record is written to the table its prefix
// belongs in (IPv4: "route4"; IPv6: "route6em" when the hardware status
// lists its length as exact-match, else "route6"). A route found in the
// other IPv6 table (the exact-match lengths changed) is moved
// make-before-break: written to its new table, and erased from the old one
// only once the new one took it, so a refused move leaves the packets on
// the old route.
//
// One channel for a route's answer: the route machine writes the record
// and then announces it (RouteSmHelperT::handleRouteUpdate); the route hook
// calls doRouteUpdate(), which writes the chip from the record and returns
// the chip's answer - the route machine hears it once, from the call that
// caused it, and nothing keeps it afterwards. A refused route is the route
// machine's unprogrammed route, retried by it, not by the chip. Removals
// are taken from the lists themselves: a key that leaves a list leaves the
// chip on that notification, since not every removal is announced (a VRF's
// routes when its machines go, stale VRFs at start) and a removal is never
// refused. A record that changes without an announcement is not written:
// every writer of the lists announces.
//
// A new entry refused for room sets the family's resource-full flag in
// L3Status (and, for the exact-match table, ip6OverflowRoute of the
// prefix); an erase that makes room in the table that refused, or
// doRecheckResourceFull() after a capacity or rule change, clears it, which
// is the route machines' signal to hand their unprogrammed routes over
// again.
//
// Created by the owner of the L3Status (the agent) for one run of the
// library and reached through L3Chip::routeResolver(). It acts on changes
// only: detached before the library goes away, so emptying the hand-over
// lists across a restart leaves the chip's routes in place.
#include "kor/helpers/RouteUpdateAnswer.h"
#include "kor/records/L3Status.h"
#include "kor/records/VrfAndPrefixT.h"
#include "models/routing/hardware/Status.h"
#include "softchip/l3/ChipRouteTable.h"
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

  // A key that left a list leaves the chip.
  void handleAdjInfoList(Kor::VrfAndPrefix const& key) override;
  void handleAdjInfo6List(Kor::VrfAndIp6Prefix const& key) override;

  // The route machine announced the key: the chip is made to hold its
  // record, and the answer is whether it does now (a key no longer handed
  // over was taken out on its removal: programmed).
  template <class AF>
  Answer doRouteUpdate(Key<AF> const& key);
  // Takes a route the restarted library no longer has out of the chip.
  template <class AF>
  void doDeleteHardwareRoute(Key<AF> const& key);
  // Clears a resource-full flag once every table that refused has room.
  void doRecheckResourceFull();

 private:
  template <class AF>
  Answer doResolve(Key<AF> const& key, Kor::AdjInfo const& info);
  template <class AF>
  void doForget(Key<AF> const& key);
  template <class AF>
  Kor::AdjInfo const* handedOver(Key<AF> const& key) const;
  ChipRouteTable<Nollo::Ipv6>& table6For(Nollo::Ip6Prefix const& prefix) const;

  SoftChip* chip_;
  Vix::Ptr<Kor::L3Status> l3Status_;
  Vix::Ptr<Routing::Hardware::Status const> hwStatus_;
  // Which tables refused a new entry for room since their flag was cleared.
  bool full4_ = false;
  bool full6_ = false;
  bool full6em_ = false;
};

}  // namespace SoftChip
