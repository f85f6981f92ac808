// Tunnels and port-channel hardware ids through the whole agent over the
// software chip: an adjacency over a tunnel interface resolves once its
// tunnel does and follows the tunnel's underlay (the longest route to its
// destination in the underlay VRF, that route's FEC, the next hop's MAC);
// it leaves the tunnel out again when the underlay route goes. A port
// channel's new hardware id reaches exactly the L2 adjacencies resolved to it.
#include <gtest/gtest.h>

#include <string>

#include "AgentChipFixture.h"
#include "agent/intf/IntfModule.h"
#include "agent/tunnel/TunnelModule.h"
#include "agent/vrf/VrfModule.h"

namespace {

using KorAgent::FibModule;
using Nollo::IntfId;
using T = Kor::NextHopEntryType;

class TunnelTest : public KorTest::AgentChipFixture {
 protected:
  void SetUp() override {
    AgentChipFixture::SetUp();
    module<KorAgent::VrfModule>().routingIs(Kor::VrfName("default"), true, true, true);
  }

  KorAgent::TunnelModule& tunnels() { return agent_->module<KorAgent::TunnelModule>(); }
  void via(uint64_t id, char const* hop, IntfId intf, bool update = false) {
    if (update) fib().fecUpdate(id, {AgentChipFixture::via(hop, intf)});
    else fib().fecAdd(id, {AgentChipFixture::via(hop, intf)});
  }
  // What the chip forwards the FEC's packets through: the underlay path of
  // its tunnel path, read from the chip's own L2 adjacency of the tunnel
  // (type nextHopDrop when the FEC has no tunnel path).
  Kor::NextHopL2Info underlay(uint64_t fec) {
    auto const* overlay = chipL2Adj(fec);
    if (!overlay) return {};
    for (auto const& [nh, info] : overlay->nextHop()) {
      if (info.type() != T::nextHopTunnel) continue;
      auto const* u = agent_->chip()->adj().l2AdjTable().find(info.tunnelL2Info());
      if (!u || u->nextHop().size() != 1) return {};
      return u->nextHop().begin()->second;
    }
    return Kor::NextHopL2Info(T::nextHopDrop);
  }
};

TEST_F(TunnelTest, AdjacencyFollowsTheTunnelUnderlay) {
  auto& intfs = agent_->module<KorAgent::IntfModule>();
  intfs.intfAdd(IntfId::ethernet(1), std::nullopt, Kor::VlanId(1001), true);
  intfs.intfAdd(IntfId::ethernet(2), std::nullopt, Kor::VlanId(1002), true);
  auto& neigh = agent_->module<KorAgent::NeighbourModule>();
  neigh.arpAdd(Kor::VrfName("default"), Nollo::IpGenAddr("10.1.0.2"), mac(1), IntfId::ethernet(1));
  neigh.arpAdd(Kor::VrfName("default"), Nollo::IpGenAddr("10.2.0.2"), mac(2), IntfId::ethernet(2));
  via(1, "10.1.0.2", IntfId::ethernet(1));
  via(2, "10.2.0.2", IntfId::ethernet(2));
  fib().routeAdd(Kor::VrfName("default"), Nollo::IpPrefix("2.2.0.0/16"), 1);
  via(3, "2.2.2.2", IntfId::tunnel(1));
  fib().routeAdd(Kor::VrfName("default"), Nollo::IpPrefix("30.0.0.0/8"), 3);
  agent_->init();
  idle();
  // No tunnel yet: the FEC has no path that forwards.
  EXPECT_EQ(underlay(3).type(), T::nextHopDrop);

  Tunnel::TunnelIntfConfig cfg;
  cfg.src = Nollo::IpGenAddr("1.1.1.1");
  cfg.dst = Nollo::IpGenAddr("2.2.2.2");
  tunnels().tunnelAdd(IntfId::tunnel(1), cfg);
  idle();
  EXPECT_EQ(underlay(3).type(), T::nextHopArpResolved);
  EXPECT_EQ(underlay(3).macAddr(), mac(1));
  auto status = tunnels().tunnelStatus()->tunnel(IntfId::tunnel(1));
  EXPECT_TRUE(status.resolved);
  EXPECT_EQ(status.underlayPrefix, "2.2.0.0/16");
  EXPECT_EQ(Quill::Fib::FecId(status.underlayFec).str(), "1");
  // The route over the tunnel FEC is programmed on the FEC's L2 adjacency.
  auto const* route = agent_->chip()->l3().route4Table().find({Kor::VrfId(0), Nollo::IpPrefix("30.0.0.0/8")});
  ASSERT_TRUE(route);
  EXPECT_EQ(agent_->chip()->adj().l2AdjTable().find(route->l2AdjIndex()), chipL2Adj(3));

  // The underlay route moves to another FEC.
  fib().routeAdd(Kor::VrfName("default"), Nollo::IpPrefix("2.2.0.0/16"), 2);
  idle();
  EXPECT_EQ(underlay(3).macAddr(), mac(2));
  EXPECT_EQ(underlay(3).intfId(), IntfId::ethernet(2));

  // The underlay next hop's MAC changes.
  neigh.arpAdd(Kor::VrfName("default"), Nollo::IpGenAddr("10.2.0.2"), mac(3), IntfId::ethernet(2));
  idle();
  EXPECT_EQ(underlay(3).macAddr(), mac(3));

  // The underlay FEC's vias change.
  via(2, "10.1.0.2", IntfId::ethernet(1), true);
  idle();
  EXPECT_EQ(underlay(3).macAddr(), mac(1));

  // A longer route to the destination wins.
  fib().routeAdd(Kor::VrfName("default"), Nollo::IpPrefix("2.2.2.2/32"), 1);
  via(2, "10.2.0.2", IntfId::ethernet(2), true);
  idle();
  EXPECT_EQ(tunnels().tunnelStatus()->tunnel(IntfId::tunnel(1)).underlayPrefix, "2.2.2.2/32");
  EXPECT_EQ(underlay(3).macAddr(), mac(1));
  fib().routeDel(Kor::VrfName("default"), Nollo::IpPrefix("2.2.2.2/32"));
  idle();
  EXPECT_EQ(underlay(3).macAddr(), mac(3));

  // No route to the destination any more: unresolved, the FEC drops.
  fib().routeDel(Kor::VrfName("default"), Nollo::IpPrefix("2.2.0.0/16"));
  idle();
  EXPECT_EQ(underlay(3).type(), T::nextHopDrop);
  EXPECT_FALSE(tunnels().tunnelStatus()->tunnel(IntfId::tunnel(1)).resolved);
  // ... until one comes back.
  fib().routeAdd(Kor::VrfName("default"), Nollo::IpPrefix("2.0.0.0/8"), 1);
  idle();
  EXPECT_EQ(underlay(3).macAddr(), mac(1));

  // The tunnel removed: the FEC drops, its status is gone, and the only L2
  // adjacencies left in the chip are those of adjacencies.
  tunnels().tunnelDel(IntfId::tunnel(1));
  idle();
  EXPECT_EQ(underlay(3).type(), T::nextHopDrop);
  EXPECT_FALSE(tunnels().tunnelStatus()->tunnelHas(IntfId::tunnel(1)));
  EXPECT_EQ(agent_->chip()->adj().l2AdjTable().size(), agent_->l3Status()->l2AdjListSize());
}

// A tunnel whose underlay lives in another VRF resolves through that VRF's
// routes only.
TEST_F(TunnelTest, UnderlayInAnotherVrf) {
  agent_->module<KorAgent::VrfModule>().vrfAdd(Kor::VrfName("red"));
  auto& intfs = agent_->module<KorAgent::IntfModule>();
  intfs.intfAdd(IntfId::ethernet(1), Kor::VrfName("red"), Kor::VlanId(1001), true);
  agent_->module<KorAgent::NeighbourModule>().arpAdd(Kor::VrfName("red"), Nollo::IpGenAddr("10.1.0.2"), mac(1),
                                                     IntfId::ethernet(1));
  FibModule::Via v;
  v.hop = Nollo::IpGenAddr("10.1.0.2");
  v.intf = IntfId::ethernet(1);
  fib().fecAdd(1, {v}, Kor::VrfName("red"));
  via(3, "2.2.2.2", IntfId::tunnel(1));
  Tunnel::TunnelIntfConfig cfg;
  cfg.type = Tunnel::TunnelType::gre;
  cfg.src = Nollo::IpGenAddr("1.1.1.1");
  cfg.dst = Nollo::IpGenAddr("2.2.2.2");
  cfg.underlayVrf = "red";
  tunnels().tunnelAdd(IntfId::tunnel(1), cfg);
  agent_->init();
  idle();
  EXPECT_EQ(underlay(3).type(), T::nextHopDrop);
  // A route in the default VRF does not count.
  via(2, "10.1.0.2", IntfId::ethernet(1));
  fib().routeAdd(Kor::VrfName("default"), Nollo::IpPrefix("2.2.2.0/24"), 2);
  idle();
  EXPECT_EQ(underlay(3).type(), T::nextHopDrop);
  fib().routeAdd(Kor::VrfName("red"), Nollo::IpPrefix("2.2.2.0/24"), 1);
  idle();
  EXPECT_EQ(underlay(3).macAddr(), mac(1));
  // The encapsulation is part of the tunnel's own L2 data.
  auto idx = tunnels().tunnelStatus()->tunnel(IntfId::tunnel(1)).l2AdjIndex;
  ASSERT_TRUE(agent_->chip()->adj().l2AdjTable().find(idx));
  EXPECT_EQ(agent_->chip()->adj().l2AdjTable().find(idx)->greKeyType(), 1);
}

// Two next hops on VLAN 10, one behind a port channel, one behind a port:
// a new hardware id of the port channel rewrites its L2 adjacency only.
TEST_F(TunnelTest, LagHardwareIdChangeReprogramsItsAdjacencies) {
  auto& intfs = agent_->module<KorAgent::IntfModule>();
  intfs.intfAdd(IntfId::vlan(10), std::nullopt, Kor::VlanId(10));
  intfs.intfAdd(IntfId::ethernet(3), std::nullopt, std::nullopt);
  intfs.intfAdd(IntfId::portChannel(7), std::nullopt, std::nullopt);
  auto& neigh = agent_->module<KorAgent::NeighbourModule>();
  neigh.arpAdd(Kor::VrfName("default"), Nollo::IpGenAddr("10.1.0.2"), mac(1), IntfId::vlan(10));
  neigh.arpAdd(Kor::VrfName("default"), Nollo::IpGenAddr("10.1.0.3"), mac(2), IntfId::vlan(10));
  neigh.macAdd(Kor::VlanId(10), mac(1), IntfId::portChannel(7));
  neigh.macAdd(Kor::VlanId(10), mac(2), IntfId::ethernet(3));
  via(1, "10.1.0.2", IntfId::vlan(10));
  via(2, "10.1.0.3", IntfId::vlan(10));
  agent_->init();
  idle();
  auto lagPath = [&] { return chipL2Adj(1)->nextHop().begin()->second; };
  ASSERT_TRUE(chipL2Adj(1) && chipL2Adj(2));
  ASSERT_EQ(lagPath().intfId(), IntfId::portChannel(7));
  EXPECT_EQ(lagPath().hwLagId(), 7u);
  auto const portAdj = *chipL2Adj(2);
  auto& helper = agent_->chip()->adj().softAdjSmHelper();
  uint64_t writes = helper.opCount("createAdj") + helper.opCount("updateAdj");

  tunnels().lagHwIdIs(IntfId::portChannel(7), 70);
  idle();
  EXPECT_EQ(lagPath().hwLagId(), 70u);
  EXPECT_EQ(*chipL2Adj(2), portAdj);
  EXPECT_EQ(helper.opCount("createAdj") + helper.opCount("updateAdj"), writes + 1);
  // The same id again changes nothing; back to its number rewrites it again.
  tunnels().lagHwIdIs(IntfId::portChannel(7), 70);
  idle();
  EXPECT_EQ(helper.opCount("createAdj") + helper.opCount("updateAdj"), writes + 1);
  tunnels().lagHwIdIs(IntfId::portChannel(7), 0);
  idle();
  EXPECT_EQ(lagPath().hwLagId(), 7u);
}

}  // namespace
