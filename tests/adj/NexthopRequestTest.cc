// Next-hop requests through the whole agent over the software chip, one
// suite for both families: equal next-hop sets share one adjacency and L2
// adjacency, a request is answered with the chip's next-hop index and the
// L2 adjacency's key, the answer follows its next hops' layer-2 data and
// the connected subnet, the last release deletes what the requests created,
// and an IPv6 neighbour without layer-2 data is asked of the VRF's IPv6
// neighbour machine until the neighbour table has it resolved.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "AgentChipFixture.h"
#include "agent/intf/IntfModule.h"
#include "agent/nexthop/NexthopModule.h"
#include "agent/vrf/VrfModule.h"
#include "kor/adj/NexthopRequestSm.h"
#include "kor/l3/VrfRootSm.h"

namespace {

using Nollo::IntfId;

Kor::VrfName const kDefault("default");

// The addresses of one family: host n of the connected subnet of
// Ethernet1, and the subnet itself.
struct Ip4 {
  static constexpr bool v6 = false;
  static std::string hop(int n) { return "10.1.0." + std::to_string(n); }
  static constexpr char const* offSubnet = "10.9.0.2";
  static constexpr char const* any = "0.0.0.0";
  static Nollo::IpPrefix subnet() { return Nollo::IpPrefix("10.1.0.0/24"); }
};
struct Ip6 {
  static constexpr bool v6 = true;
  static std::string hop(int n) { return "2001:db8:1::" + std::to_string(n); }
  static constexpr char const* offSubnet = "2001:db8:9::2";
  static constexpr char const* any = "::";
  static Nollo::Ip6Prefix subnet() { return Nollo::Ip6Prefix("2001:db8:1::/64"); }
};

template <class F>
class NexthopRequestT : public KorTest::AgentChipFixture {
 protected:
  void SetUp() override {
    AgentChipFixture::SetUp();
    module<KorAgent::VrfModule>().routingIs(kDefault, true, true, true);
    module<KorAgent::IntfModule>().intfAdd(IntfId::ethernet(1), std::nullopt, Kor::VlanId(1001), true);
    neigh(F::hop(2).c_str(), 1);
    // The connected subnet of Ethernet1, as the routing agent writes it.
    fib().fecAdd(1, {via(F::any, IntfId::ethernet(1))}, kDefault, Quill::Fib::FecType::attached, F::v6);
    subnetIs(true);
    agent_->init();
    idle();
  }

