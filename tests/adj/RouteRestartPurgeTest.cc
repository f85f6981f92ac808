// The route machines across restarts and late hardware settings, on the
// agent over the software chip: routes programmed before uRPF was on or
// under other exact-match lengths are purged and programmed again, a
// restart that changes nothing wakes no consumer of the hand-over lists, a
// raised maxEcmp lets the routes of a refused FEC in, and a route that moves
// to a FEC not yet published keeps forwarding on its old one.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "AgentChipFixture.h"
#include "agent/chip/ChipModule.h"
#include "agent/intf/IntfModule.h"
#include "agent/routing/RoutingInputsModule.h"
#include "agent/vrf/VrfModule.h"
#include "quill/RouteStatus.h"

namespace {

using Nollo::IntfId;

class RouteRestartPurgeTest : public KorTest::AgentChipFixture {
 protected:
  void SetUp() override {
    AgentChipFixture::SetUp();
    module<KorAgent::VrfModule>().routingIs(def_, true, true, true);
    module<KorAgent::IntfModule>().intfAdd(IntfId::vlan(10), std::nullopt, Kor::VlanId(10));
    for (int h = 2; h <= 5; ++h) {
      arp("default", ("10.1.0." + std::to_string(h)).c_str(), h, IntfId::vlan(10));
      arp("default", ("2001:db8::" + std::to_string(h)).c_str(), h, IntfId::vlan(10));
    }
    fib().fecAdd(1, {via("10.1.0.2")});
    fib().fecAdd(2, {via("10.1.0.3"), via("10.1.0.4")});
    fib().fecAdd(6, {via("2001:db8::2")});
    for (int i = 0; i < 4; ++i) fib().routeAdd(def_, Nollo::IpPrefix("10." + std::to_string(10 + i) + ".0.0/16"), 1 + i % 2);
    fib().routeAdd(def_, Nollo::Ip6Prefix("2001:db8:1::/64"), 6);
    fib().routeAdd(def_, Nollo::Ip6Prefix("2001:db8:2::/48"), 6);
  }

  // A next hop on Vlan10.
  static KorAgent::FibModule::Via via(char const* hop) { return AgentChipFixture::via(hop, IntfId::vlan(10)); }
  KorAgent::ChipModule& chipModule() { return agent_->module<KorAgent::ChipModule>(); }
  SoftChip::L3Chip& l3() { return agent_->chip()->l3(); }
  void start() {
    agent_->init();
    settle();
  }
  void restart(std::function<void()> const& whileDown = {}) {
    before_ = {l3().route4Table().counters(), l3().route6Table().counters(), l3().route6EmTable().counters()};
    agent_->restart(whileDown);
    settle();
  }
  // Deletes of each route table since the last restart().
  std::vector<uint64_t> deletes() const {
    auto& c = agent_->chip()->l3();
    return {c.route4Table().counters().deletes - before_[0].deletes,
            c.route6Table().counters().deletes - before_[1].deletes,
            c.route6EmTable().counters().deletes - before_[2].deletes};
  }
  // The chip holds every FIB route, none unprogrammed.
  void expectChipEqualsFib() {
    EXPECT_EQ(l3().route4Table().size(), 4u);
    EXPECT_EQ(l3().route6Table().size() + l3().route6EmTable().size(), 2u);
    EXPECT_EQ(agent_->l3Status()->numUnprogrammedRoutes() + agent_->l3Status()->numUnprogrammedV6Routes(), 0u);
  }

