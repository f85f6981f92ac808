// Routes zebra sends before the next-hop object they name (a reconnect or
// replay can reorder them) wait for it in FpmRouteSource: replaced by a newer
// message for the prefix, dropped by a delete or by the stale sweep, applied
// when the object (or a group's last missing member) comes, bounded. And the
// flag's change moves the routes over group objects in slices of the moves'
// review loop, not in one loop turn.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "agent/fib/FibModule.h"
#include "agent/nhg/NhgModule.h"
#include "tests/agent/FpmSourceFixture.h"

namespace {

using KorAgent::FpmRouteSource;
using KorFeeds::NlNexthopObject;
using KorFeeds::NlRoute;
using Nollo::IntfId;
using Nollo::IpGenAddr;

NlNexthopObject object(uint32_t id, std::string const& gw, std::vector<NlNexthopObject::Member> group = {}) {
  NlNexthopObject o;
  o.id = id;
  if (group.empty()) {
    o.nexthop.gateway = IpGenAddr(gw);
    o.nexthop.oif = 10;
  }
  o.group = std::move(group);
  return o;
}

NlRoute routeOver(std::string const& prefix, uint32_t nhId, bool add = true) {
  NlRoute r;
  r.prefix = Nollo::IpPrefix(prefix);
  r.nhId = nhId;
  r.add = add;
  return r;
}

class FpmHeldRouteTest : public KorTest::FpmSourceFixture {
 protected:
  // The prefix's FEC in the FIB, 0 when it has none.
  uint64_t fib(char const* prefix) {
    auto t = agent_.module<KorAgent::FibModule>().fibRoutes4(Kor::VrfName("default"));
    return t->routeHas(Nollo::IpPrefix(prefix)) ? t->route(Nollo::IpPrefix(prefix)).fecId().index() : 0;
  }
  std::string heldShow() {
    std::string s = src_.show(true);
    return s.substr(s.find("\"heldRoutes\""));
  }
};

TEST_F(FpmHeldRouteTest, ARouteWaitsForItsObjectAndZebrasLatestWordOnThePrefixCounts) {
  src_.handle(routeOver("10.5.0.0/16", 5));
  EXPECT_EQ(fib("10.5.0.0/16"), 0u);
  // A newer route for the prefix replaces the held one: object 5 releases
  // nothing, object 6 the newer route.
  src_.handle(routeOver("10.5.0.0/16", 6));
  src_.handle(object(5, "10.1.0.2"));
  EXPECT_EQ(fib("10.5.0.0/16"), 0u);
  src_.handle(object(6, "10.1.0.2"));
  EXPECT_NE(fib("10.5.0.0/16"), 0u);
  // A delete drops the held route: its object applies nothing.
  src_.handle(routeOver("10.7.0.0/16", 7));
  src_.handle(routeOver("10.7.0.0/16", 0, false));
  src_.handle(object(7, "10.1.0.2"));
  EXPECT_EQ(fib("10.7.0.0/16"), 0u);
  // A group with a member not announced yet: its route waits for the member.
  src_.handle(object(20, "", {{5, 1}, {8, 1}}));
  src_.handle(routeOver("10.20.0.0/16", 20));
  EXPECT_EQ(fib("10.20.0.0/16"), 0u);
  src_.handle(object(8, "10.1.0.2"));
  EXPECT_NE(fib("10.20.0.0/16"), 0u);
  EXPECT_EQ(src_.counters().unknownNexthop, 0u);
  EXPECT_EQ(heldShow(),
            "\"heldRoutes\": {\"waiting\": 0, \"limit\": 16384, \"held\": 4, \"released\": 2, \"replaced\": 1, "
            "\"dropped\": 1, \"overflow\": 0}}");
}

TEST_F(FpmHeldRouteTest, HeldRoutesAreBoundedAndTheStaleSweepDropsAnOldConnectionsOnes) {
  src_.held().limitIs(2);
  src_.handleConnectionUp();
  for (char const* p : {"10.1.0.0/16", "10.2.0.0/16", "10.3.0.0/16"}) src_.handle(routeOver(p, 9));
  EXPECT_EQ(src_.held().size(), 2u);
  EXPECT_EQ(src_.counters().unknownNexthop, 1u);
  EXPECT_EQ(src_.held().counters().overflow, 1u);
  // zebra reconnects and does not re-send them: the sweep drops them, and
  // the object coming later applies nothing.
  src_.handleConnectionUp();
  src_.handle(object(1, "10.1.0.2"));
  agent_.runFor(2 * FpmRouteSource::kStaleQuiet);
  EXPECT_EQ(src_.held().size(), 0u);
  src_.handle(object(9, "10.1.0.2"));
  EXPECT_EQ(fib("10.1.0.0/16"), 0u);
  EXPECT_EQ(src_.routes(), 0u);
}

TEST_F(FpmHeldRouteTest, TheFlagsChangeMovesRoutesInSlicesOfTheReviewLoop) {
  agent_.module<KorAgent::NhgModule>().nexthopGroupSupportedIs(true);
  agent_.runUntilIdle();
  src_.handle(object(1, "10.1.0.2"));
  src_.handle(object(20, "", {{1, 1}}));
  constexpr size_t kRoutes = 40;
  for (size_t i = 0; i < kRoutes; ++i) src_.handle(routeOver("10." + std::to_string(100 + i) + ".0.0/16", 20));
  agent_.runUntilIdle();
  EXPECT_EQ(fib("10.100.0.0/16"), FpmRouteSource::groupId(20));
  auto& loop = src_.moveLoop();
  loop.yieldEachItemIs(true);
  uint64_t const passes = loop.passes(), items = loop.items();
  agent_.module<KorAgent::NhgModule>().nexthopGroupSupportedIs(false);
  agent_.runUntilIdle();
  EXPECT_EQ(src_.counters().routeMoves, kRoutes);
  // One route a pass: as many passes as routes, each its own loop turn.
  EXPECT_EQ(loop.items() - items, kRoutes);
  EXPECT_GE(loop.passes() - passes, kRoutes);
  EXPECT_EQ(src_.routesToMove(), 0u);
  EXPECT_NE(fib("10.100.0.0/16"), FpmRouteSource::groupId(20));
  EXPECT_NE(fib("10.100.0.0/16"), 0u);
}

}  // namespace