  void subnetIs(bool on) {
    if (on) fib().routeAdd(kDefault, F::subnet(), 1);
    else fib().routeDel(kDefault, F::subnet());
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
};

using Families = ::testing::Types<Ip4, Ip6>;
TYPED_TEST_SUITE(NexthopRequestT, Families);

TYPED_TEST(NexthopRequestT, AnswerFollowsTheNextHops) {
  using F = TypeParam;
  std::string const h2 = F::hop(2), h3 = F::hop(3);
  this->request(1, {h2.c_str()});
  // Not a neighbour: no route covers it.
  this->request(2, {F::offSubnet});
  this->idle();
  auto a = this->answer(1);
  ASSERT_NE(a.nexthopIndex, 0u);
  ASSERT_TRUE(this->chipAdj(a.l2AdjKey));
  EXPECT_EQ(this->chipAdj(a.l2AdjKey)->nextHop().begin()->second.macAddr(), this->mac(1));
  EXPECT_EQ(this->answer(2), Nexthop::NexthopResolution{});

  // The next hop's MAC changes: the answer's L2 adjacency follows.
  this->neigh(h2.c_str(), 5);
  this->idle();
  a = this->answer(1);
  ASSERT_TRUE(this->chipAdj(a.l2AdjKey));
  EXPECT_EQ(this->chipAdj(a.l2AdjKey)->nextHop().begin()->second.macAddr(), this->mac(5));

  // The connected subnet goes: unresolved; back, resolved again.
  this->subnetIs(false);
  this->idle();
  EXPECT_EQ(this->answer(1), Nexthop::NexthopResolution{});
  this->subnetIs(true);
  this->idle();
  EXPECT_NE(this->answer(1).nexthopIndex, 0u);

  // A request changed in place moves to the adjacency of its new set.
  this->neigh(h3.c_str(), 3);
  this->idle();
  auto* sm = this->requests().nexthopRequestSm();
  auto before = sm->requestAdj(1);
  this->request(1, {h3.c_str()});
  this->idle();
  EXPECT_NE(sm->requestAdj(1), before);
  EXPECT_EQ(this->chipAdj(this->answer(1).l2AdjKey)->nextHop().begin()->second.macAddr(), this->mac(3));
  EXPECT_EQ(sm->requestAdjs(), 2u);
}

class NexthopRequestTest : public NexthopRequestT<Ip4> {
 protected:
  void SetUp() override {
    NexthopRequestT::SetUp();
    neigh("10.1.0.3", 3);
    idle();
  }
};

TEST_F(NexthopRequestTest, EqualSetsShareAndTheLastReleaseDeletes) {
  auto* sm = requests().nexthopRequestSm();
  size_t const chipBefore = agent_->chip()->adj().l2AdjTable().size();
  request(1, {"10.1.0.2", "10.1.0.3"});
  request(2, {"10.1.0.3", "10.1.0.2"});
  request(3, {"10.1.0.2"});
  idle();
  ASSERT_TRUE(sm->requestAdj(1));
  EXPECT_EQ(sm->requestAdj(1), sm->requestAdj(2));
  EXPECT_NE(sm->requestAdj(1), sm->requestAdj(3));
  EXPECT_EQ(sm->requestAdj(1)->pbr(), 2u);
  EXPECT_EQ(sm->requestAdj(3)->pbr(), 1u);
  EXPECT_GE(sm->requestAdj(1)->adjIndex(), Kor::NexthopRequestSm::kFirstAdjIndex);
  auto const a = answer(1);
  ASSERT_NE(a.nexthopIndex, 0u);
  EXPECT_EQ(answer(2), a);
  auto const* programmed = chipAdj(a.l2AdjKey);
  ASSERT_TRUE(programmed);
  EXPECT_EQ(programmed->nextHop().size(), 2u);
  EXPECT_NE(answer(3).l2AdjKey, a.l2AdjKey);
  EXPECT_EQ(agent_->chip()->adj().l2AdjTable().size(), chipBefore + 2);

  // One user released: the other keeps the shared adjacency and its answer.
  requests().requestDel(1);
  idle();
  EXPECT_FALSE(requests().requestStatus()->resolutionHas(1));
  EXPECT_EQ(answer(2), a);
  EXPECT_EQ(sm->requestAdj(2)->pbr(), 1u);
  // The last one released: the adjacency and its L2 adjacency are gone.
  requests().requestDel(2);
  idle();
  EXPECT_FALSE(sm->requestAdj(2));
  EXPECT_EQ(sm->requestAdjs(), 1u);
  EXPECT_FALSE(chipAdj(a.l2AdjKey));
  requests().requestDel(3);
  idle();
  EXPECT_EQ(sm->requestAdjs(), 0u);
  EXPECT_EQ(agent_->chip()->adj().l2AdjTable().size(), chipBefore);
}

// A chip that refuses the L2 adjacency leaves the request unanswered until
// the retry after the chip takes it.
TEST_F(NexthopRequestTest, RefusedWriteIsRetried) {
  agent_->chip()->injector().kindFaultIs("l2adj", SoftChip::ChipAnswer::notReady);
  request(1, {"10.1.0.3"});
  agent_->runFor(1.0);
  EXPECT_EQ(answer(1).nexthopIndex, 0u);
  agent_->chip()->injector().faultsDelAll();
  agent_->runFor(1.0);
  idle();
  EXPECT_NE(answer(1).nexthopIndex, 0u);
  EXPECT_TRUE(chipAdj(answer(1).l2AdjKey));
}

class NexthopRequest6Test : public NexthopRequestT<Ip6> {
 protected:
  // What the VRF's IPv6 neighbour machine was asked to resolve.
  std::set<Nollo::IpAddr6> asked() {
    return agent_->vrfRootSm()->vrfRoot(kDefault)->korIp6NeighSm()->resolutionRequests();
  }
};

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
