#pragma once
// The software chip's route hook for one address family. The routes
// themselves reach the chip through the route resolver (RouteResolverSm),
// which reads the hand-over lists; this hook hands the route machine's
// announcement of a route to the resolver, which writes the chip and whose
// answer it returns (no resolver attached: "failed", nothing can be
// programmed), walks the family's chip tables for a restarted library
// (IPv6: exact-match, then longest-prefix) and takes out the routes it no
// longer has (counted as deletes). The end of a VRF's initial sync is
// recorded in the "sync" table ("<vrf>/v4" / "<vrf>/v6" -> "done"); a
// restart that announces it again counts as a sync of the same entry. The
// ICMP-unreachable and GRE-key settings go to the "l3settings" table
// ("<vrf id>/v4/icmpUnreachable" -> "on"; off removes the entry). What the
// VRF's routes were programmed under is kept in the chip's memory
// ("<vrf id>/v4" -> record), which outlives restarts with the routes.
#include <string>

#include "kor/helpers/RouteSmHelperT.h"
#include "softchip/l3/RouteResolverSm.h"
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
    chip_->l3().syncTable().write(vrfName.str() + (AF::version == 4 ? "/v4" : "/v6"), "done");
  }

  void icmpUnreachableIs(Kor::VrfId vrfId, bool enabled) override { doSetting(vrfId, "icmpUnreachable", enabled); }
  void greKeyForwardingIs(Kor::VrfId vrfId, bool enabled) override { doSetting(vrfId, "greKeyForwarding", enabled); }

  std::optional<Kor::RouteProgrammingRecord> programmingRecord(Kor::VrfId vrfId) const override {
    auto const& m = chip_->l3().programmedUnder();
    auto it = m.find(recordKey(vrfId));
    if (it == m.end()) return std::nullopt;
    return it->second;
  }
  void programmingRecordIs(Kor::VrfId vrfId, Kor::RouteProgrammingRecord const& record) override {
    chip_->l3().programmedUnder()[recordKey(vrfId)] = record;
  }

  KorHelper::RouteUpdateAnswer handleRouteUpdate(Kor::VrfId vrfId, Prefix const& prefix, uint64_t) override {
    auto const& resolver = chip_->l3().routeResolver();
    if (!resolver) return KorHelper::RouteUpdateAnswer::failed;
    return resolver->doRouteUpdate(Key{vrfId, prefix});
  }

  void prefetchHardwareRoute(Kor::VrfId vrfId, Prefix const& prefix) const override {
    Key key{vrfId, prefix};
    if constexpr (AF::version == 4) {
      chip_->l3().route4Table().prefetch(key);
    } else {
      chip_->l3().route6Table().prefetch(key);
      chip_->l3().route6EmTable().prefetch(key);
    }
  }

  void forEachHardwareRoute(Kor::VrfId vrfId, Visitor const& visit) const override {
    auto each = [&](Key const& key, ChipRoute const& route) { visit(key.prefix, route.l2AdjIndex()); };
    if constexpr (AF::version == 4) {
      chip_->l3().route4Table().forEachRoute(vrfId, each);
    } else {
      chip_->l3().route6EmTable().forEachRoute(vrfId, each);
      chip_->l3().route6Table().forEachRoute(vrfId, each);
    }
  }

  void forEachHardwareVrf(std::function<void(Kor::VrfId)> const& visit) const override {
    if constexpr (AF::version == 4) {
      chip_->l3().route4Table().forEachVrf(visit);
    } else {
      Vix::HashMap<uint32_t, bool> seen;
      auto once = [&](Kor::VrfId id) {
        if (seen.try_emplace(id.value(), true).second) visit(id);
      };
      chip_->l3().route6EmTable().forEachVrf(once);
      chip_->l3().route6Table().forEachVrf(once);
    }
  }

  void deleteHardwareRoute(Kor::VrfId vrfId, Prefix const& prefix) override {
    Key key{vrfId, prefix};
    if (auto const& resolver = chip_->l3().routeResolver()) return resolver->doDeleteHardwareRoute(key);
    if constexpr (AF::version == 4) {
      chip_->l3().route4Table().erase(key);
    } else {
      chip_->l3().route6Table().erase(key);
      chip_->l3().route6EmTable().erase(key);
    }
  }

 private:
  static std::string recordKey(Kor::VrfId vrfId) {
    std::string key = std::to_string(vrfId.value());
    key += AF::version == 4 ? "/v4" : "/v6";
    return key;
  }
  void doSetting(Kor::VrfId vrfId, char const* name, bool enabled) {
    std::string key = std::to_string(vrfId.value()) + (AF::version == 4 ? "/v4/" : "/v6/") + name;
    if (enabled) chip_->l3().settingsTable().write(key, "on");
    else chip_->l3().settingsTable().erase(key);
  }

  SoftChip* chip_;
};

}  // namespace SoftChip
