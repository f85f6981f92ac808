// FPM routes and next-hop objects through FpmRouteSource into the FIB and on
// to the software chip: next-hop groups and inline sets (ECMP) become shared
// FECs, delete+add keeps the chip route and reuses the FEC, an unreferenced
// FEC goes after the grace, a replay writes nothing and removes only what was
// not re-sent, object updates reach every FEC built from them, metrics pick
// the FIB entry, and bad input is counted and changes nothing - more next
// hops than a FEC can hold among it.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "agent/Agent.h"
#include "agent/fib/FibModule.h"
#include "agent/intf/IntfModule.h"
#include "agent/neigh/NeighbourModule.h"
#include "agent/vrf/VrfModule.h"
#include "agent/fpm/FpmRouteSource.h"
#include "feeds/FpmFrameReader.h"
#include "feeds/NetlinkDecoder.h"
#include "kor/records/L3Status.h"
#include "softchip/SoftChip.h"
#include "vix/Time.h"

namespace {

using KorAgent::Agent;
using KorAgent::FpmRouteSource;
using KorFeeds::NlNexthop;
using KorFeeds::NlNexthopObject;
using KorFeeds::NlRoute;
using Nollo::IntfId;
using Nollo::IpGenAddr;

NlNexthop hop(char const* gw, uint32_t oif, uint32_t weight = 1) {
  NlNexthop h;
  if (*gw) h.gateway = IpGenAddr(gw);
  h.oif = oif;
  h.weight = weight;
  return h;
}

NlRoute route(char const* prefix, std::vector<NlNexthop> hops, uint32_t table = 254) {
  NlRoute r;
  std::string p = prefix;
  if (p.find(':') != std::string::npos) r.prefix = Nollo::Ip6Prefix(p);
  else r.prefix = Nollo::IpPrefix(p);
  r.nexthops = std::move(hops);
  r.table = table;
  return r;
}

NlRoute viaObject(char const* prefix, uint32_t nhId) {
  NlRoute r = route(prefix, {});
  r.nhId = nhId;
  return r;
}

NlRoute del(NlRoute r) {
  r.add = false;
  return r;
}

NlNexthopObject object(uint32_t id, NlNexthop h) {
  NlNexthopObject o;
  o.id = id;
  o.nexthop = h;
  return o;
}

NlNexthopObject group(uint32_t id, std::vector<NlNexthopObject::Member> members) {
  NlNexthopObject o;
  o.id = id;
  o.group = std::move(members);
  return o;
}

class FpmRouteSourceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    FPM_ROUTE_SKIPPED.reset();
    Kor::VrfName def("default"), red("red");
    agent_.module<KorAgent::VrfModule>().routingIs(def, true, true, true);
    agent_.module<KorAgent::VrfModule>().vrfAdd(red);
    agent_.module<KorAgent::IntfModule>().intfAdd(IntfId::vlan(10), std::nullopt, Kor::VlanId(10));
    agent_.module<KorAgent::IntfModule>().intfAdd(IntfId::ethernet(5), red, Kor::VlanId(1006), true);
    for (int h = 2; h <= 4; ++h) {
      auto mac = Nollo::EthAddr::fromUint64(0x001c73000000ull + h);
      agent_.module<KorAgent::NeighbourModule>().arpAdd(def, IpGenAddr("10.1.0." + std::to_string(h)), mac, IntfId::vlan(10));
      agent_.module<KorAgent::NeighbourModule>().arpAdd(def, IpGenAddr("2001:db8::" + std::to_string(h)), mac, IntfId::vlan(10));
      agent_.module<KorAgent::NeighbourModule>().arpAdd(red, IpGenAddr("10.5.0." + std::to_string(h)), mac, IntfId::ethernet(5));
    }
    agent_.init();
    agent_.runUntilIdle();
  }

  // The FIB FEC of a route, 0 when the FIB has none.
  uint64_t fibFec(char const* prefix, char const* vrf = "default") {
    std::string p = prefix;
    if (p.find(':') != std::string::npos) {
      auto t = agent_.module<KorAgent::FibModule>().fibRoutes6(vrf);
      return t->routeHas(Nollo::Ip6Prefix(p)) ? t->route(Nollo::Ip6Prefix(p)).fecId().index() : 0;
    }
    auto t = agent_.module<KorAgent::FibModule>().fibRoutes4(vrf);
    return t->routeHas(Nollo::IpPrefix(p)) ? t->route(Nollo::IpPrefix(p)).fecId().index() : 0;
  }
  // The chip's route: "routeType fec N" or "".
  std::string chip(char const* prefix, char const* vrf = "default") {
    auto id = agent_.l3Status()->vrfId(Kor::VrfName(vrf));
    std::string p = prefix;
    SoftChip::ChipRoute const* r;
    if (p.find(':') != std::string::npos) r = agent_.chip()->l3().route6Table().find({id, Nollo::Ip6Prefix(p)});
    else r = agent_.chip()->l3().route4Table().find({id, Nollo::IpPrefix(p)});
    if (!r) return "";
    std::ostringstream os;
    os << r->routeType() << " fec " << Quill::Fib::FecId(r->fibAdjIndex()).index();
    return os.str();
  }
  std::string fwd(uint64_t fec) { return "forwardRoute fec " + std::to_string(fec); }
  // The FIB FEC of a route as `show inputs` prints it: "forward [...]".
  std::string fecText(char const* prefix, char const* vrf = "default") {
    std::string in = inputs();
    auto at = in.find("fec " + Quill::Fib::FecId::make(Quill::Fib::nexthopAdj(), fibFec(prefix, vrf)).str() + " ");
    if (at == std::string::npos) return "";
    at = in.find(' ', at + 4) + 1;
    return in.substr(at, in.find('\n', at) - at);
  }
  std::string inputs() { return agent_.show("inputs", false); }
  SoftChip::ChipTableBase::WriteCounters route4Writes() { return agent_.chip()->l3().route4Table().counters(); }
  std::string logs() {
    std::ostringstream os;
    agent_.drainEvents(os);
    return os.str();
  }

  Agent agent_{Vix::makePtr<Vix::ManualTimeSource>(0.0)};
  std::map<uint32_t, IntfId> intfs_{{10, IntfId::vlan(10)}, {5, IntfId::ethernet(5)}};
  FpmRouteSource src_{&agent_,
                      [this](uint32_t i) -> std::optional<IntfId> {
                        auto it = intfs_.find(i);
                        if (it == intfs_.end()) return std::nullopt;
                        return it->second;
                      },
                      [](uint32_t t) -> std::optional<Kor::VrfName> {
                        if (t == 1001) return Kor::VrfName("red");
                        return std::nullopt;
                      }};
};

