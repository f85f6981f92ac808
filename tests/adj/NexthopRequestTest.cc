// Next-hop requests through the whole agent over the software chip: equal
// next-hop sets share one adjacency and L2 adjacency, a request is answered
// with the chip's next-hop index and the L2 adjacency's key, the answer
// follows its next hops' layer-2 data, and the last release deletes what the
// requests created.
#include <gtest/gtest.h>

#include "AgentChipFixture.h"
#include "agent/intf/IntfModule.h"
#include "agent/nexthop/NexthopModule.h"
#include "agent/vrf/VrfModule.h"
#include "kor/adj/NexthopRequestSm.h"

namespace {

using Nollo::IntfId;

class NexthopRequestTest : public KorTest::AgentChipFixture {
 protected:
  void SetUp() override {
    AgentChipFixture::SetUp();
    agent_->module<KorAgent::VrfModule>().routingIs(Kor::VrfName("default"), true, true, true);
    agent_->module<KorAgent::IntfModule>().intfAdd(IntfId::ethernet(1), std::nullopt, Kor::VlanId(1001), true);
    arp("10.1.0.2", 1);
    arp("10.1.0.3", 3);
    // The connected subnet of Ethernet1, as the routing agent writes it.
    fib().fecAdd(1, {via("0.0.0.0", IntfId::ethernet(1))}, Kor::VrfName("default"), Quill::Fib::FecType::attached);
    fib().routeAdd(Kor::VrfName("default"), Nollo::IpPrefix("10.1.0.0/24"), 1);
    agent_->init();
    idle();
  }

  KorAgent::NexthopModule& requests() { return agent_->module<KorAgent::NexthopModule>(); }
  void arp(char const* ip, uint64_t m) { AgentChipFixture::arp("default", ip, m, IntfId::ethernet(1)); }
  void request(uint64_t id, std::initializer_list<char const*> hops) {
    Nexthop::NexthopRequest req;
    for (auto h : hops) req.nexthops.insert(Nollo::IpGenAddr(h));
    requests().requestAdd(id, req);
  }
  Nexthop::NexthopResolution answer(uint64_t id) { return requests().requestStatus()->resolution(id); }
  Kor::NextHopL2InfoCollection const* chipAdj(uint64_t key) { return l2adj().find(key); }
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

TEST_F(NexthopRequestTest, AnswerFollowsTheNextHops) {
  request(1, {"10.1.0.2"});
  // Not a neighbour: no route covers it.
  request(2, {"10.9.0.2"});
  idle();
  auto a = answer(1);
  ASSERT_TRUE(chipAdj(a.l2AdjKey));
  EXPECT_EQ(chipAdj(a.l2AdjKey)->nextHop().begin()->second.macAddr(), mac(1));
  EXPECT_EQ(answer(2), Nexthop::NexthopResolution{});

  // The next hop's MAC changes: the answer's L2 adjacency follows.
  arp("10.1.0.2", 5);
  idle();
  a = answer(1);
  ASSERT_TRUE(chipAdj(a.l2AdjKey));
  EXPECT_EQ(chipAdj(a.l2AdjKey)->nextHop().begin()->second.macAddr(), mac(5));

  // The connected route goes: unresolved; back, resolved again.
  fib().routeDel(Kor::VrfName("default"), Nollo::IpPrefix("10.1.0.0/24"));
  idle();
  EXPECT_EQ(answer(1), Nexthop::NexthopResolution{});
  fib().routeAdd(Kor::VrfName("default"), Nollo::IpPrefix("10.1.0.0/24"), 1);
  idle();
  EXPECT_NE(answer(1).nexthopIndex, 0u);

  // A request changed in place moves to the adjacency of its new set.
  auto* sm = requests().nexthopRequestSm();
  auto before = sm->requestAdj(1);
  request(1, {"10.1.0.3"});
  idle();
  EXPECT_NE(sm->requestAdj(1), before);
  EXPECT_EQ(chipAdj(answer(1).l2AdjKey)->nextHop().begin()->second.macAddr(), mac(3));
  EXPECT_EQ(sm->requestAdjs(), 2u);
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

}  // namespace
