#include "softchip/RouteResolverSm.h"

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
    return chip_->route6EmTable();
  return chip_->route6Table();
}

template <class AF>
uint64_t RouteResolverSm::chipChanges() const {
  if constexpr (isV4<AF>) return chip_->route4Table().counters().changes();
  else return chip_->route6Table().counters().changes() + chip_->route6EmTable().counters().changes();
}

template <class AF>
RouteResolverSm::LastAnswer<AF>& RouteResolverSm::lastAnswer() const {
  if constexpr (isV4<AF>) return last4_;
  else return last6_;
}

// Recorded right after the key's own writes, before anything they set off
// (a cleared resource-full flag hands other routes over at once): a change
// those make to the chip invalidates the record.
template <class AF>
void RouteResolverSm::lastAnswerIs(Key<AF> const& key, Kor::AdjInfo const* info, Answer answer) {
  lastAnswer<AF>() = LastAnswer<AF>{key, info, chipChanges<AF>(), answer};
}

template <class AF>
void RouteResolverSm::doForget(Key<AF> const& key) {
  bool freed;
  if constexpr (isV4<AF>) {
    freed = chip_->route4Table().erase(key);
    if (!refused4_.empty()) refused4_.erase(key);
  } else {
    // Both tables: a refused move leaves the route in the one it came from.
    freed = chip_->route6Table().erase(key);
    freed = chip_->route6EmTable().erase(key) || freed;
    if (!refused6_.empty()) refused6_.erase(key);
  }
  lastAnswerIs<AF>(key, nullptr, Answer::programmed);
  if (freed) doRecheckResourceFull();
}

template <class AF>
void RouteResolverSm::doResolve(Key<AF> const& key) {
  Kor::AdjInfo const* info = handedOver(key);
  if (!info) return doForget(key);
  auto& refused = [this]() -> auto& {
    if constexpr (isV4<AF>) return refused4_;
    else return refused6_;
  }();
  ChipRouteTable<AF>* table;
  ChipRouteTable<AF>* other = nullptr;
  if constexpr (isV4<AF>) {
    table = &chip_->route4Table();
  } else {
    table = &table6For(key.prefix);
    other = table == &chip_->route6Table() ? &chip_->route6EmTable() : &chip_->route6Table();
  }
  ChipAnswer a = table->write(key, ChipRoute(*info));
  if (a == ChipAnswer::success) {
    if (!refused.empty()) refused.erase(key);
    // A move: the old table lets go only now that the new one holds it.
    bool moved = other && other->erase(key);
    lastAnswerIs<AF>(key, info, Answer::programmed);
    if (moved) doRecheckResourceFull();
    return;
  }
  refused.insert_or_assign(key, routeAnswer(a));
  lastAnswerIs<AF>(key, info, routeAnswer(a));
  if (a != ChipAnswer::resourceFull) return;
  if constexpr (isV4<AF>) {
    full4_ = true;
    l3Status_->routingResourceFullIs(true);
  } else {
    bool exactMatch = table == &chip_->route6EmTable();
    (exactMatch ? full6em_ : full6_) = true;
    l3Status_->ip6RoutingResourceFullIs(true);
    if (exactMatch) l3Status_->ip6OverflowRouteIs(key.prefix, true);
  }
}

void RouteResolverSm::handleAdjInfoList(Kor::VrfAndPrefix const& key) { doResolve<Nollo::Ipv4>(key); }

void RouteResolverSm::handleAdjInfo6List(Kor::VrfAndIp6Prefix const& key) { doResolve<Nollo::Ipv6>(key); }

template <class AF>
void RouteResolverSm::doDeleteHardwareRoute(Key<AF> const& key) {
  doForget(key);
}

template <class AF>
KorHelper::RouteUpdateAnswer RouteResolverSm::routeUpdateAnswer(Key<AF> const& key) const {
  Kor::AdjInfo const* info = handedOver(key);
  auto const& last = lastAnswer<AF>();
  if (last.key == key && last.info == info && last.changes == chipChanges<AF>()) return last.answer;
  auto const& refused = [this]() -> auto const& {
    if constexpr (isV4<AF>) return refused4_;
    else return refused6_;
  }();
  if (!refused.empty()) {
    auto it = refused.find(key);
    if (it != refused.end()) return it->second;
  }
  ChipRoute const* held;
  if constexpr (isV4<AF>) {
    held = chip_->route4Table().find(key);
  } else if (info) {
    held = table6For(key.prefix).find(key);
  } else {
    held = chip_->route6Table().find(key);
    if (!held) held = chip_->route6EmTable().find(key);
  }
  // No record and no refusal: this resolver missed the hand-over (it was not
  // attached yet); "failed" makes the route machine hand it over again.
  bool asHandedOver = info ? held && *held == ChipRoute(*info) : !held;
  return asHandedOver ? Answer::programmed : Answer::failed;
}

void RouteResolverSm::doRecheckResourceFull() {
  // Flags first, then the write: clearing one lets the route machines hand
  // over again at once, inside this call.
  if (l3Status_->routingResourceFull() && !(full4_ && chip_->refusesNew(chip_->route4Table()))) {
    full4_ = false;
    l3Status_->routingResourceFullIs(false);
  }
  if (l3Status_->ip6RoutingResourceFull() && !(full6_ && chip_->refusesNew(chip_->route6Table())) &&
      !(full6em_ && chip_->refusesNew(chip_->route6EmTable()))) {
    full6_ = false;
    full6em_ = false;
    l3Status_->ip6RoutingResourceFullIs(false);
  }
}

template KorHelper::RouteUpdateAnswer RouteResolverSm::routeUpdateAnswer(Key<Nollo::Ipv4> const&) const;
template KorHelper::RouteUpdateAnswer RouteResolverSm::routeUpdateAnswer(Key<Nollo::Ipv6> const&) const;
template void RouteResolverSm::doDeleteHardwareRoute(Key<Nollo::Ipv4> const&);
template void RouteResolverSm::doDeleteHardwareRoute(Key<Nollo::Ipv6> const&);

}  // namespace SoftChip