TEST_F(FpmRouteSourceTest, GroupsAndInlineSetsBecomeSharedFecsAndReachTheChip) {
  // zebra may announce a group before its members.
  src_.handle(object(1, hop("10.1.0.2", 10)));
  src_.handle(group(20, {{1, 1}, {2, 3}}));
  src_.handle(object(2, hop("10.1.0.3", 10)));
  src_.handle(viaObject("10.20.0.0/16", 20));
  src_.handle(viaObject("10.21.0.0/16", 20));
  src_.handle(viaObject("10.22.0.0/16", 1));
  // One inline set in two orders, IPv6 ECMP, and the red VRF's table.
  src_.handle(route("10.30.0.0/16", {hop("10.1.0.2", 10), hop("10.1.0.4", 10)}));
  src_.handle(route("10.31.0.0/16", {hop("10.1.0.4", 10), hop("10.1.0.2", 10)}));
  src_.handle(route("2001:db8:1::/48", {hop("2001:db8::2", 10), hop("2001:db8::3", 10)}));
  src_.handle(route("10.50.0.0/16", {hop("10.5.0.2", 5)}, 1001));
  agent_.runUntilIdle();

  EXPECT_EQ(src_.fecs(), 5u);
  uint64_t g = fibFec("10.20.0.0/16"), set = fibFec("10.30.0.0/16");
  EXPECT_GE(g, KorAgent::FibModule::kRouteSourceFecBase);
  EXPECT_EQ(fibFec("10.21.0.0/16"), g);
  EXPECT_EQ(fibFec("10.31.0.0/16"), set);
  EXPECT_NE(fibFec("10.22.0.0/16"), g);
  for (auto p : {"10.20.0.0/16", "10.21.0.0/16", "10.22.0.0/16", "10.30.0.0/16", "10.31.0.0/16"})
    EXPECT_EQ(chip(p), fwd(fibFec(p))) << p;
  EXPECT_EQ(chip("2001:db8:1::/48"), fwd(fibFec("2001:db8:1::/48")));
  EXPECT_EQ(chip("10.50.0.0/16", "red"), fwd(fibFec("10.50.0.0/16", "red")));
  // The group's FEC carries its members with their weights.
  EXPECT_EQ(fecText("10.20.0.0/16"), "forward [10.1.0.2 Vlan10 weight 1; 10.1.0.3 Vlan10 weight 3]");
  EXPECT_EQ(src_.counters().routeWrites, 7u);
}

