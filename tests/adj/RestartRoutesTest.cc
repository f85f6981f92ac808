// A restart of the agent over a chip that holds 100,000 routes (IPv4 and
// IPv6, two VRFs, ECMP FECs over resolved neighbours): the new run claims
// every route and L2 adjacency that is already right with a sync and writes
// nothing for it; routes whose FEC, or whose presence, changed across the
// restart are the only writes.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "AgentChipFixture.h"
#include "agent/chip/ChipModule.h"
#include "agent/intf/IntfModule.h"
#include "agent/vrf/VrfModule.h"
#include "nollo/IpPrefix.h"
#include "quill/RouteStatus.h"

namespace {

using Counters = SoftChip::ChipTableBase::WriteCounters;

constexpr uint32_t kRoutes4 = 40000;  // per VRF: default and red
constexpr uint32_t kRoutes6 = 20000;  // default only, half of them /64s in the exact-match table

Nollo::IpPrefix prefix4(uint32_t i) { return Nollo::IpPrefix(Nollo::IpAddr4(0x0b000000u + (i << 8)), 24); }
Nollo::Ip6Prefix prefix6(uint32_t i) {
  std::array<uint8_t, 16> b{};
  b[0] = 0x20;
  b[1] = 0x01;
  b[2] = 0x0d;
  b[3] = 0xb8;
  b[4] = uint8_t(i >> 16);
  b[5] = uint8_t(i >> 8);
  b[6] = uint8_t(i);
  return Nollo::Ip6Prefix(Nollo::IpAddr6(b), i % 2 ? 64 : 56);
}

class RestartRoutesTest : public KorTest::AgentChipFixture {
 protected:
  void SetUp() override {
    AgentChipFixture::SetUp();
    Kor::VrfName def("default"), red("red");
    module<KorAgent::VrfModule>().routingIs(def, true, true, true);
    module<KorAgent::VrfModule>().vrfAdd(red);
    module<KorAgent::ChipModule>().exactMatchLengthsIs({64});
    module<KorAgent::IntfModule>().intfAdd(IntfId::vlan(10), std::nullopt, Kor::VlanId(10));
    module<KorAgent::IntfModule>().intfAdd(IntfId::ethernet(5), red, Kor::VlanId(1006), true);
    for (uint32_t h = 2; h <= 5; ++h) {
      arp("default", ("10.1.0." + std::to_string(h)).c_str(), h, IntfId::vlan(10));
      arp("default", ("2001:db8::" + std::to_string(h)).c_str(), h, IntfId::vlan(10));
      arp("red", ("10.5.0." + std::to_string(h)).c_str(), h, IntfId::ethernet(5));
    }
    IntfId v10 = IntfId::vlan(10), e5 = IntfId::ethernet(5);
    fib().fecAdd(1, {via("10.1.0.2", v10)});
    fib().fecAdd(2, {via("10.1.0.2", v10), via("10.1.0.3", v10), via("10.1.0.4", v10)});
    fib().fecAdd(3, {via("10.1.0.5", v10)});
    fib().fecAdd(4, {via("2001:db8::2", v10), via("2001:db8::3", v10)});
    fib().fecAdd(5, {via("2001:db8::4", v10)});
    fib().fecAdd(6, {via("10.5.0.2", e5), via("10.5.0.3", e5)}, red);
    fib().fecAdd(7, {via("10.5.0.4", e5)}, red);
    auto def4 = fib().fibRoutes4(def), red4 = fib().fibRoutes4(red);
    auto def6 = fib().fibRoutes6(def);
    for (uint32_t i = 0; i < kRoutes4; ++i) {
      def4->routeIs(Quill::Fib::Route(prefix4(i), fec(1 + i % 3)));
      red4->routeIs(Quill::Fib::Route(prefix4(i), fec(6 + i % 2)));
    }
    for (uint32_t i = 0; i < kRoutes6; ++i) def6->routeIs(Quill::Fib6::Route(prefix6(i), fec(4 + i % 2)));
    agent_->init();
    settle();
    ASSERT_EQ(routes4().size(), 2 * kRoutes4);
    ASSERT_EQ(agent_->chip()->l3().route6Table().size(), kRoutes6 / 2);
    ASSERT_EQ(agent_->chip()->l3().route6EmTable().size(), kRoutes6 / 2);
    ASSERT_EQ(agent_->chip()->adj().l2AdjTable().size(), 7u);
    ASSERT_EQ(agent_->l3Status()->numUnprogrammedRoutes() + agent_->l3Status()->numUnprogrammedV6Routes(), 0u);
    snapshot();
  }

