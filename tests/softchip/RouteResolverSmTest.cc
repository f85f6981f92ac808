// The software chip's route side: the resolver turning hand-over records
// into route table entries under faults and capacity limits, the IPv6 table
// choice, longest-prefix lookups, and the route hook's answers, walk and
// deletes across a restart of the library.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "kor/records/L3Status.h"
#include "models/routing/hardware/Status.h"
#include "softchip/l3/RouteResolverSm.h"
#include "softchip/SoftChip.h"
#include "softchip/l3/SoftRouteSmHelper.h"

namespace {

using Answer = KorHelper::RouteUpdateAnswer;
using Kor::AdjInfo;
using Kor::RouteType;
using Kor::VrfId;
using SoftChip::ChipAnswer;
using SoftChip::ChipRoute;

class RouteResolverSmTest : public ::testing::Test {
 protected:
  RouteResolverSmTest() { attach(); }

  void attach() {
    chip_->l3().routeResolverIs(Vix::makePtr<SoftChip::RouteResolverSm>(chip_.ptr(), l3_, hw_));
  }
  static Kor::VrfAndPrefix k4(uint32_t vrf, char const* p) { return {VrfId(vrf), Nollo::IpPrefix(p)}; }
  static Kor::VrfAndIp6Prefix k6(uint32_t vrf, char const* p) { return {VrfId(vrf), Nollo::Ip6Prefix(p)}; }
  static Vix::Ptr<AdjInfo> info(uint64_t fec, uint64_t l2) {
    return Vix::makePtr<AdjInfo>(RouteType::forwardRoute, fec, l2, true);
  }
  // As the route machine does it: write the record (none: remove it; the
  // same: notify), then ask the platform.
  Answer hand(Kor::VrfAndPrefix const& k, Vix::Ptr<AdjInfo> const& i) {
    if (!i) l3_->adjInfoListDel(k);
    else if (l3_->adjInfoList(k) == i) l3_->adjInfoListNotify(k);
    else l3_->adjInfoListIs(k, i);
    return chip_->l3().routeSmHelper()->handleRouteUpdate(k.vrfId, k.prefix, 0);
  }
  Answer hand(Kor::VrfAndIp6Prefix const& k, Vix::Ptr<AdjInfo> const& i) {
    if (i) l3_->adjInfo6ListIs(k, i);
    else l3_->adjInfo6ListDel(k);
    return chip_->l3().route6SmHelper()->handleRouteUpdate(k.vrfId, k.prefix, 0);
  }
  Answer retry(Kor::VrfAndPrefix const& k) { return hand(k, l3_->adjInfoList(k)); }
  void exactMatch(std::vector<unsigned> bits) {
    hw_->prefixLenInExactMatchDelAll();
    for (unsigned b : bits) hw_->prefixLenInExactMatchIs(Routing::RoutesInExactMatch(b / 4), true);
  }

