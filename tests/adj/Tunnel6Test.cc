// IPv6 tunnels through the whole agent over the software chip: a tunnel
// whose end points are IPv6 resolves through the IPv6 routes of its underlay
// VRF, carries IPv4 and IPv6 overlay adjacencies alike, follows its underlay
// (longest match, next hop's MAC) and drops when the underlay goes.
#include "agent/intf/IntfModule.h"
#include "agent/tunnel/TunnelModule.h"
#include "agent/vrf/VrfModule.h"
#include "AgentChipFixture.h"

namespace {

using Nollo::IntfId;
using T = Kor::NextHopEntryType;

Kor::VrfName const kDefault("default");

class Tunnel6Test : public KorTest::AgentChipFixture {
 protected:
  void SetUp() override {
    AgentChipFixture::SetUp();
    module<KorAgent::VrfModule>().routingIs(kDefault, true, true, true);
    auto& intfs = module<KorAgent::IntfModule>();
    intfs.intfAdd(IntfId::ethernet(1), std::nullopt, Kor::VlanId(1001), true);
    intfs.intfAdd(IntfId::ethernet(2), std::nullopt, Kor::VlanId(1002), true);
    arp("default", "2001:db8:1::2", 1, IntfId::ethernet(1));
    arp("default", "2001:db8:3::2", 2, IntfId::ethernet(2));
    fib().fecAdd(1, {via("2001:db8:1::2", IntfId::ethernet(1))});
    fib().fecAdd(2, {via("2001:db8:3::2", IntfId::ethernet(2))});
    route("2001:db8:2::/48", 1);
    // Overlay FECs of both families over Tunnel1.
    fib().fecAdd(3, {via("10.99.0.1", IntfId::tunnel(1))});
    fib().fecAdd(4, {via("2001:db8:99::1", IntfId::tunnel(1))});
    route("30.0.0.0/8", 3);
    route("2001:db8:30::/48", 4);
    agent_->init();
    idle();
  }

  KorAgent::TunnelModule& tunnels() { return module<KorAgent::TunnelModule>(); }
  void route(std::string const& p, uint64_t fec) {
    if (p.find(':') == std::string::npos) fib().routeAdd(kDefault, Nollo::IpPrefix(p), fec);
    else fib().routeAdd(kDefault, Nollo::Ip6Prefix(p), fec);
  }
  void addTunnel() {
    Tunnel::TunnelIntfConfig cfg;
    cfg.type = Tunnel::TunnelType::gre;
    cfg.src = Nollo::IpGenAddr("2001:db8:1::1");
    cfg.dst = Nollo::IpGenAddr("2001:db8:2::2");
    tunnels().tunnelAdd(IntfId::tunnel(1), cfg);
    idle();
  }
  Tunnel::TunnelIntfStatus status() { return tunnels().tunnelStatus()->tunnel(IntfId::tunnel(1)); }

  // What the chip forwards the FEC's packets through: the underlay path of
  // its IPv6 tunnel path (nextHopDrop when it has none).
  Kor::NextHopL2Info underlay(uint64_t fec) {
    auto const* overlay = chipL2Adj(fec);
    if (!overlay) return {};
    for (auto const& [nh, info] : overlay->nextHop()) {
      if (info.type() != T::nextHopTunnel) continue;
      EXPECT_EQ(info.tunnelL2Info(), 0u);  // an IPv6 tunnel's L2 adjacency
      auto const* u = l2adj().find(info.tunnel6L2Info());
      if (!u || u->nextHop().size() != 1) return {};
      return u->nextHop().begin()->second;
    }
    return Kor::NextHopL2Info(T::nextHopDrop);
  }
};

TEST_F(Tunnel6Test, BothOverlaysFollowTheIpv6Underlay) {
  EXPECT_EQ(underlay(3).type(), T::nextHopDrop);
  addTunnel();
  EXPECT_TRUE(status().resolved);
  EXPECT_EQ(status().underlayPrefix, "2001:db8:2::/48");
  EXPECT_EQ(Quill::Fib::FecId(status().underlayFec).str(), "1");
  for (uint64_t fec : {3, 4}) {
    EXPECT_EQ(underlay(fec).type(), T::nextHopArpResolved) << fec;
    EXPECT_EQ(underlay(fec).macAddr(), mac(1)) << fec;
  }

  // A longer route to the destination wins; it going, the shorter is back.
  route("2001:db8:2::2/128", 2);
  idle();
  EXPECT_EQ(status().underlayPrefix, "2001:db8:2::2/128");
  EXPECT_EQ(underlay(4).macAddr(), mac(2));
  EXPECT_EQ(underlay(3).intfId(), IntfId::ethernet(2));
  fib().routeDel(kDefault, Nollo::Ip6Prefix("2001:db8:2::2/128"));
  idle();
  EXPECT_EQ(underlay(3).macAddr(), mac(1));

  // The underlay neighbour's MAC changes.
  arp("default", "2001:db8:1::2", 5, IntfId::ethernet(1));
  idle();
  EXPECT_EQ(underlay(3).macAddr(), mac(5));
  EXPECT_EQ(underlay(4).macAddr(), mac(5));

  // No route to the destination: unresolved, both overlays drop; back again.
  fib().routeDel(kDefault, Nollo::Ip6Prefix("2001:db8:2::/48"));
  idle();
  EXPECT_FALSE(status().resolved);
  EXPECT_EQ(underlay(3).type(), T::nextHopDrop);
  EXPECT_EQ(underlay(4).type(), T::nextHopDrop);
  route("2001:db8::/32", 2);
  idle();
  EXPECT_EQ(underlay(4).macAddr(), mac(2));

  // Removed: the overlays drop and only adjacencies' L2 adjacencies stay.
  tunnels().tunnelDel(IntfId::tunnel(1));
  idle();
  EXPECT_EQ(underlay(3).type(), T::nextHopDrop);
  EXPECT_EQ(underlay(4).type(), T::nextHopDrop);
  EXPECT_EQ(l2adj().size(), agent_->l3Status()->l2AdjListSize());
}

// An IPv4 route does not carry an IPv6 tunnel, however well it matches the
// destination's bits.
TEST_F(Tunnel6Test, OnlyTheUnderlayFamilyCounts) {
  fib().routeDel(kDefault, Nollo::Ip6Prefix("2001:db8:2::/48"));
  arp("default", "10.1.0.2", 7, IntfId::ethernet(1));
  fib().fecAdd(5, {via("10.1.0.2", IntfId::ethernet(1))});
  route("0.0.0.0/0", 5);
  addTunnel();
  EXPECT_FALSE(status().resolved);
  EXPECT_EQ(status().underlayPrefix, "");
  EXPECT_EQ(underlay(4).type(), T::nextHopDrop);
  route("::/0", 1);
  idle();
  EXPECT_TRUE(status().resolved);
  EXPECT_EQ(underlay(4).macAddr(), mac(1));
}

}  // namespace