TEST_F(FpmRouteSourceTest, DeleteAndAddKeepsTheChipRouteAndAnUnusedFecGoesAfterTheGrace) {
  auto r = route("10.30.0.0/16", {hop("10.1.0.2", 10)});
  src_.handle(r);
  agent_.runUntilIdle();
  uint64_t fec = fibFec("10.30.0.0/16");
  auto before = route4Writes();
  src_.handle(del(r));
  src_.handle(r);
  agent_.runUntilIdle();
  EXPECT_EQ(chip("10.30.0.0/16"), fwd(fec));
  EXPECT_EQ(route4Writes().deletes, before.deletes);
  EXPECT_EQ(src_.counters().fecReuses, 1u);
  EXPECT_EQ(src_.counters().fecAdds, 1u);

  src_.handle(del(r));
  agent_.runFor(FpmRouteSource::kFecGrace / 2);
  EXPECT_EQ(src_.fecs(), 1u);
  agent_.runFor(FpmRouteSource::kFecGrace);
  agent_.runUntilIdle();
  EXPECT_EQ(src_.fecs(), 0u);
  EXPECT_EQ(inputs().find("fec "), std::string::npos) << inputs();
  EXPECT_EQ(chip("10.30.0.0/16"), "");
}

TEST_F(FpmRouteSourceTest, ReplayWritesNothingAndRemovesOnlyWhatWasNotResent) {
  std::vector<NlRoute> table = {viaObject("10.20.0.0/16", 20), route("10.30.0.0/16", {hop("10.1.0.2", 10)}),
                                route("2001:db8:1::/48", {hop("2001:db8::2", 10)}),
                                route("10.40.0.0/16", {hop("10.1.0.3", 10)})};
  auto send = [&](size_t routes) {
    src_.handleConnectionUp();
    src_.handle(object(1, hop("10.1.0.2", 10)));
    src_.handle(object(2, hop("10.1.0.3", 10)));
    src_.handle(group(20, {{1, 1}, {2, 1}}));
    for (size_t i = 0; i < routes; ++i) src_.handle(table[i]);
  };
  send(table.size());
  agent_.runUntilIdle();
  auto before = route4Writes();
  auto fecs = agent_.chip()->adj().l2AdjTable().counters();
  src_.handleConnectionDown();
  send(table.size());
  agent_.runUntilIdle();
  auto after = route4Writes();
  EXPECT_EQ(after.creates + after.updates + after.deletes, before.creates + before.updates + before.deletes);
  EXPECT_EQ(agent_.chip()->adj().l2AdjTable().counters().updates, fecs.updates);
  EXPECT_EQ(src_.counters().routeUnchanged, table.size());
  EXPECT_EQ(src_.counters().nexthopUnchanged, 3u);

  // The last route is not re-sent: it stays while zebra keeps talking and
  // goes once the connection has been quiet.
  src_.handleConnectionDown();
  send(table.size() - 1);
  agent_.runFor(FpmRouteSource::kStaleQuiet - 1);
  src_.handle(table[0]);
  agent_.runFor(FpmRouteSource::kStaleQuiet - 1);
  EXPECT_NE(fibFec("10.40.0.0/16"), 0u);
  EXPECT_TRUE(src_.sweepPending());
  agent_.runUntilIdle();
  EXPECT_EQ(fibFec("10.40.0.0/16"), 0u);
  EXPECT_EQ(chip("10.40.0.0/16"), "");
  EXPECT_EQ(src_.counters().routeStale, 1u);
  EXPECT_EQ(src_.routes(), 3u);
  EXPECT_NE(chip("10.20.0.0/16"), "");
}

