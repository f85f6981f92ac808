#include "softchip/l3/RouteResolverSm.h"

#include <type_traits>

#include "kor/l3/TableType.h"
#include "softchip/SoftChip.h"

namespace SoftChip {

namespace {

template <class AF>
constexpr bool isV4 = std::is_same_v<AF, Nollo::Ipv4>;

// A refusal the chip may lift by itself (not ready) is a failure to the route
// machine too: it retries after its unprogrammed-route period.
KorHelper::RouteUpdateAnswer routeAnswer(ChipAnswer a) {
  switch (a) {
    case ChipAnswer::success: return KorHelper::RouteUpdateAnswer::programmed;
    case ChipAnswer::resourceFull: return KorHelper::RouteUpdateAnswer::resourceFull;
    case ChipAnswer::fail:
    case ChipAnswer::notReady: break;
  }
  return KorHelper::RouteUpdateAnswer::failed;
}

}  // namespace

RouteResolverSm::RouteResolverSm(SoftChip* chip, Vix::Ptr<Kor::L3Status> const& l3Status,
                                 Vix::Ptr<Routing::Hardware::Status const> const& hwStatus)
    : Kor::L3Status::Notifiee(Vix::ValidPtr<Kor::L3Status>(l3Status)),
      chip_(chip),
      l3Status_(l3Status),
      hwStatus_(Vix::ValidPtr<Routing::Hardware::Status const>(hwStatus)) {}

template <class AF>
Kor::AdjInfo const* RouteResolverSm::handedOver(Key<AF> const& key) const {
  auto const& list = [this]() -> auto const& {
    if constexpr (isV4<AF>) return l3Status_->adjInfoListMap();
    else return l3Status_->adjInfo6ListMap();
  }();
  auto it = list.find(key);
  return it == list.end() ? nullptr : it->second.ptr();
}

ChipRouteTable<Nollo::Ipv6>& RouteResolverSm::table6For(Nollo::Ip6Prefix const& prefix) const {
  if (Kor::tableTypeOf(prefix, hwStatus_->prefixLenInExactMatchMap()) == Kor::TableType::tableTypeExactMatch)
    return chip_->l3().route6EmTable();
  return chip_->l3().route6Table();
}

template <class AF>
void RouteResolverSm::doForget(Key<AF> const& key) {
  bool freed;
  if constexpr (isV4<AF>) {
    freed = chip_->l3().route4Table().erase(key);
  } else {
    // Both tables: a refused move leaves the route in the one it came from.
    freed = chip_->l3().route6Table().erase(key);
    freed = chip_->l3().route6EmTable().erase(key) || freed;
  }
  if (freed) doRecheckResourceFull();
}

// The answer is taken before anything the write sets off (a cleared
// resource-full flag hands other routes over at once, inside this call).
template <class AF>
KorHelper::RouteUpdateAnswer RouteResolverSm::doResolve(Key<AF> const& key, Kor::AdjInfo const& info) {
  ChipRouteTable<AF>* table;
  ChipRouteTable<AF>* other = nullptr;
  if constexpr (isV4<AF>) {
    table = &chip_->l3().route4Table();
  } else {
    table = &table6For(key.prefix);
    other = table == &chip_->l3().route6Table() ? &chip_->l3().route6EmTable() : &chip_->l3().route6Table();
  }
  ChipAnswer a = table->write(key, ChipRoute(info));
  if (a == ChipAnswer::success) {
    // A move: the old table lets go only now that the new one holds it.
    if (other && other->erase(key)) doRecheckResourceFull();
    return Answer::programmed;
  }
  if (a == ChipAnswer::resourceFull) {
    if constexpr (isV4<AF>) {
      full4_ = true;
      l3Status_->routingResourceFullIs(true);
    } else {
      bool exactMatch = table == &chip_->l3().route6EmTable();
      (exactMatch ? full6em_ : full6_) = true;
      l3Status_->ip6RoutingResourceFullIs(true);
      if (exactMatch) l3Status_->ip6OverflowRouteIs(key.prefix, true);
    }
  }
  return routeAnswer(a);
}

void RouteResolverSm::handleAdjInfoList(Kor::VrfAndPrefix const& key) {
  if (!handedOver(key)) doForget(key);
}

void RouteResolverSm::handleAdjInfo6List(Kor::VrfAndIp6Prefix const& key) {
  if (!handedOver(key)) doForget(key);
}

template <class AF>
KorHelper::RouteUpdateAnswer RouteResolverSm::doRouteUpdate(Key<AF> const& key) {
  Kor::AdjInfo const* info = handedOver(key);
  return info ? doResolve(key, *info) : Answer::programmed;
}

template <class AF>
void RouteResolverSm::doDeleteHardwareRoute(Key<AF> const& key) {
  doForget(key);
}

void RouteResolverSm::doRecheckResourceFull() {
  // Flags first, then the write: clearing one lets the route machines hand
  // over again at once, inside this call.
  auto& l3 = chip_->l3();
  if (l3Status_->routingResourceFull() && !(full4_ && chip_->refusesNew(l3.route4Table()))) {
    full4_ = false;
    l3Status_->routingResourceFullIs(false);
  }
  if (l3Status_->ip6RoutingResourceFull() && !(full6_ && chip_->refusesNew(l3.route6Table())) &&
      !(full6em_ && chip_->refusesNew(l3.route6EmTable()))) {
    full6_ = false;
    full6em_ = false;
    l3Status_->ip6RoutingResourceFullIs(false);
  }
}

template KorHelper::RouteUpdateAnswer RouteResolverSm::doRouteUpdate(Key<Nollo::Ipv4> const&);
template KorHelper::RouteUpdateAnswer RouteResolverSm::doRouteUpdate(Key<Nollo::Ipv6> const&);
template void RouteResolverSm::doDeleteHardwareRoute(Key<Nollo::Ipv4> const&);
template void RouteResolverSm::doDeleteHardwareRoute(Key<Nollo::Ipv6> const&);

}  // namespace SoftChip