  Kor::VrfName def_{"default"};
  std::vector<SoftChip::ChipTableBase::WriteCounters> before_;
};

TEST_F(RouteRestartPurgeTest, UrpfEnabledAcrossRestartPurgesThenReprograms) {
  start();
  // uRPF going off keeps the routes: only a switch on changes their layout.
  restart();
  EXPECT_EQ(deletes(), (std::vector<uint64_t>{0, 0, 0}));
  restart([&] { agent_->module<KorAgent::RoutingInputsModule>().urpfEnabledIs(true); });
  ASSERT_TRUE(agent_->l3Status()->urpfEnabled());
  EXPECT_EQ(deletes(), (std::vector<uint64_t>{4, 2, 0}));
  expectChipEqualsFib();
  // The record followed: the next restart under the same setting keeps all.
  restart();
  EXPECT_EQ(deletes(), (std::vector<uint64_t>{0, 0, 0}));
  restart([&] { agent_->module<KorAgent::RoutingInputsModule>().urpfEnabledIs(false); });
  EXPECT_EQ(deletes(), (std::vector<uint64_t>{0, 0, 0}));
  expectChipEqualsFib();
}

TEST_F(RouteRestartPurgeTest, ExactMatchLengthsChangedAcrossRestartPurgeBothFamilies) {
  start();
  ASSERT_EQ(l3().route6EmTable().size(), 0u);
  restart([&] { chipModule().exactMatchLengthsIs({64}); });
  EXPECT_EQ(deletes(), (std::vector<uint64_t>{4, 2, 0}));
  EXPECT_EQ(l3().route6EmTable().size(), 1u);
  expectChipEqualsFib();
  // Changed while running: the routes move, and the record with them.
  chipModule().exactMatchLengthsIs({});
  settle();
  EXPECT_EQ(l3().route6EmTable().size(), 0u);
  restart();
  EXPECT_EQ(deletes(), (std::vector<uint64_t>{0, 0, 0}));
  expectChipEqualsFib();
}

TEST_F(RouteRestartPurgeTest, RestartThatChangesNothingWakesNoReviewConsumer) {
  start();
  uint64_t const pending = agent_->l3Status()->unicastReviewPending();
  uint64_t const pending6 = agent_->l3Status()->unicast6ReviewPending();
  for (int i = 0; i < 3; ++i) restart();
  EXPECT_EQ(agent_->l3Status()->unicastReviewPending(), pending);
  EXPECT_EQ(agent_->l3Status()->unicast6ReviewPending(), pending6);
  // A route changed while down is a change: the consumers are woken.
  restart([&] { fib().routeAdd(def_, Nollo::IpPrefix("10.10.0.0/16"), 2); });
  EXPECT_GT(agent_->l3Status()->unicastReviewPending(), pending);
}

TEST_F(RouteRestartPurgeTest, RaisedMaxEcmpLetsRefusedFecsRoutesIn) {
  chipModule().maxEcmpIs(2);
  fib().fecAdd(7, {via("2001:db8::2"), via("2001:db8::3"), via("2001:db8::4")});
  fib().routeAdd(def_, Nollo::Ip6Prefix("2001:db8:7::/64"), 7);
  start();
  EXPECT_EQ(agent_->l3Status()->numUnprogrammedV6Routes(), 1u);
  // Nothing else touches FEC 7: the new limit alone must bring it in.
  chipModule().maxEcmpIs(4);
  settle();
  EXPECT_EQ(agent_->l3Status()->numUnprogrammedV6Routes(), 0u);
  EXPECT_EQ(l3().route6Table().size() + l3().route6EmTable().size(), 3u);
}

TEST_F(RouteRestartPurgeTest, RouteMovedToUnpublishedFecKeepsItsOldOne) {
  start();
  Kor::VrfAndPrefix key{Kor::VrfId(0), Nollo::IpPrefix("10.10.0.0/16")};
  auto const* held = l3().route4Table().find(key);
  ASSERT_NE(held, nullptr);
  uint64_t const oldL2 = held->l2AdjIndex();
  // As the routing agent may: the route names its FEC before the FEC is in.
  fib().fibRoutes4(def_)->routeIs(Quill::Fib::Route(key.prefix, Quill::Fib::FecId::make(Quill::Fib::nexthopAdj(), 9)));
  settle();
  held = l3().route4Table().find(key);
  ASSERT_NE(held, nullptr) << "the route left the chip while its new FEC was not published";
  EXPECT_EQ(held->l2AdjIndex(), oldL2);
  fib().fecAdd(9, {via("10.1.0.5")});
  settle();
  held = l3().route4Table().find(key);
  ASSERT_NE(held, nullptr);
  EXPECT_NE(held->l2AdjIndex(), oldL2);
  EXPECT_EQ(agent_->l3Status()->numUnprogrammedRoutes(), 0u);
}

}  // namespace
