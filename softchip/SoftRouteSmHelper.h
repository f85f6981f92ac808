#pragma once
// The software chip's route hook for one address family. The routes
// themselves reach the chip through the route resolver (RouteResolverSm),
// which watches the hand-over lists; this hook answers the route machine
// from the resolver (no resolver attached: "failed", nothing can be
// programmed), walks the family's chip tables for a restarted library
// (IPv6: exact-match, then longest-prefix) and takes out the routes it no
// longer has (counted as deletes). The end of a VRF's initial sync is
// recorded in the "sync" table ("<vrf>/v4" / "<vrf>/v6" -> "done"); a
// restart that announces it again counts as a sync of the same entry.
#include <string>

#include "kor/helpers/RouteSmHelperT.h"
#include "softchip/RouteResolverSm.h"
#include "softchip/SoftChip.h"

namespace SoftChip {

template <class AF>
class SoftRouteSmHelper : public KorHelper::RouteSmHelperT<AF> {
 public:
  using Prefix = Nollo::IpPrefixT<AF>;
  using Key = Kor::VrfAndPrefixT<AF>;
  using Visitor = typename KorHelper::RouteSmHelperT<AF>::HardwareRouteVisitor;

  explicit SoftRouteSmHelper(SoftChip* chip) : chip_(chip) {}

  void handleEndOfSync(Kor::VrfName const& vrfName) override {
    chip_->syncTable().write(vrfName.str() + (AF::version == 4 ? "/v4" : "/v6"), "done");
  }

  KorHelper::RouteUpdateAnswer handleRouteUpdate(Kor::VrfId vrfId, Prefix const& prefix, uint64_t) override {
    auto const& resolver = chip_->routeResolver();
    if (!resolver) return KorHelper::RouteUpdateAnswer::failed;
    return resolver->routeUpdateAnswer(Key{vrfId, prefix});
  }

  void prefetchHardwareRoute(Kor::VrfId vrfId, Prefix const& prefix) const override {
    Key key{vrfId, prefix};
    if constexpr (AF::version == 4) {
      chip_->route4Table().prefetch(key);
    } else {
      chip_->route6Table().prefetch(key);
      chip_->route6EmTable().prefetch(key);
    }
  }

  void forEachHardwareRoute(Kor::VrfId vrfId, Visitor const& visit) const override {
    auto each = [&](Key const& key, ChipRoute const& route) { visit(key.prefix, route.l2AdjIndex()); };
    if constexpr (AF::version == 4) {
      chip_->route4Table().forEachRoute(vrfId, each);
    } else {
      chip_->route6EmTable().forEachRoute(vrfId, each);
      chip_->route6Table().forEachRoute(vrfId, each);
    }
  }

  void forEachHardwareVrf(std::function<void(Kor::VrfId)> const& visit) const override {
    if constexpr (AF::version == 4) {
      chip_->route4Table().forEachVrf(visit);
    } else {
      Vix::HashMap<uint32_t, bool> seen;
      auto once = [&](Kor::VrfId id) {
        if (seen.try_emplace(id.value(), true).second) visit(id);
      };
      chip_->route6EmTable().forEachVrf(once);
      chip_->route6Table().forEachVrf(once);
    }
  }

  void deleteHardwareRoute(Kor::VrfId vrfId, Prefix const& prefix) override {
    Key key{vrfId, prefix};
    if (auto const& resolver = chip_->routeResolver()) return resolver->doDeleteHardwareRoute(key);
    if constexpr (AF::version == 4) {
      chip_->route4Table().erase(key);
    } else {
      chip_->route6Table().erase(key);
      chip_->route6EmTable().erase(key);
    }
  }

 private:
  SoftChip* chip_;
};

}  // namespace SoftChip