  Vix::Ptr<SoftChip::SoftChip> chip_ = Vix::makePtr<SoftChip::SoftChip>();
  Vix::Ptr<Kor::L3Status> l3_ = Vix::makePtr<Kor::L3Status>("l3Status");
  Vix::Ptr<Routing::Hardware::Status> hw_ = Vix::makePtr<Routing::Hardware::Status>("hw");
};

TEST_F(RouteResolverSmTest, ChipFollowsTheHandOverLists) {
  auto& t = chip_->l3().route4Table();
  auto shared = info(3, 7);
  EXPECT_EQ(hand(k4(0, "10.1.0.0/16"), shared), Answer::programmed);
  EXPECT_EQ(hand(k4(2, "10.1.0.0/16"), shared), Answer::programmed);
  EXPECT_EQ(*t.find(k4(2, "10.1.0.0/16")), ChipRoute(RouteType::forwardRoute, 3, 7));
  // A retry of an unchanged record is a sync; a new L2 adjacency an update.
  EXPECT_EQ(retry(k4(0, "10.1.0.0/16")), Answer::programmed);
  EXPECT_EQ(hand(k4(0, "10.1.0.0/16"), info(3, 8)), Answer::programmed);
  EXPECT_EQ(t.counters().creates, 2u);
  EXPECT_EQ(t.counters().syncs, 1u);
  EXPECT_EQ(t.counters().updates, 1u);
  // Pointing at no L2 adjacency still programs (the chip drops).
  EXPECT_EQ(hand(k4(0, "10.9.0.0/16"), info(4, 0)), Answer::programmed);
  EXPECT_EQ(t.find(k4(0, "10.9.0.0/16"))->l2AdjIndex(), 0u);
  // Removal: programmed once the chip no longer holds it.
  EXPECT_EQ(hand(k4(0, "10.1.0.0/16"), nullptr), Answer::programmed);
  EXPECT_FALSE(t.has(k4(0, "10.1.0.0/16")));
  EXPECT_EQ(t.routesOfLength(16), 2u);
  // Without a resolver nothing is programmed; the next announcement after
  // one is attached writes the record.
  chip_->l3().routeResolverIs(nullptr);
  EXPECT_EQ(hand(k4(0, "10.3.0.0/16"), info(5, 5)), Answer::failed);
  EXPECT_FALSE(t.has(k4(0, "10.3.0.0/16")));
  attach();
  EXPECT_EQ(chip_->l3().routeSmHelper()->handleRouteUpdate(VrfId(0), Nollo::IpPrefix("10.3.0.0/16"), 0),
            Answer::programmed);
  EXPECT_EQ(t.find(k4(0, "10.3.0.0/16"))->fibAdjIndex(), 5u);
}

TEST_F(RouteResolverSmTest, EachAnnouncementIsAnsweredByTheChipAsItIsNow) {
  // The answer comes from the write the announcement makes, never from an
  // earlier one: whatever happened to the chip since is seen.
  auto k = k4(0, "10.1.0.0/16");
  auto helper = chip_->l3().routeSmHelper();
  auto& t = chip_->l3().route4Table();
  EXPECT_EQ(hand(k, info(1, 1)), Answer::programmed);
  t.erase(k);
  EXPECT_EQ(helper->handleRouteUpdate(k.vrfId, k.prefix, 0), Answer::programmed);
  EXPECT_EQ(*t.find(k), ChipRoute(RouteType::forwardRoute, 1, 1));
  EXPECT_EQ(t.counters().creates, 2u);
  // A rule set since: the same record is now refused, the held route kept.
  chip_->injector().objectFaultIs("route4", "0:10.1.0.0/16", ChipAnswer::notReady);
  EXPECT_EQ(helper->handleRouteUpdate(k.vrfId, k.prefix, 0), Answer::failed);
  EXPECT_TRUE(t.has(k));
  t.capacityIs(0);
  chip_->injector().faultsDelAll();
  EXPECT_EQ(helper->handleRouteUpdate(k.vrfId, k.prefix, 0), Answer::programmed) << "a held route needs no room";
  t.erase(k);
  EXPECT_EQ(helper->handleRouteUpdate(k.vrfId, k.prefix, 0), Answer::resourceFull);
  t.capacityIs(SoftChip::ChipTableBase::kUnlimited);
  // A record changed without an announcement is not written; its
  // announcement writes it.
  l3_->adjInfoListIs(k, info(2, 2));
  EXPECT_FALSE(t.has(k));
  EXPECT_EQ(helper->handleRouteUpdate(k.vrfId, k.prefix, 0), Answer::programmed);
  EXPECT_EQ(t.find(k)->fibAdjIndex(), 2u);
  // A removal is taken from the list, announced or not.
  l3_->adjInfoListDel(k);
  EXPECT_FALSE(t.has(k));
  EXPECT_EQ(helper->handleRouteUpdate(k.vrfId, k.prefix, 0), Answer::programmed);
}

TEST_F(RouteResolverSmTest, RefusalsAreAnsweredUntilARetrySucceeds) {
  auto& fi = chip_->injector();
  auto k = k4(0, "10.1.0.0/16");
  EXPECT_EQ(hand(k4(0, "10.2.0.0/16"), info(1, 1)), Answer::programmed);
  // A rule set after the table's first write must still be seen.
  fi.objectFaultIs("route4", "0:10.1.0.0/16", ChipAnswer::fail);
  EXPECT_EQ(hand(k, info(1, 1)), Answer::failed);
  fi.objectFaultIs("route4", "0:10.1.0.0/16", ChipAnswer::notReady);
  EXPECT_EQ(retry(k), Answer::failed);
  EXPECT_FALSE(chip_->l3().route4Table().has(k));
  fi.faultsDelAll();
  EXPECT_EQ(retry(k), Answer::programmed);
  // A refused update leaves the old route in place; a removal clears the refusal.
  fi.kindFaultIs("route4", ChipAnswer::fail);
  EXPECT_EQ(hand(k, info(2, 2)), Answer::failed);
  EXPECT_EQ(chip_->l3().route4Table().find(k)->fibAdjIndex(), 1u);
  EXPECT_EQ(hand(k, nullptr), Answer::programmed);
  EXPECT_FALSE(chip_->l3().route4Table().has(k));
  auto c = fi.counters("route4");
  EXPECT_EQ(c.calls, 5u);
  EXPECT_EQ(c.fail, 2u);
  EXPECT_EQ(c.notReady, 1u);
}

TEST_F(RouteResolverSmTest, FullTablesRaiseResourceFullUntilRoomIsMade) {
  chip_->l3().route4Table().capacityIs(1);
  hand(k4(0, "10.1.0.0/16"), info(1, 1));
  EXPECT_EQ(hand(k4(0, "10.2.0.0/16"), info(1, 1)), Answer::resourceFull);
  EXPECT_TRUE(l3_->routingResourceFull());
  // Updating a held route needs no room.
  EXPECT_EQ(hand(k4(0, "10.1.0.0/16"), info(2, 2)), Answer::programmed);
  hand(k4(0, "10.1.0.0/16"), nullptr);
  EXPECT_FALSE(l3_->routingResourceFull());
  EXPECT_EQ(retry(k4(0, "10.2.0.0/16")), Answer::programmed);

  // IPv6: the exact-match table refuses; it is an overflow route, and an
  // erase in the other table makes no room for it.
  exactMatch({64});
  chip_->l3().route6EmTable().capacityIs(1);
  hand(k6(0, "2001:db8:1::/64"), info(1, 1));
  hand(k6(0, "2001:db8:9::/48"), info(1, 1));
  EXPECT_EQ(hand(k6(0, "2001:db8:2::/64"), info(1, 1)), Answer::resourceFull);
  EXPECT_TRUE(l3_->ip6OverflowRoute(Nollo::Ip6Prefix("2001:db8:2::/64")));
  EXPECT_FALSE(l3_->routingResourceFull());
  hand(k6(0, "2001:db8:9::/48"), nullptr);
  EXPECT_TRUE(l3_->ip6RoutingResourceFull());
  // An injected "full" holds the flag after the capacity is raised.
  chip_->injector().kindFaultIs("route6em", ChipAnswer::resourceFull);
  chip_->l3().route6EmTable().capacityIs(2);
  chip_->l3().routeResolver()->doRecheckResourceFull();
  EXPECT_TRUE(l3_->ip6RoutingResourceFull());
  chip_->injector().faultsDelAll();
  chip_->l3().routeResolver()->doRecheckResourceFull();
  EXPECT_FALSE(l3_->ip6RoutingResourceFull());
}

TEST_F(RouteResolverSmTest, Ipv6RoutesGoToTheirTableAndMoveWhenLengthsChange) {
  exactMatch({64});
  auto em = k6(1, "2001:db8:1::/64"), lpm = k6(1, "2001:db8:2::/56");
  hand(em, info(1, 1));
  hand(lpm, info(2, 2));
  EXPECT_TRUE(chip_->l3().route6EmTable().has(em));
  EXPECT_TRUE(chip_->l3().route6Table().has(lpm));
  exactMatch({56});
  // A refused move keeps the route where it was, and is answered as refused.
  chip_->injector().kindFaultIs("route6em", ChipAnswer::fail);
  EXPECT_EQ(hand(lpm, info(2, 2)), Answer::failed);
  EXPECT_TRUE(chip_->l3().route6Table().has(lpm));
  chip_->injector().faultsDelAll();
  EXPECT_EQ(hand(lpm, info(2, 3)), Answer::programmed);
  EXPECT_EQ(hand(em, info(1, 1)), Answer::programmed);
  EXPECT_TRUE(chip_->l3().route6EmTable().has(lpm));
  EXPECT_TRUE(chip_->l3().route6Table().has(em));
  EXPECT_EQ(chip_->l3().route6EmTable().size() + chip_->l3().route6Table().size(), 2u);
  hand(em, nullptr);
  EXPECT_EQ(chip_->l3().route6Table().size(), 0u);
}

TEST_F(RouteResolverSmTest, LongestMatchProbesThePrefixLengthsHeld) {
  for (char const* p : {"0.0.0.0/0", "10.0.0.0/8", "10.1.0.0/16", "10.1.2.0/24", "10.1.2.3/32"})
    hand(k4(0, p), info(1, 1));
  hand(k4(1, "10.1.0.0/16"), info(9, 9));
  auto match = [&](uint32_t vrf, char const* a) {
    auto [table, e] = chip_->l3().routeLookup<Nollo::Ipv4>(VrfId(vrf), Nollo::IpAddr4(a));
    return e ? e->first.prefix.str() : std::string("none");
  };
  EXPECT_EQ(match(0, "10.1.2.3"), "10.1.2.3/32");
  EXPECT_EQ(match(0, "11.0.0.1"), "0.0.0.0/0");
  EXPECT_EQ(match(1, "10.1.2.3"), "10.1.0.0/16");
  EXPECT_EQ(match(1, "10.2.0.1"), "none");
  hand(k4(0, "10.1.2.0/24"), nullptr);
  EXPECT_EQ(match(0, "10.1.2.4"), "10.1.0.0/16");

  // IPv6: the longer of the two tables' matches.
  exactMatch({64});
  hand(k6(0, "2001:db8::/48"), info(1, 1));
  hand(k6(0, "2001:db8::/64"), info(2, 2));
  hand(k6(0, "2001:db8::/80"), info(3, 3));
  auto match6 = [&](char const* a) {
    auto [table, e] = chip_->l3().routeLookup<Nollo::Ipv6>(VrfId(0), Nollo::IpAddr6(a));
    return e ? table->name() + " " + e->first.prefix.str() : std::string("none");
  };
  EXPECT_EQ(match6("2001:db8::1"), "route6 2001:db8::/80");
  EXPECT_EQ(match6("2001:db8:0:0:1::1"), "route6em 2001:db8::/64");
  EXPECT_EQ(match6("2001:db8:0:1::1"), "route6 2001:db8::/48");
}

TEST_F(RouteResolverSmTest, ARestartedLibraryFindsAndPrunesTheChipRoutes) {
  exactMatch({64});
  hand(k4(3, "10.1.0.0/16"), info(1, 4));
  hand(k4(3, "10.2.0.0/16"), info(1, 5));
  hand(k4(4, "10.3.0.0/16"), info(1, 6));
  hand(k6(3, "2001:db8::/64"), info(2, 7));
  hand(k6(3, "2001:db8::/48"), info(2, 8));
  // The restart: resolver detached, hand-over lists emptied, new resolver.
  chip_->l3().routeResolverIs(nullptr);
  l3_->adjInfoListDelAll();
  l3_->adjInfo6ListDelAll();
  attach();
  EXPECT_EQ(chip_->l3().route4Table().size(), 3u);

  // The walk sees one VRF's routes and may delete while it walks.
  std::vector<std::pair<std::string, uint64_t>> seen;
  chip_->l3().routeSmHelper()->forEachHardwareRoute(VrfId(3), [&](Nollo::IpPrefix const& p, uint64_t l2) {
    seen.emplace_back(p.str(), l2);
    if (p.str() == "10.2.0.0/16") chip_->l3().routeSmHelper()->deleteHardwareRoute(VrfId(3), p);
  });
  std::sort(seen.begin(), seen.end());
  EXPECT_EQ(seen, (std::vector<std::pair<std::string, uint64_t>>{{"10.1.0.0/16", 4}, {"10.2.0.0/16", 5}}));
  EXPECT_FALSE(chip_->l3().route4Table().has(k4(3, "10.2.0.0/16")));
  size_t seen6 = 0;
  chip_->l3().route6SmHelper()->forEachHardwareRoute(VrfId(3), [&](Nollo::Ip6Prefix const&, uint64_t) { ++seen6; });
  EXPECT_EQ(seen6, 2u);

  // Handing an unchanged route over again rewrites nothing.
  auto before = chip_->l3().route4Table().counters();
  EXPECT_EQ(hand(k4(3, "10.1.0.0/16"), info(1, 4)), Answer::programmed);
  EXPECT_EQ(chip_->l3().route4Table().counters().changes(), before.changes());
  EXPECT_EQ(chip_->l3().route4Table().counters().syncs, before.syncs + 1);
}

}  // namespace