TEST_F(FpmRouteSourceTest, AConnectionThatSendsNothingRemovesNothing) {
  src_.handleConnectionUp();
  src_.handle(route("10.30.0.0/16", {hop("10.1.0.2", 10)}));
  src_.handle(route("10.40.0.0/16", {hop("10.1.0.3", 10)}));
  agent_.runUntilIdle();
  src_.handleConnectionDown();
  src_.handleConnectionUp();
  agent_.runFor(3 * FpmRouteSource::kStaleQuiet);
  EXPECT_EQ(src_.routes(), 2u);
  EXPECT_TRUE(src_.sweepPending());
  EXPECT_NE(src_.show(false).find("stale sweep waits for the replay"), std::string::npos);
  // Its first message starts the quiet period; what it did not re-send goes.
  src_.handle(route("10.30.0.0/16", {hop("10.1.0.2", 10)}));
  agent_.runUntilIdle();
  EXPECT_FALSE(src_.sweepPending());
  EXPECT_EQ(src_.routes(), 1u);
  EXPECT_EQ(fibFec("10.40.0.0/16"), 0u);
}

TEST_F(FpmRouteSourceTest, ObjectUpdateReachesItsFecsAndItsGroupsWithoutRouteWrites) {
  src_.handle(object(1, hop("10.1.0.2", 10)));
  src_.handle(object(2, hop("10.1.0.3", 10)));
  src_.handle(group(20, {{1, 1}, {2, 1}}));
  src_.handle(viaObject("10.20.0.0/16", 20));
  src_.handle(viaObject("10.22.0.0/16", 1));
  agent_.runUntilIdle();
  uint64_t writes = src_.counters().routeWrites;
  src_.handle(object(1, hop("10.1.0.4", 10)));
  agent_.runUntilIdle();
  EXPECT_EQ(src_.counters().fecUpdates, 2u);
  EXPECT_EQ(src_.counters().routeWrites, writes);
  std::string in = inputs();
  EXPECT_NE(in.find("forward [10.1.0.4 Vlan10 weight 1; 10.1.0.3 Vlan10 weight 1]"), std::string::npos) << in;
  EXPECT_EQ(in.find("10.1.0.2 Vlan10 weight"), std::string::npos) << in;
  // An update to an unknown interface keeps the FECs as they were.
  src_.handle(object(1, hop("10.1.0.2", 77)));
  EXPECT_EQ(inputs(), in);
  EXPECT_EQ(src_.counters().unknownIntf, 2u);
  // A deleted object still in use stays; new routes may not name it.
  src_.handle([] { auto o = object(1, {}); o.add = false; return o; }());
  src_.handle(viaObject("10.23.0.0/16", 1));
  EXPECT_EQ(fibFec("10.23.0.0/16"), 0u);
  EXPECT_NE(fibFec("10.22.0.0/16"), 0u);
}

