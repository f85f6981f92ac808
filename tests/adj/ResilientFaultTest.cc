// Resilient ECMP through the whole agent over the software chip: a table
// over a tunnel FEC follows the tunnel's L2 adjacency, a restart over the
// kept chip adopts the tables the chip holds, weights set the shares, and
// only next hops that can forward hold buckets.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "AgentChipFixture.h"
#include "softchip/adj/BucketWriteCounter.h"
#include "softchip/adj/SoftAdjSmHelper.h"

namespace {

class ResilientFaultTest : public KorTest::AgentChipFixture {
 protected:
  // The chip's L2 adjacency of a default-VRF IPv4 route (null: none).
  Kor::NextHopL2InfoCollection const* routeL2(std::string const& prefix) const {
    auto const& routes = agent_->chip()->l3().route4Table().entries();
    for (auto const& [key, route] : routes)
      if (key.vrfId == Kor::VrfId(0) && key.prefix.str() == prefix)
        return agent_->chip()->adj().l2AdjTable().find(route.l2AdjIndex());
    return nullptr;
  }
  // Bucket -> next hop of a resilient route, as the chip holds it.
  std::map<uint32_t, std::string> buckets(std::string const& prefix) const {
    std::map<uint32_t, std::string> out;
    if (auto const* l2 = routeL2(prefix))
      for (auto const& [key, info] : l2->nextHopBitmap())
        for (uint32_t w = 0; w < key.second.size(); ++w)
          for (uint32_t b = 0; b < 32; ++b)
            if ((key.second[w] >> b) & 1u) out[w * 32 + b] = key.first.str();
    return out;
  }
  std::map<std::string, uint32_t> shares(std::string const& prefix) const {
    std::map<std::string, uint32_t> out;
    for (auto const& [b, nh] : buckets(prefix)) ++out[nh];
    return out;
  }
  uint64_t bucketWrites() const { return agent_->chip()->adj().softAdjSmHelper().bucketWrites().bucketWrites(); }
};

// FEC 1 over `hops` (address, VLAN), each with a MAC entry behind
// Ethernet<VLAN/10> and the first `resolved` of them with a neighbour entry,
// and the resilient prefix 10.9.0.0/16 of 4 x 3 buckets over it.
std::string resilientOver(std::vector<std::pair<std::string, int>> const& hops, size_t resolved) {
  std::string s = "set resilientEcmpSupported on\nrouting default on\n", fec = "fec add 1";
  auto line = [&s](std::initializer_list<std::string> words) {
    for (auto const& w : words) s += w;
    s += "\n";
  };
  std::set<int> vlans;
  for (size_t i = 0; i < hops.size(); ++i) {
    auto const& [ip, v] = hops[i];
    std::string const vlan = std::to_string(v), mac = std::string("00:1c:73:00:00:0").append(std::to_string(i + 1));
    if (vlans.insert(v).second) line({"intf add Vlan", vlan, " vlan ", vlan});
    if (i < resolved) line({"arp add default ", ip, " ", mac, " Vlan", vlan});
    line({"mac add ", vlan, " ", mac, " Ethernet", std::to_string(v / 10)});
    for (auto const& w : {" via ", ip.c_str(), " Vlan", vlan.c_str()}) fec += w;
  }
  line({fec});
  s += "route add default 10.9.0.0/16 fec 1\nresilient add default 10.9.0.0/16 capacity 4 redundancy 3\n";
  s += "init\nrun until idle\n";
  return s;
}
// Four next hops resolved on Vlan10.
std::string const kFourNextHops =
    resilientOver({{"10.1.0.1", 10}, {"10.1.0.2", 10}, {"10.1.0.3", 10}, {"10.1.0.4", 10}}, 4);

// The tunnel goes and comes back with an L2 adjacency of a new index: the
// resilient table over the tunnel FEC names the new one, which the chip holds.
TEST_F(ResilientFaultTest, ATableOverATunnelFollowsTheTunnelsNewL2Adjacency) {
  run(R"(set resilientEcmpSupported on
routing default on
intf add Ethernet1 routed vlan 1001
arp add default 10.1.0.2 00:1c:73:00:00:01 Ethernet1
fec add 1 via 10.1.0.2 Ethernet1
route add default 2.2.0.0/16 fec 1
fec add 3 via 2.2.2.2 Tunnel1
route add default 30.0.0.0/8 fec 3
resilient add default 30.0.0.0/8 capacity 2 redundancy 2
tunnel add Tunnel1 type gre src 1.1.1.1 dst 2.2.2.2
init
run until idle
)");
  auto tunnelPaths = [&] {
    auto const* l2 = routeL2("30.0.0.0/8");
    EXPECT_TRUE(l2) << "the resilient route has no chip L2 adjacency";
    std::set<uint64_t> out;
    if (!l2) return out;
    for (auto const& [key, info] : l2->nextHopBitmap()) {
      EXPECT_EQ(info.type(), Kor::NextHopEntryType::nextHopTunnel) << *l2;
      EXPECT_TRUE(agent_->chip()->adj().l2AdjTable().has(info.tunnelL2Info()))
          << "tunnel L2 adjacency " << info.tunnelL2Info() << " is not in the chip";
      out.insert(info.tunnelL2Info());
    }
    return out;
  };
  auto first = tunnelPaths();
  ASSERT_EQ(first.size(), 1u);
  EXPECT_EQ(buckets("30.0.0.0/8").size(), 4u);
  run("tunnel del Tunnel1\nrun until idle\ntunnel add Tunnel1 type gre src 1.1.1.1 dst 2.2.2.2\nrun until idle\n");
  auto second = tunnelPaths();
  ASSERT_EQ(second.size(), 1u);
  EXPECT_NE(first, second) << "the test wants the tunnel's L2 adjacency renumbered";
  EXPECT_EQ(agent_->command(-1, "VER"), "verify: all agree\n");
}

// A table rebalanced (a next hop gone and back) no longer has the order a
// first build gives. After a restart over the kept chip the new run adopts
// the chip's table: not one bucket written, every bucket where it was.
TEST_F(ResilientFaultTest, ARestartAfterARebalanceAdoptsTheChipsTable) {
  run(kFourNextHops);
  run("fec update 1 via 10.1.0.1 Vlan10 via 10.1.0.2 Vlan10 via 10.1.0.4 Vlan10\nrun until idle\n");
  run("fec update 1 via 10.1.0.1 Vlan10 via 10.1.0.2 Vlan10 via 10.1.0.3 Vlan10 via 10.1.0.4 Vlan10\nrun until idle\n");
  auto before = buckets("10.9.0.0/16");
  ASSERT_EQ(before.size(), 12u);
  uint64_t writes = bucketWrites();
  run("restart\nrun until idle\n");
  EXPECT_EQ(bucketWrites(), writes);
  EXPECT_EQ(buckets("10.9.0.0/16"), before);
  EXPECT_EQ(agent_->command(-1, "VER"), "verify: all agree\n");
}

// Weights set the shares (N*w/W, rounded so that the fewest buckets move):
// 3:1 over 12 buckets is 9:3; the light next hop leaving moves its 3
// buckets only; a next hop of weight 2 joining takes 4 (12*2/5 = 4.8, the
// extra bucket stays with the one already holding it).
TEST_F(ResilientFaultTest, WeightsSetTheSharesAndMovesStayMinimal) {
  run(kFourNextHops);
  std::string const heavy = "via 10.1.0.1 Vlan10 via 10.1.0.1 Vlan10 via 10.1.0.1 Vlan10";
  run("fec update 1 " + heavy + " via 10.1.0.2 Vlan10\nrun until idle\n");
  EXPECT_EQ(shares("10.9.0.0/16"), (std::map<std::string, uint32_t>{{"10.1.0.1", 9}, {"10.1.0.2", 3}}));
  uint64_t writes = bucketWrites();
  run("fec update 1 " + heavy + "\nrun until idle\n");
  EXPECT_EQ(bucketWrites() - writes, 3u);
  run("fec update 1 " + heavy + " via 10.1.0.3 Vlan10 via 10.1.0.3 Vlan10\nrun until idle\n");
  EXPECT_EQ(shares("10.9.0.0/16"), (std::map<std::string, uint32_t>{{"10.1.0.1", 8}, {"10.1.0.3", 4}}));
  EXPECT_EQ(bucketWrites() - writes, 3u + 4u);
}

// Only next hops that can forward hold buckets: one waiting for its
// neighbour holds none and takes its share once resolved; the next hops of
// a link that goes down give up their buckets and take them back when it
// comes up, the others' buckets staying where they are.
TEST_F(ResilientFaultTest, OnlyNextHopsThatForwardHoldBuckets) {
  // The fourth next hop, on Vlan20 behind Ethernet2, waits for its neighbour.
  run(resilientOver({{"10.1.0.1", 10}, {"10.1.0.2", 10}, {"10.2.0.3", 20}, {"10.2.0.4", 20}}, 3));
  using Shares = std::map<std::string, uint32_t>;
  EXPECT_EQ(shares("10.9.0.0/16"), (Shares{{"10.1.0.1", 4}, {"10.1.0.2", 4}, {"10.2.0.3", 4}}));
  uint64_t writes = bucketWrites();
  run("arp add default 10.2.0.4 00:1c:73:00:00:04 Vlan20\nrun until idle\n");
  EXPECT_EQ(shares("10.9.0.0/16"), (Shares{{"10.1.0.1", 3}, {"10.1.0.2", 3}, {"10.2.0.3", 3}, {"10.2.0.4", 3}}));
  EXPECT_EQ(bucketWrites() - writes, 3u);
  auto four = buckets("10.9.0.0/16");
  run("intf down Vlan20\nrun until idle\n");
  EXPECT_EQ(shares("10.9.0.0/16"), (Shares{{"10.1.0.1", 6}, {"10.1.0.2", 6}}));
  for (auto const& [b, nh] : buckets("10.9.0.0/16"))
    if (four.at(b).rfind("10.1.", 0) == 0) {
      EXPECT_EQ(four.at(b), nh) << "bucket " << b << " of a next hop that stayed moved";
    }
  writes = bucketWrites();
  run("intf up Vlan20\nrun until idle\n");
  EXPECT_EQ(shares("10.9.0.0/16"), (Shares{{"10.1.0.1", 3}, {"10.1.0.2", 3}, {"10.2.0.3", 3}, {"10.2.0.4", 3}}));
  EXPECT_EQ(bucketWrites() - writes, 6u);
  EXPECT_EQ(agent_->command(-1, "VER"), "verify: all agree\n");
}

}  // namespace