  static Quill::Fib::FecId fec(uint64_t id) { return fecId(id); }
  SoftChip::ChipRouteTable<Nollo::Ipv4>& routes4() { return agent_->chip()->l3().route4Table(); }
  std::vector<SoftChip::ChipTableBase*> tables() {
    auto* c = agent_->chip();
    return {&c->l3().route4Table(), &c->l3().route6Table(), &c->l3().route6EmTable(), &c->adj().l2AdjTable()};
  }
  void snapshot() {
    before_.clear();
    for (auto* t : tables()) before_.push_back(t->counters());
  }
  // Writes per table since the snapshot, as "creates/updates/deletes".
  std::vector<std::string> changes() {
    std::vector<std::string> out;
    auto ts = tables();
    for (size_t i = 0; i < ts.size(); ++i) {
      auto const& c = ts[i]->counters();
      out.push_back(ts[i]->name() + " " + std::to_string(c.creates - before_[i].creates) + "/" +
                    std::to_string(c.updates - before_[i].updates) + "/" + std::to_string(c.deletes - before_[i].deletes));
    }
    return out;
  }
  uint64_t syncs(size_t table) { return tables()[table]->counters().syncs - before_[table].syncs; }
  void restartAndSettle(std::function<void()> const& whileDown = {}) {
    agent_->restart(whileDown);
    settle();
  }

  std::vector<Counters> before_;
};

TEST_F(RestartRoutesTest, UnchangedRoutesAndAdjacenciesAreOnlySynced) {
  auto held4 = routes4().entries();
  restartAndSettle();
  EXPECT_EQ(changes(), (std::vector<std::string>{"route4 0/0/0", "route6 0/0/0", "route6em 0/0/0", "l2adj 0/0/0"}));
  EXPECT_EQ(syncs(0), 2 * kRoutes4);
  EXPECT_EQ(syncs(1) + syncs(2), kRoutes6);
  EXPECT_EQ(syncs(3), 7u);
  ASSERT_EQ(routes4().size(), held4.size());
  size_t same = 0;
  for (auto const& [key, route] : held4) same += routes4().find(key) && *routes4().find(key) == route;
  EXPECT_EQ(same, held4.size());
  EXPECT_EQ(agent_->l3Status()->numUnprogrammedRoutes() + agent_->l3Status()->numUnprogrammedV6Routes(), 0u);
}

// Across the restart: 3 IPv4 routes move to another FEC, 2 are deleted and 1
// is added; an IPv6 route of each table moves, one is deleted. Only those
// are written, each once.
TEST_F(RestartRoutesTest, OnlyRoutesChangedAcrossTheRestartAreWritten) {
  Kor::VrfName def("default"), red("red");
  agent_->restart();
  auto def4 = fib().fibRoutes4(def), red4 = fib().fibRoutes4(red);
  auto def6 = fib().fibRoutes6(def);
  def4->routeIs(Quill::Fib::Route(prefix4(0), fec(2)));
  def4->routeIs(Quill::Fib::Route(prefix4(1000), fec(3)));
  red4->routeIs(Quill::Fib::Route(prefix4(7), fec(6)));
  def4->routeDel(prefix4(5));
  red4->routeDel(prefix4(9));
  def4->routeIs(Quill::Fib::Route(prefix4(kRoutes4), fec(1)));
  def6->routeIs(Quill::Fib6::Route(prefix6(0), fec(5)));
  def6->routeIs(Quill::Fib6::Route(prefix6(1), fec(4)));
  def6->routeDel(prefix6(3));
  settle();
  EXPECT_EQ(changes(), (std::vector<std::string>{"route4 1/3/2", "route6 0/1/0", "route6em 0/1/1", "l2adj 0/0/0"}));
  EXPECT_EQ(syncs(0), 2 * kRoutes4 - 5);
  EXPECT_EQ(syncs(1) + syncs(2), kRoutes6 - 3);
  auto vrf0 = agent_->l3Status()->vrfId(def);
  auto const* moved = routes4().find({vrf0, prefix4(0)});
  ASSERT_TRUE(moved);
  EXPECT_EQ(moved->fibAdjIndex(), fec(2).value());
  EXPECT_FALSE(routes4().has({vrf0, prefix4(5)}));
  EXPECT_TRUE(routes4().has({vrf0, prefix4(kRoutes4)}));
}

// VRF red is withdrawn while the agent is down: the new run never hears of
// it, yet its routes leave the chip, and so do the two L2 adjacencies of its
// next hops; the default VRF's stay untouched.
TEST_F(RestartRoutesTest, RoutesOfAVrfDeletedWhileDownLeaveTheChip) {
  Kor::VrfName red("red");
  auto redId = agent_->l3Status()->vrfId(red);
  size_t before = routes4().size();
  size_t redRoutes = 0;
  for (auto const& e : routes4().entries())
    if (e.first.vrfId == redId) ++redRoutes;
  ASSERT_GT(redRoutes, 0u);
  restartAndSettle([&] { module<KorAgent::VrfModule>().vrfDel(red); });
  for (auto const& e : routes4().entries()) ASSERT_NE(e.first.vrfId, redId);
  EXPECT_EQ(routes4().size(), before - redRoutes);
  EXPECT_EQ(changes(), (std::vector<std::string>{"route4 0/0/" + std::to_string(redRoutes), "route6 0/0/0",
                                                 "route6em 0/0/0", "l2adj 0/0/2"}));
}

}  // namespace
