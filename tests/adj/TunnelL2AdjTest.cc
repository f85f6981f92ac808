// The tunnel's own L2 adjacency as the chip sees it: whatever happens to the
// tunnel (other end points, resolved or not, removed), every tunnel path of
// every L2 adjacency the chip holds names a tunnel L2 adjacency the chip
// also holds, and the routes over the tunnel forward by its current underlay.
#include <gtest/gtest.h>

#include <string>

#include "AgentChipFixture.h"
#include "agent/intf/IntfModule.h"
#include "agent/tunnel/TunnelModule.h"
#include "agent/vrf/VrfModule.h"

namespace {

using Nollo::IntfId;
using T = Kor::NextHopEntryType;

class TunnelL2AdjTest : public KorTest::AgentChipFixture {
 protected:
  // Two underlays: 2.0.0.0/8 by FEC 1 (MAC 1), 3.0.0.0/8 by FEC 2 (MAC 2);
  // FEC 3 leaves by Tunnel1 and carries 30.0.0.0/8.
  void SetUp() override {
    AgentChipFixture::SetUp();
    module<KorAgent::VrfModule>().routingIs(Kor::VrfName("default"), true, true, true);
    auto& intfs = module<KorAgent::IntfModule>();
    intfs.intfAdd(IntfId::ethernet(1), std::nullopt, Kor::VlanId(1001), true);
    intfs.intfAdd(IntfId::ethernet(2), std::nullopt, Kor::VlanId(1002), true);
    arp("default", "10.1.0.2", 1, IntfId::ethernet(1));
    arp("default", "10.2.0.2", 2, IntfId::ethernet(2));
    fib().fecAdd(1, {via("10.1.0.2", IntfId::ethernet(1))});
    fib().fecAdd(2, {via("10.2.0.2", IntfId::ethernet(2))});
    fib().routeAdd(Kor::VrfName("default"), Nollo::IpPrefix("2.0.0.0/8"), 1);
    fib().routeAdd(Kor::VrfName("default"), Nollo::IpPrefix("3.0.0.0/8"), 2);
    fib().fecAdd(3, {via("9.9.9.9", IntfId::tunnel(1))});
    fib().routeAdd(Kor::VrfName("default"), Nollo::IpPrefix("30.0.0.0/8"), 3);
    agent_->init();
    idle();
  }

  void tunnelTo(char const* dst, uint32_t tunnel = 1) {
    Tunnel::TunnelIntfConfig cfg;
    cfg.src = Nollo::IpGenAddr("1.1.1.1");
    cfg.dst = Nollo::IpGenAddr(dst);
    module<KorAgent::TunnelModule>().tunnelAdd(IntfId::tunnel(tunnel), cfg);
    idle();
  }

  // Every tunnel path of the chip's L2 adjacencies names one the chip holds.
  void expectTunnelPathsHeld(int line = __builtin_LINE()) {
    SCOPED_TRACE(line);
    for (auto const& entry : l2adj().entries()) {
      uint64_t index = entry.first;
      auto const& coll = entry.second;
      auto check = [&](Kor::NextHopL2Info const& info) {
        if (info.type() != T::nextHopTunnel) return;
        uint64_t t = info.tunnelL2Info() ? info.tunnelL2Info() : info.tunnel6L2Info();
        EXPECT_TRUE(l2adj().has(t)) << "L2 adjacency " << index << " names tunnel L2 adjacency " << t
                                    << ", not in the chip: " << coll;
      };
      for (auto const& [nh, info] : coll.nextHop()) check(info);
      for (auto const& [key, info] : coll.nextHopBitmap()) check(info);
    }
  }

  // The MAC a chip route (30.0.0.0/8 unless given) reaches through its
  // tunnel path; 0 when the route's L2 adjacency has no tunnel path.
  uint64_t routeUnderlayMac(char const* prefix = "30.0.0.0/8") {
    auto const* route = agent_->chip()->l3().route4Table().find({Kor::VrfId(0), Nollo::IpPrefix(prefix)});
    if (!route) return 0;
    auto const* overlay = l2adj().find(route->l2AdjIndex());
    if (!overlay) return 0;
    for (auto const& [nh, info] : overlay->nextHop()) {
      if (info.type() != T::nextHopTunnel) continue;
      auto const* u = l2adj().find(info.tunnelL2Info());
      if (!u || u->nextHop().empty()) return 0;
      return u->nextHop().begin()->second.macAddr().toUint64() - mac(0).toUint64();
    }
    return 0;
  }
};

// The tunnel given other end points is another tunnel for the helper: the
// old one's L2 adjacency leaves the chip, so the adjacencies over the tunnel
// are reviewed whether or not the new end points resolve.
TEST_F(TunnelL2AdjTest, NewEndPointsReviewTheAdjacenciesOverTheTunnel) {
  tunnelTo("2.2.2.2");
  EXPECT_EQ(routeUnderlayMac(), 1u);
  expectTunnelPathsHeld();

  // To a destination no route covers: the route drops.
  tunnelTo("4.4.4.4");
  EXPECT_EQ(routeUnderlayMac(), 0u);
  expectTunnelPathsHeld();

  // Back to a routed destination, then to another one.
  tunnelTo("2.2.2.2");
  EXPECT_EQ(routeUnderlayMac(), 1u);
  tunnelTo("3.3.3.3");
  EXPECT_EQ(routeUnderlayMac(), 2u);
  expectTunnelPathsHeld();

  module<KorAgent::TunnelModule>().tunnelDel(IntfId::tunnel(1));
  idle();
  EXPECT_EQ(routeUnderlayMac(), 0u);
  expectTunnelPathsHeld();
  EXPECT_EQ(l2adj().size(), agent_->l3Status()->l2AdjListSize());
}

// Two tunnel interfaces with the same end points share the helper's
// tunnel: the one removed or given other end points takes that tunnel's L2
// adjacency along, and the other registers anew - its routes follow it.
TEST_F(TunnelL2AdjTest, TunnelsWithTheSameEndPoints) {
  fib().fecAdd(4, {via("9.9.9.8", IntfId::tunnel(2))});
  fib().routeAdd(Kor::VrfName("default"), Nollo::IpPrefix("31.0.0.0/8"), 4);
  tunnelTo("2.2.2.2", 1);
  tunnelTo("2.2.2.2", 2);
  EXPECT_EQ(routeUnderlayMac(), 1u);
  EXPECT_EQ(routeUnderlayMac("31.0.0.0/8"), 1u);

  tunnelTo("3.3.3.3", 1);
  EXPECT_EQ(routeUnderlayMac(), 2u);
  EXPECT_EQ(routeUnderlayMac("31.0.0.0/8"), 1u);
  expectTunnelPathsHeld();

  tunnelTo("2.2.2.2", 1);
  module<KorAgent::TunnelModule>().tunnelDel(IntfId::tunnel(2));
  idle();
  EXPECT_EQ(routeUnderlayMac(), 1u);
  EXPECT_EQ(routeUnderlayMac("31.0.0.0/8"), 0u);
  expectTunnelPathsHeld();
}

}  // namespace
