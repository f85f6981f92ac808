// Resilient ECMP through the whole agent over the software chip: a table
// over a tunnel FEC follows the tunnel's L2 adjacency, a restart over the
// kept chip adopts the tables the chip holds, weights set the shares, and
// only next hops that can forward hold buckets.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>

#include "agent/Agent.h"
#include "agent/ScenarioRunner.h"
#include "softchip/SoftChip.h"
#include "softchip/adj/BucketWriteCounter.h"
#include "softchip/adj/SoftAdjSmHelper.h"
#include "vix/Time.h"

namespace {

class ResilientFaultTest : public ::testing::Test {
 protected:
  void SetUp() override {
    unsetenv("SIMULATION_VMID");
    unsetenv("KOR_ADJ_REVIEW_INTERVAL");
    agent_ = std::make_unique<KorAgent::Agent>(Vix::makePtr<Vix::ManualTimeSource>(0.0));
  }
  void run(std::string const& text) {
    std::ostringstream out;
    KorAgent::ScenarioRunner r(agent_.get(), &out);
    EXPECT_EQ(r.runText(text), 0u) << out.str();
  }
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

  std::unique_ptr<KorAgent::Agent> agent_;
};

// Four next hops resolved on a VLAN, a resilient prefix of 4 x 3 buckets.
constexpr char const* kFourNextHops = R"(set resilientEcmpSupported on
routing default on
intf add Vlan10 vlan 10
arp add default 10.1.0.1 00:1c:73:00:00:01 Vlan10
arp add default 10.1.0.2 00:1c:73:00:00:02 Vlan10
arp add default 10.1.0.3 00:1c:73:00:00:03 Vlan10
arp add default 10.1.0.4 00:1c:73:00:00:04 Vlan10
mac add 10 00:1c:73:00:00:01 Ethernet1
mac add 10 00:1c:73:00:00:02 Ethernet1
mac add 10 00:1c:73:00:00:03 Ethernet1
mac add 10 00:1c:73:00:00:04 Ethernet1
fec add 1 via 10.1.0.1 Vlan10 via 10.1.0.2 Vlan10 via 10.1.0.3 Vlan10 via 10.1.0.4 Vlan10
route add default 10.9.0.0/16 fec 1
resilient add default 10.9.0.0/16 capacity 4 redundancy 3
init
run until idle
)";

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

}  // namespace