TEST_F(FpmRouteSourceTest, BlackholeAndConnectedRoutesAndMetrics) {
  NlRoute bh = route("10.60.0.0/16", {});
  bh.type = 6;
  src_.handle(bh);
  src_.handle(route("10.1.0.0/24", {hop("", 10)}));
  auto metric = [](char const* gw, uint32_t priority) {
    auto r = route("10.70.0.0/16", {hop(gw, 10)});
    r.priority = priority;
    return r;
  };
  src_.handle(metric("10.1.0.2", 200));
  src_.handle(metric("10.1.0.3", 20));
  src_.handle(metric("10.1.0.4", 100));
  agent_.runUntilIdle();
  EXPECT_EQ(chip("10.60.0.0/16"), "dropRoute fec " + std::to_string(fibFec("10.60.0.0/16")));
  EXPECT_EQ(chip("10.1.0.0/24"), "attachedRoute fec " + std::to_string(fibFec("10.1.0.0/24")));
  EXPECT_EQ(src_.counters().routeShadowed, 1u);
  EXPECT_EQ(fecText("10.70.0.0/16"), "forward [10.1.0.3 Vlan10 weight 1]");
  EXPECT_EQ(chip("10.70.0.0/16"), fwd(fibFec("10.70.0.0/16")));
  // The lowest metric left takes over; all gone, the prefix goes.
  src_.handle(del(metric("10.1.0.3", 20)));
  agent_.runUntilIdle();
  EXPECT_EQ(fecText("10.70.0.0/16"), "forward [10.1.0.4 Vlan10 weight 1]");
  EXPECT_EQ(chip("10.70.0.0/16"), fwd(fibFec("10.70.0.0/16")));
  src_.handle(del(metric("10.1.0.2", 200)));
  EXPECT_EQ(fecText("10.70.0.0/16"), "forward [10.1.0.4 Vlan10 weight 1]");
  src_.handle(del(metric("10.1.0.4", 0)));
  EXPECT_EQ(fibFec("10.70.0.0/16"), 0u);
}

TEST_F(FpmRouteSourceTest, BadRoutesAreCountedLoggedAndChangeNothing) {
  auto good = route("10.30.0.0/16", {hop("10.1.0.2", 10)});
  src_.handle(good);
  agent_.runUntilIdle();
  std::string in = inputs();
  logs();
  NlRoute local = route("10.31.0.0/16", {hop("10.1.0.2", 10)});
  local.type = 2;
  std::vector<std::pair<NlRoute, char const*>> bad = {
      {route("10.30.0.0/16", {hop("10.1.0.2", 10), hop("10.1.0.3", 42)}), "interface index 42 unknown"},
      {route("10.30.0.0/16", {hop("2001:db8::2", 10)}), "other address family"},
      {route("10.30.0.0/16", {hop("10.1.0.2", 10)}, 7), "no VRF has this table"},
      {route("10.30.0.0/16", {hop("", 10), hop("10.1.0.3", 10)}), "without gateway"},
      {local, "route type 2"},
  };
  for (auto const& [r, why] : bad) {
    src_.handle(r);
    agent_.runFor(1.0);  // past the log's rate limit
    std::string l = logs();
    EXPECT_NE(l.find(why), std::string::npos) << why << ": " << l;
    EXPECT_NE(l.find("10.3"), std::string::npos) << l;
  }
  auto const& c = src_.counters();
  EXPECT_EQ(c.unknownNexthop + c.unknownIntf + c.familyMismatch + c.unknownTable + c.unsupported, bad.size());
  EXPECT_EQ(inputs(), in);
  EXPECT_EQ(src_.fecs(), 1u);
  EXPECT_NE(src_.show(false).find("unknownInterface 1"), std::string::npos) << src_.show(false);
  EXPECT_NE(src_.show(true).find("\"familyMismatch\": 1"), std::string::npos) << src_.show(true);
}

