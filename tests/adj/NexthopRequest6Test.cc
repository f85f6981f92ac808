// IPv6 next-hop requests through the whole agent over the software chip:
// the answer follows the IPv6 neighbours and the connected IPv6 subnet, and
// a requested neighbour without layer-2 data is asked of the VRF's IPv6
// neighbour machine until the neighbour table has it resolved.
#include "agent/intf/IntfModule.h"
#include "agent/nexthop/NexthopModule.h"
#include "agent/vrf/VrfModule.h"
#include "kor/adj/NexthopRequestSm.h"
#include "kor/l3/VrfRootSm.h"
#include "AgentChipFixture.h"

namespace {

using Nollo::IntfId;

Kor::VrfName const kDefault("default");

class NexthopRequest6Test : public KorTest::AgentChipFixture {
 protected:
  void SetUp() override {
    AgentChipFixture::SetUp();
    module<KorAgent::VrfModule>().routingIs(kDefault, true, true, true);
    module<KorAgent::IntfModule>().intfAdd(IntfId::ethernet(1), std::nullopt, Kor::VlanId(1001), true);
    neigh("2001:db8:1::2", 1);
    // The connected IPv6 subnet of Ethernet1.
    fib().fecAdd(1, {via("::", IntfId::ethernet(1))}, kDefault, Quill::Fib::FecType::attached, true);
    fib().routeAdd(kDefault, Nollo::Ip6Prefix("2001:db8:1::/64"), 1);
    agent_->init();
    idle();
  }

  KorAgent::NexthopModule& requests() { return module<KorAgent::NexthopModule>(); }
  void neigh(char const* ip, uint64_t m) { arp("default", ip, m, IntfId::ethernet(1)); }
  void request(uint64_t id, std::initializer_list<char const*> hops) {
    Nexthop::NexthopRequest req;
    for (auto h : hops) req.nexthops.insert(Nollo::IpGenAddr(h));
    requests().requestAdd(id, req);
  }
  Nexthop::NexthopResolution answer(uint64_t id) { return requests().requestStatus()->resolution(id); }
  Kor::NextHopL2InfoCollection const* chipAdj(uint64_t key) { return l2adj().find(key); }
  // What the VRF's IPv6 neighbour machine was asked to resolve.
  std::set<Nollo::IpAddr6> asked() {
    return agent_->vrfRootSm()->vrfRoot(kDefault)->korIp6NeighSm()->resolutionRequests();
  }
};

TEST_F(NexthopRequest6Test, AnswerFollowsTheIpv6Neighbours) {
  request(1, {"2001:db8:1::2"});
  // Not a neighbour: no route covers it.
  request(2, {"2001:db8:9::2"});
  idle();
  auto a = answer(1);
  ASSERT_NE(a.nexthopIndex, 0u);
  ASSERT_TRUE(chipAdj(a.l2AdjKey));
  EXPECT_EQ(chipAdj(a.l2AdjKey)->nextHop().begin()->second.macAddr(), mac(1));
  EXPECT_EQ(answer(2), Nexthop::NexthopResolution{});

  neigh("2001:db8:1::2", 5);
  idle();
  a = answer(1);
  ASSERT_TRUE(chipAdj(a.l2AdjKey));
  EXPECT_EQ(chipAdj(a.l2AdjKey)->nextHop().begin()->second.macAddr(), mac(5));

  // The connected subnet goes: unresolved; back, resolved again.
  fib().routeDel(kDefault, Nollo::Ip6Prefix("2001:db8:1::/64"));
  idle();
  EXPECT_EQ(answer(1), Nexthop::NexthopResolution{});
  fib().routeAdd(kDefault, Nollo::Ip6Prefix("2001:db8:1::/64"), 1);
  idle();
  EXPECT_NE(answer(1).nexthopIndex, 0u);
}

TEST_F(NexthopRequest6Test, UnresolvedNeighbourIsAskedForUntilResolved) {
  // ::3 is on the subnet but has no neighbour entry; ::9 is off it.
  request(1, {"2001:db8:1::2", "2001:db8:1::3"});
  request(2, {"2001:db8:9::9"});
  idle();
  EXPECT_EQ(asked(), (std::set<Nollo::IpAddr6>{Nollo::IpAddr6("2001:db8:1::3")}));
  auto const a = answer(1);
  ASSERT_NE(a.nexthopIndex, 0u);
  EXPECT_EQ(chipAdj(a.l2AdjKey)->nextHop().size(), 2u);

  // The neighbour table resolves it: the request is done, the answer's L2
  // adjacency forwards to both.
  neigh("2001:db8:1::3", 3);
  idle();
  EXPECT_TRUE(asked().empty());
  auto const* programmed = chipAdj(answer(1).l2AdjKey);
  ASSERT_TRUE(programmed);
  size_t resolved = 0;
  for (auto const& [nh, info] : programmed->nextHop()) resolved += info.type() == Kor::NextHopEntryType::nextHopArpResolved;
  EXPECT_EQ(resolved, 2u);
  EXPECT_TRUE(agent_->vrfRootSm()->neighDef()->requestMap().empty());
}

// A VRF the ARP agent has not named yet (no neighbour of it so far) keeps
// the request deferred; its first neighbour entry names it, and the request
// drains into its neighbour machine.
TEST_F(NexthopRequest6Test, RequestWaitsForTheVrfsNeighbourTable) {
  Kor::VrfName const red("red");
  module<KorAgent::VrfModule>().vrfAdd(red);
  module<KorAgent::IntfModule>().intfAdd(IntfId::ethernet(2), red, Kor::VlanId(1002), true);
  fib().fecAdd(2, {via("::", IntfId::ethernet(2))}, red, Quill::Fib::FecType::attached, true);
  fib().routeAdd(red, Nollo::Ip6Prefix("2001:db8:2::/64"), 2);
  Nexthop::NexthopRequest req;
  req.vrf = "red";
  req.nexthops.insert(Nollo::IpGenAddr("2001:db8:2::5"));
  requests().requestAdd(1, req);
  idle();
  auto const& deferred = agent_->vrfRootSm()->neighDef()->requestMap();
  ASSERT_EQ(deferred.size(), 1u);
  EXPECT_EQ(deferred.begin()->first.vrfName, red);

  arp("red", "2001:db8:2::6", 6, IntfId::ethernet(2));
  idle();
  EXPECT_TRUE(deferred.empty());
  EXPECT_EQ(agent_->vrfRootSm()->vrfRoot(red)->korIp6NeighSm()->resolutionRequests(),
            (std::set<Nollo::IpAddr6>{Nollo::IpAddr6("2001:db8:2::5")}));
}

}  // namespace
