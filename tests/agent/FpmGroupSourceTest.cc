// zebra's group objects as library next-hop groups (FpmRouteSource with the
// hardware's nexthopGroupSupported on): routes over the group FEC reach the
// chip's nhg table, a replaced object updates its group in place, a deleted
// one stays while routes hold it, a route before its object changes
// nothing, the flag changing moves every route to the other kind of FEC, and
// the stale sweep withdraws the groups zebra did not re-send; a resilient
// prefix over a group replaced in place rewrites only the leaver's buckets.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "agent/fib/FibModule.h"
#include "agent/nhg/NhgModule.h"
#include "agent/resil/ResilientModule.h"
#include "kor/records/L3Status.h"
#include "softchip/SoftChip.h"
#include "tests/agent/FpmSourceFixture.h"
#include "vix/Time.h"

namespace {

using KorAgent::FpmRouteSource;
using KorFeeds::NlNexthopObject;
using KorFeeds::NlRoute;
using Nollo::IntfId;
using Nollo::IpGenAddr;

NlNexthopObject single(uint32_t id, char const* gw) {
  NlNexthopObject o;
  o.id = id;
  o.nexthop.gateway = IpGenAddr(gw);
  o.nexthop.oif = 10;
  return o;
}

NlNexthopObject members(uint32_t id, std::vector<NlNexthopObject::Member> m, bool add = true) {
  NlNexthopObject o;
  o.id = id;
  o.group = std::move(m);
  o.add = add;
  return o;
}

NlRoute over(char const* prefix, uint32_t nhId, bool add = true) {
  NlRoute r;
  r.prefix = Nollo::IpPrefix(prefix);
  r.nhId = nhId;
  r.table = 254;
  r.add = add;
  return r;
}

class FpmGroupSourceTest : public KorTest::FpmSourceFixture {
 protected:
  void beforeInit() override { flagIs(true); }
  void flagIs(bool on) { agent_.module<KorAgent::NhgModule>().nexthopGroupSupportedIs(on); }
  // The chip's route as "type index": the FEC index is the group id over a
  // group, the source's FEC index otherwise; "" when the chip has none.
  std::string chip(char const* prefix) {
    auto id = agent_.l3Status()->vrfId(Kor::VrfName("default"));
    auto const* r = agent_.chip()->l3().route4Table().find({id, Nollo::IpPrefix(prefix)});
    if (!r) return "";
    std::ostringstream os;
    os << r->routeType() << " " << Quill::Fib::FecId(r->fibAdjIndex()).index();
    return os.str();
  }
  std::string overGroup(uint32_t nhId) {
    return "nexthopGroupRoute " + std::to_string(FpmRouteSource::groupId(nhId));
  }
  // The published group's members, "" when it is not published.
  std::string group(uint32_t nhId) {
    auto const& s = agent_.module<KorAgent::NhgModule>().status();
    std::string name = FpmRouteSource::groupName(nhId), out;
    if (!s->groupHas(name)) return out;
    for (auto const& m : s->groupMap().at(name).entries()) out += (out.empty() ? "" : "; ") + m.str();
    return out;
  }
  uint64_t routeChipWrites() {
    auto c = agent_.chip()->l3().route4Table().counters();
    return c.creates + c.updates + c.deletes;
  }
  void pastGrace() {
    agent_.runFor(2 * FpmRouteSource::kFecGrace);
    agent_.runUntilIdle();
  }
  // Singles 1..3 and group 20 of 1 and 2 (weights 1 and 3).
  void objects() {
    src_.handle(single(1, "10.1.0.2"));
    src_.handle(single(2, "10.1.0.3"));
    src_.handle(single(3, "10.1.0.4"));
    src_.handle(members(20, {{1, 1}, {2, 3}}));
  }
};

TEST_F(FpmGroupSourceTest, GroupObjectsBecomeLibraryGroupsReplacedInPlace) {
  objects();
  src_.handle(over("10.20.0.0/16", 20));
  src_.handle(over("10.21.0.0/16", 20));
  src_.handle(over("10.22.0.0/16", 1));
  agent_.runUntilIdle();
  EXPECT_EQ(chip("10.20.0.0/16"), overGroup(20));
  EXPECT_EQ(chip("10.21.0.0/16"), overGroup(20));
  // A single object is expanded, as in FEC mode.
  EXPECT_EQ(chip("10.22.0.0/16").rfind("forwardRoute ", 0), 0u) << chip("10.22.0.0/16");
  EXPECT_EQ(group(20), "10.1.0.2 Vlan10 weight 1; 10.1.0.3 Vlan10 weight 3");
  EXPECT_EQ(group(1), "");
  EXPECT_EQ(agent_.chip()->adj().nhgTable().size(), 1u);
  EXPECT_EQ(src_.groups(), 1u);

  // Replaced, and a member changed: the group follows under its id, no
  // route moves.
  uint64_t writes = routeChipWrites(), routeWrites = src_.counters().routeWrites;
  auto nhg = agent_.chip()->adj().nhgTable().counters();
  src_.handle(members(20, {{1, 1}, {3, 1}}));
  src_.handle(single(1, "10.1.0.5"));
  agent_.runUntilIdle();
  EXPECT_EQ(group(20), "10.1.0.5 Vlan10 weight 1; 10.1.0.4 Vlan10 weight 1");
  EXPECT_EQ(chip("10.20.0.0/16"), overGroup(20));
  EXPECT_EQ(routeChipWrites(), writes);
  EXPECT_EQ(src_.counters().routeWrites, routeWrites);
  EXPECT_GT(agent_.chip()->adj().nhgTable().counters().updates, nhg.updates);
  std::string show = src_.show(true);
  EXPECT_NE(show.find("\"mode\": \"nexthopGroups\""), std::string::npos) << show;
  EXPECT_NE(show.find("\"groups\": {\"held\": 1, \"adds\": 1, \"updates\": 2"), std::string::npos) << show;
}

TEST_F(FpmGroupSourceTest, DeletedGroupStaysForItsRoutesAndRouteBeforeObjectWaitsForIt) {
  objects();
  src_.handle(over("10.20.0.0/16", 20));
  // A route before its object waits for it, and the prefix keeps what it
  // had; zebra's newer word on the prefix replaces the waiting route.
  src_.handle(over("10.20.0.0/16", 30));
  src_.handle(over("10.30.0.0/16", 30));
  agent_.runUntilIdle();
  EXPECT_EQ(src_.counters().unknownNexthop, 0u);
  EXPECT_EQ(chip("10.20.0.0/16"), overGroup(20));
  EXPECT_EQ(chip("10.30.0.0/16"), "");
  src_.handle(over("10.20.0.0/16", 20));
  src_.handle(members(30, {{2, 1}, {3, 1}}));
  agent_.runUntilIdle();
  EXPECT_EQ(chip("10.30.0.0/16"), overGroup(30));
  EXPECT_EQ(chip("10.20.0.0/16"), overGroup(20));

  // Deleted while a route holds it: the group and the route stay; new
  // routes may not name it; the last route gone, the group leaves after
  // the grace, and the object with it.
  src_.handle(members(20, {}, false));
  src_.handle(over("10.21.0.0/16", 20));
  pastGrace();
  EXPECT_EQ(chip("10.20.0.0/16"), overGroup(20));
  EXPECT_EQ(chip("10.21.0.0/16"), "");
  EXPECT_NE(group(20), "");
  src_.handle(over("10.20.0.0/16", 20, false));
  agent_.runFor(FpmRouteSource::kFecGrace / 2);
  EXPECT_NE(group(20), "");
  pastGrace();
  EXPECT_EQ(group(20), "");
  EXPECT_EQ(chip("10.20.0.0/16"), "");
  EXPECT_EQ(src_.nexthopObjects(), 4u);  // 1, 2, 3 and 30
  EXPECT_EQ(src_.groups(), 1u);
  EXPECT_EQ(agent_.chip()->adj().nhgTable().size(), 1u);
}

TEST_F(FpmGroupSourceTest, FlagChangeMovesEveryRouteToTheOtherKindOfFec) {
  flagIs(false);
  agent_.runUntilIdle();
  uint64_t const changes = src_.counters().modeChanges;
  objects();
  src_.handle(over("10.20.0.0/16", 20));
  NlRoute shadowed = over("10.20.0.0/16", 20);
  shadowed.priority = 50;
  src_.handle(shadowed);
  src_.handle(over("10.22.0.0/16", 1));
  agent_.runUntilIdle();
  std::string expanded = chip("10.20.0.0/16"), singleFec = chip("10.22.0.0/16");
  EXPECT_EQ(expanded.rfind("forwardRoute ", 0), 0u) << expanded;
  EXPECT_EQ(group(20), "");

  flagIs(true);
  agent_.runUntilIdle();
  EXPECT_EQ(chip("10.20.0.0/16"), overGroup(20));
  EXPECT_EQ(chip("10.22.0.0/16"), singleFec);
  EXPECT_EQ(src_.counters().routeMoves, 1u);
  pastGrace();
  EXPECT_EQ(src_.fecs(), 2u);  // the group's and the single's
  // The shadowed entry moved too: promoted, it stays over the group.
  src_.handle(over("10.20.0.0/16", 20, false));
  agent_.runUntilIdle();
  EXPECT_EQ(chip("10.20.0.0/16"), overGroup(20));

  flagIs(false);
  agent_.runUntilIdle();
  EXPECT_EQ(chip("10.20.0.0/16").rfind("forwardRoute ", 0), 0u);
  EXPECT_EQ(chip("10.22.0.0/16"), singleFec);
  pastGrace();
  EXPECT_EQ(group(20), "");
  EXPECT_EQ(src_.groups(), 0u);
  EXPECT_EQ(agent_.chip()->adj().nhgTable().size(), 0u);
  EXPECT_EQ(src_.counters().modeChanges, changes + 2);

  // On, off and on again within the grace: the routes take their group FEC
  // back, and the FEC the grace removes is not the one they use.
  flagIs(true);
  agent_.runFor(FpmRouteSource::kFecGrace / 4);
  flagIs(false);
  agent_.runFor(FpmRouteSource::kFecGrace / 4);
  flagIs(true);
  pastGrace();
  EXPECT_EQ(chip("10.20.0.0/16"), overGroup(20));
  EXPECT_EQ(src_.fecs(), 2u);
  auto fecs = agent_.module<KorAgent::FibModule>().entityManager()->forwardingStatus<Nollo::Ipv4>("default");
  EXPECT_TRUE(fecs->fecHas(Quill::Fib::FecId::make(Quill::Fib::AdjType::nextHopGroupAdj, FpmRouteSource::groupId(20))));
}

TEST_F(FpmGroupSourceTest, ReplayKeepsTheGroupsResentAndSweepsTheOthers) {
  auto send = [&](bool all) {
    src_.handleConnectionUp();
    objects();
    if (all) src_.handle(members(21, {{2, 1}, {3, 1}}));
    src_.handle(over("10.20.0.0/16", 20));
    if (all) src_.handle(over("10.21.0.0/16", 21));
  };
  send(true);
  agent_.runUntilIdle();
  EXPECT_EQ(src_.groups(), 2u);
  auto nhg = agent_.chip()->adj().nhgTable().counters();
  uint64_t writes = routeChipWrites();
  src_.handleConnectionDown();
  send(false);
  agent_.runFor(2 * FpmRouteSource::kStaleQuiet);
  agent_.runUntilIdle();
  pastGrace();
  EXPECT_EQ(chip("10.21.0.0/16"), "");
  EXPECT_EQ(group(21), "");
  EXPECT_EQ(chip("10.20.0.0/16"), overGroup(20));
  EXPECT_EQ(src_.groups(), 1u);
  EXPECT_EQ(src_.publisher().counters().updates, 0u);
  EXPECT_EQ(agent_.chip()->adj().nhgTable().counters().updates, nhg.updates);
  EXPECT_EQ(routeChipWrites(), writes + 1);  // 10.21.0.0/16 deleted
}

// zebra drops a member from a group in place (a member's link went down):
// the resilient table over the group's FEC follows, and only the leaver's
// buckets are rewritten.
TEST_F(FpmGroupSourceTest, ResilientPrefixOverAGroupLosingAMemberMovesOnlyItsBuckets) {
  agent_.module<KorAgent::ResilientModule>().supportedIs(true);
  Kor::ResilientEcmpParams params;
  params.capacity = 3;
  params.redundancy = 4;
  agent_.module<KorAgent::ResilientModule>().prefixIs(Kor::VrfName("default"), Nollo::IpPrefix("10.20.0.0/16"), params);
  objects();
  src_.handle(members(21, {{1, 1}, {2, 1}, {3, 1}}));
  src_.handle(over("10.20.0.0/16", 21));
  agent_.runUntilIdle();
  auto const& bw = agent_.chip()->adj().softAdjSmHelper().bucketWrites();
  uint64_t const before = bw.bucketWrites();
  EXPECT_EQ(before, 12u);
  std::string const table = agent_.module<KorAgent::ResilientModule>().resilientShow();
  EXPECT_NE(table.find("10.1.0.3 4 {4-7}"), std::string::npos) << table;

  src_.handle(members(21, {{1, 1}, {3, 1}}));
  agent_.runUntilIdle();
  std::string const after = agent_.module<KorAgent::ResilientModule>().resilientShow();
  EXPECT_EQ(after.find("10.1.0.3 "), std::string::npos) << after;
  EXPECT_NE(after.find("10.1.0.2 6 {0-5}\n  10.1.0.4 6 {6-11}"), std::string::npos) << after;
  EXPECT_EQ(bw.bucketWrites() - before, 4u);
  EXPECT_EQ(chip("10.20.0.0/16"), overGroup(21));
}

}  // namespace