// zebra may send more next hops than one FEC holds (inline, or a group of
// thousands of members): the route is refused whole - counted, logged with
// the counts, and absent from the FIB and the chip, never a route that
// points at no adjacency; a group that grows past the limit keeps its FEC.
TEST_F(FpmRouteSourceTest, MoreNextHopsThanAFecHoldsAreRefusedVisibly) {
  auto gateway = [](uint32_t i) {
    return "10." + std::to_string(100 + i / 65536) + "." + std::to_string(i / 256 % 256) + "." + std::to_string(i % 256);
  };
  std::vector<NlNexthop> hops;
  for (uint32_t i = 0; i < 4000; ++i) hops.push_back(hop(gateway(i).c_str(), 10));
  src_.handle(route("10.30.0.0/16", hops));
  agent_.runFor(1.0);
  EXPECT_NE(logs().find("10.30.0.0/16 in table 254 skipped: FEC " + std::to_string(KorAgent::FibModule::kRouteSourceFecBase) +
                        " has 4000 paths, more than the 1056 one FEC can hold"),
            std::string::npos);

  // A group of 8000 members; and one of two that grows to 8000 later.
  for (uint32_t i = 0; i < 8000; ++i) src_.handle(object(100 + i, hop(gateway(i).c_str(), 10)));
  std::vector<NlNexthopObject::Member> members;
  for (uint32_t i = 0; i < 8000; ++i) members.push_back({100 + i, 1});
  src_.handle(group(20, members));
  src_.handle(viaObject("10.31.0.0/16", 20));
  agent_.runFor(1.0);
  EXPECT_NE(logs().find("has 8000 paths"), std::string::npos);
  src_.handle(group(21, {{100, 1}, {101, 1}}));
  src_.handle(viaObject("10.32.0.0/16", 21));
  agent_.runUntilIdle();
  std::string const kept = fecText("10.32.0.0/16");
  EXPECT_EQ(kept, "forward [10.100.0.0 Vlan10 weight 1; 10.100.0.1 Vlan10 weight 1]");
  logs();
  src_.handle(group(21, members));
  agent_.runUntilIdle();
  EXPECT_NE(logs().find("FPM_FEC_KEPT"), std::string::npos);
  EXPECT_EQ(fecText("10.32.0.0/16"), kept);

  EXPECT_EQ(src_.counters().refused, 3u);
  EXPECT_EQ(fibFec("10.30.0.0/16"), 0u);
  EXPECT_EQ(fibFec("10.31.0.0/16"), 0u);
  EXPECT_EQ(chip("10.30.0.0/16"), "");
  EXPECT_EQ(chip("10.31.0.0/16"), "");
  EXPECT_EQ(chip("10.32.0.0/16"), fwd(fibFec("10.32.0.0/16")));
  EXPECT_EQ(src_.fecs(), 1u);
}

TEST_F(FpmRouteSourceTest, AZebraStreamAppliesWhole) {
  // Static, ECMP and blackhole routes as zebra sent them with next-hop
  // objects (its groups come before their members), then one route deleted.
  intfs_[2] = IntfId::ethernet(2);
  intfs_[3] = IntfId::ethernet(3);
  std::ifstream f(KOR_FUZZ_DIR "/corpus/fpm/zebra-nhg-static.bin", std::ios::binary);
  ASSERT_TRUE(f);
  std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(f)), {});
  KorFeeds::FpmFrameReader reader;
  KorFeeds::NetlinkDecoder decoder;
  reader.feed(bytes.data(), bytes.size());
  while (auto frame = reader.next())
    decoder.decodeAll(*frame, [&](KorFeeds::NetlinkDecoder::Message const& m) {
      if (auto const* r = std::get_if<NlRoute>(&m)) src_.handle(*r);
      if (auto const* o = std::get_if<NlNexthopObject>(&m)) src_.handle(*o);
    });
  auto const& c = src_.counters();
  EXPECT_EQ(c.unknownNexthop + c.unknownIntf + c.familyMismatch + c.unsupported + c.refused, 0u);
  EXPECT_EQ(fecText("198.51.100.0/24"), "forward [10.0.0.2 Ethernet3 weight 1; 10.0.0.3 Ethernet3 weight 1]");
  EXPECT_EQ(fecText("2001:db8:200::/48"),
            "forward [2001:db8::2 Ethernet3 weight 1; 2001:db8::3 Ethernet3 weight 1]");
  EXPECT_EQ(fecText("203.0.113.0/24"), "drop []");
  EXPECT_EQ(fecText("10.0.0.0/24"), "attached [0.0.0.0 Ethernet3 weight 1]");
  EXPECT_EQ(fibFec("192.0.2.0/24"), 0u);
}

}  // namespace
