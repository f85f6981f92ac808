// L2 adjacency resolution against the software chip: what a via set resolves
// to, in-place versus new L2 adjacencies of sharers, the chip's own
// capacity, the slow-receive adjacency, the sharing-mode change, restart
// reconciliation and tunnel bookkeeping. Sharing as such, the platform's
// answers and resource full as a user sees them are the adj_sharing,
// adj_chip_fault and adj_resource_full scenarios'.
#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "AdjChipFixture.h"
#include "kor/records/AdjEntry.h"
#include "vix/Log.h"

namespace {

using namespace Kor;
using Nollo::IntfId;
using Nollo::IpAddr4;
using Nollo::IpGenAddr;
using T = NextHopEntryType;

IpAddr4 a4(char const* s) { return IpAddr4(s); }

// The L2 adjacency helper alone over AdjChipFixture's chip and inputs, with
// Ethernet1-3, Vlan10, Vlan20 and Port-Channel7 up; no adjacency machine.
class L2AdjHelperTest : public KorTest::AdjChipFixture {
 protected:
  void SetUp() override {
    unsetenv("SIMULATION_VMID");
    AdjChipFixture::SetUp();
    hwConfig_ = Vix::makePtr<Routing::Hardware::Config>("hwConfig");
    for (auto i : {IntfId::ethernet(1), IntfId::ethernet(2), IntfId::ethernet(3), IntfId::vlan(10),
                   IntfId::vlan(20), IntfId::portChannel(7)})
      intfs_->intfStatusIs(i, Interface::IntfStatus{true, !i.isVlan()});
    start();
  }

  // A fresh run of the library over the same chip.
  void start() {
    l3Status_ = Vix::makePtr<L3Status>("l3Status");
    vrf_ = vrfIs("default", 0);
    chip_->adj().softAdjSmHelper().l3StatusIs(l3Status_);
    helper_ = Vix::makePtr<L2AdjHelper>(acsd_, l3Status_, hwConfig_, intfs_, chip_->adj().adjSmHelper());
    helper_->exitFnIs([this](int status) { exits_.push_back(status); });
    helper_->initializedIs(true);
  }

  void arp(char const* ip, uint16_t vlan, IntfId port, uint64_t m, NextHopType type = NextHopType::physicalPort) {
    auto list = vrf_->nextHopList(a4(ip));
    if (!list) list = Vix::makePtr<NextHopList>();
    vrf_->nextHopListIs(a4(ip), list->withNextHopInfo(VlanId(vlan), NextHopInfo(type, port, mac(m))));
  }

  Vix::Ptr<AdjEntry> adj(uint64_t index, std::vector<Via> const& vias, RouteType rt = RouteType::forwardRoute,
                         uint8_t backups = 0) {
    auto e = Vix::makePtr<AdjEntry>(Quill::Fib::FecId::make(Quill::Fib::nexthopAdj(), index));
    e->routeTypeIs(rt);
    viasIs(*e, vias, backups);
    return e;
  }
  void viasIs(AdjEntry& e, std::vector<Via> const& vias, uint8_t backups = 0) {
    auto v = Vix::makePtr<AdjVia>();
    for (auto const& via : vias) v->viaAdd(via);
    v->numBackupViasIs(backups);
    e.adjViaIs(v);
  }
  static Via via(char const* nh, IntfId intf, bool backup = false) {
    return Via(a4(nh), intf, VlanIdOrNone(), {}, backup);
  }
  NextHopL2InfoCollection build(std::vector<Via> const& vias, RouteType rt = RouteType::forwardRoute,
                                uint8_t backups = 0) {
    auto e = adj(99, vias, rt, backups);
    return helper_->doBuildL2AdjViaForAdj(rt, VrfId(0), L2AdjType::routingAdj, *e->adjVia(),
                                          AdjUpdateType::regularAdjUpdate);
  }
  NextHopL2Info path(NextHopL2InfoCollection const& c, char const* nh) { return c.nextHop().at(IpGenAddr(a4(nh))); }
  SoftChip::SoftAdjSmHelper& soft() { return chip_->adj().softAdjSmHelper(); }
  SoftChip::ChipTable<uint64_t, NextHopL2InfoCollection>& table() { return chip_->adj().l2AdjTable(); }

  Vix::Ptr<Routing::Hardware::Config> hwConfig_;
  std::vector<int> exits_;
};

TEST_F(L2AdjHelperTest, ViasResolveThroughNeighboursInterfacesAndRouteType) {
  arp("10.0.0.1", 10, IntfId::ethernet(1), 0x11);
  arp("10.0.0.3", 20, IntfId::portChannel(7), 0x33, NextHopType::portChannel);
  auto c = build({via("10.0.0.1", IntfId::vlan(10)), via("10.0.0.1", IntfId::vlan(10)),
                  via("10.0.0.2", IntfId::vlan(10)), via("10.0.0.3", IntfId::vlan(20))});
  auto p1 = path(c, "10.0.0.1");
  EXPECT_EQ(p1.type(), T::nextHopArpResolved);
  EXPECT_EQ(p1.macAddr(), mac(0x11));
  EXPECT_EQ(p1.intfId(), IntfId::ethernet(1));
  EXPECT_EQ(p1.l3IntfId(), IntfId::vlan(10));
  EXPECT_EQ(p1.vlanId().value(), 10);
  EXPECT_EQ(p1.weight(), 2u);  // the via stands twice
  EXPECT_EQ(path(c, "10.0.0.2").type(), T::nextHopArpRequired);
  EXPECT_EQ(path(c, "10.0.0.3").hwLagId(), 7u);
  EXPECT_FALSE(c.hasDownL3Intf());

  // A down interface leaves its via out; with nothing left the adjacency drops.
  link(IntfId::vlan(20), false);
  c = build({via("10.0.0.1", IntfId::vlan(10)), via("10.0.0.3", IntfId::vlan(20))});
  EXPECT_EQ(c.paths(), 1u);
  EXPECT_TRUE(c.hasDownL3Intf());
  c = build({via("10.0.0.3", IntfId::vlan(20))});
  ASSERT_EQ(c.paths(), 1u);
  EXPECT_EQ(c.nextHop().begin()->second.type(), T::nextHopDrop);

  // A drop via never stands beside a forwarding one.
  c = build({via("10.0.0.1", IntfId::vlan(10)), via("0.0.0.0", IntfId::null0())});
  EXPECT_FALSE(c.hasType(T::nextHopDrop));

  EXPECT_EQ(path(build({via("0.0.0.0", IntfId::cpu())}, RouteType::receiveRoute), "0.0.0.0").type(), T::nextHopCpu);
  EXPECT_EQ(path(build({via("0.0.0.0", IntfId::cpu())}, RouteType::slowReceiveRoute), "0.0.0.0").type(),
            T::nextHopCpuSlow);
  EXPECT_EQ(path(build({via("0.0.0.0", IntfId::cpu())}, RouteType::bcastReceiveRoute), "0.0.0.0").type(),
            T::nextHopCpuBcast);
  EXPECT_EQ(path(build({via("0.0.0.0", IntfId::null0())}, RouteType::dropRoute), "0.0.0.0").type(), T::nextHopDrop);
}

TEST_F(L2AdjHelperTest, BackupViasOnlyWhenNoPrimaryIsLeft) {
  arp("10.0.0.1", 10, IntfId::ethernet(1), 0x11);
  arp("10.0.0.2", 20, IntfId::ethernet(2), 0x22);
  std::vector<Via> vias{via("10.0.0.1", IntfId::vlan(10)), via("10.0.0.2", IntfId::vlan(20), true)};
  auto c = build(vias, RouteType::forwardRoute, 1);
  EXPECT_TRUE(c.nextHopHas(IpGenAddr(a4("10.0.0.1"))));
  EXPECT_FALSE(c.nextHopHas(IpGenAddr(a4("10.0.0.2"))));
  link(IntfId::vlan(10), false);
  c = build(vias, RouteType::forwardRoute, 1);
  EXPECT_FALSE(c.nextHopHas(IpGenAddr(a4("10.0.0.1"))));
  EXPECT_EQ(path(c, "10.0.0.2").type(), T::nextHopArpResolved);
}

TEST_F(L2AdjHelperTest, ChangingOneSharerLeavesTheOtherUntouchedAndAnUnsharedOneUpdatesInPlace) {
  arp("10.0.0.1", 10, IntfId::ethernet(1), 0x11);
  arp("10.0.0.2", 10, IntfId::ethernet(2), 0x22);
  auto a = adj(1, {via("10.0.0.1", IntfId::vlan(10))}), b = adj(2, {via("10.0.0.1", IntfId::vlan(10))});
  helper_->updateL2AdjForAdj(*a, AdjUpdateType::regularAdjUpdate);
  helper_->updateL2AdjForAdj(*b, AdjUpdateType::regularAdjUpdate);
  auto shared = b->l2Adj();
  auto sharedVia = shared->via();

  viasIs(*a, {via("10.0.0.2", IntfId::vlan(10))});
  EXPECT_TRUE(helper_->updateL2AdjForAdj(*a, AdjUpdateType::regularAdjUpdate));
  EXPECT_NE(a->l2Adj(), shared);
  EXPECT_EQ(b->l2Adj(), shared);
  EXPECT_EQ(shared->via(), sharedVia);
  EXPECT_EQ(*table().find(shared->index()), sharedVia);
  EXPECT_EQ(soft().opCount("updateAdj"), 0u);
  EXPECT_FALSE(shared->adjEntryHas(a->adjIndex()));

  // a is alone on its L2 adjacency now: a change rewrites it under the same index.
  uint64_t index = a->l2Adj()->index();
  arp("10.0.0.2", 10, IntfId::ethernet(3), 0x23);
  EXPECT_TRUE(helper_->updateL2AdjForAdj(*a, AdjUpdateType::regularAdjUpdate));
  EXPECT_EQ(a->l2Adj()->index(), index);
  EXPECT_EQ(soft().opCount("updateAdj"), 1u);
  EXPECT_EQ(path(*table().find(index), "10.0.0.2").intfId(), IntfId::ethernet(3));
  EXPECT_EQ(l3Status_->nextHopsToL2Adj(a->l2Adj()->via()), a->l2Adj());
  EXPECT_EQ(l3Status_->nextHopsToL2AdjSize(), 2u);  // the stale key left with the rewrite
  EXPECT_FALSE(helper_->updateL2AdjForAdj(*a, AdjUpdateType::regularAdjUpdate));

  // Moving onto b's data joins b's L2 adjacency; a's own one is deleted.
  viasIs(*a, {via("10.0.0.1", IntfId::vlan(10))});
  helper_->updateL2AdjForAdj(*a, AdjUpdateType::regularAdjUpdate);
  EXPECT_EQ(a->l2Adj(), shared);
  EXPECT_FALSE(table().has(index));
  EXPECT_FALSE(l3Status_->l2AdjListHas(L2AdjKey(index)));

  helper_->doRemoveAdjEntryFromL2Adj(shared, *a);
  EXPECT_TRUE(table().has(shared->index()));
  helper_->doRemoveAdjEntryFromL2Adj(shared, *b);
  EXPECT_EQ(table().size(), 0u);
  EXPECT_EQ(l3Status_->l2AdjListSize(), 0u);
  EXPECT_EQ(l3Status_->nextHopsToL2AdjSize(), 0u);
}

// The chip's own capacity: a full table raises the flag; freeing an entry
// clears it. (No platform call while the flag stands, and the install once
// it clears, are the adj_resource_full scenario's.)
TEST_F(L2AdjHelperTest, FullChipTableRaisesResourceFullAndAFreedEntryClearsIt) {
  arp("10.0.0.1", 10, IntfId::ethernet(1), 0x11);
  auto a = adj(1, {via("10.0.0.1", IntfId::vlan(10))});
  helper_->updateL2AdjForAdj(*a, AdjUpdateType::regularAdjUpdate);
  table().capacityIs(1);
  arp("10.0.0.2", 10, IntfId::ethernet(2), 0x22);
  auto b = adj(2, {via("10.0.0.2", IntfId::vlan(10))});
  helper_->updateL2AdjForAdj(*b, AdjUpdateType::regularAdjUpdate);
  EXPECT_EQ(b->l2Adj()->state(), L2AdjState::installFailed);
  EXPECT_TRUE(l3Status_->adjResourceFull());
  helper_->doRemoveAdjEntryFromL2Adj(a->l2Adj(), *a);
  EXPECT_FALSE(l3Status_->adjResourceFull());
  helper_->updateL2AdjForAdj(*b, AdjUpdateType::regularAdjUpdate);
  EXPECT_EQ(b->l2Adj()->state(), L2AdjState::installed);
}

TEST_F(L2AdjHelperTest, SlowReceiveAdjacencyIsNeverDeleted) {
  auto a = adj(1, {via("0.0.0.0", IntfId::cpu())}, RouteType::slowReceiveRoute);
  helper_->updateL2AdjForAdj(*a, AdjUpdateType::regularAdjUpdate);
  auto l2 = a->l2Adj();
  EXPECT_EQ(l2->index(), helper_->slowReceiveL2AdjIndex());
  helper_->doRemoveAdjEntryFromL2Adj(l2, *a);
  EXPECT_TRUE(l3Status_->l2AdjListHas(l2->key()));
  EXPECT_TRUE(table().has(l2->index()));
  EXPECT_EQ(soft().opCount("deleteAdj"), 0u);
  // Nor rewritten in place for another adjacency's data.
  helper_->updateL2AdjForAdj(*a, AdjUpdateType::regularAdjUpdate);
  viasIs(*a, {via("0.0.0.0", IntfId::null0())});
  a->routeTypeIs(RouteType::dropRoute);
  helper_->updateL2AdjForAdj(*a, AdjUpdateType::regularAdjUpdate);
  EXPECT_NE(a->l2Adj(), l2);
  EXPECT_TRUE(l2->via().hasType(T::nextHopCpuSlow));
  EXPECT_TRUE(table().has(l2->index()));
}

// With SIMULATION_VMID set the change only marks a reset pending: the
// adj_sharing scenario's.
TEST_F(L2AdjHelperTest, SharingModeChangeEndsTheProcess) {
  auto sink = Vix::makePtr<Vix::MemoryLogSink>();
  auto old = Vix::logSink();
  Vix::logSinkIs(sink);
  hwConfig_->adjSharingIs(Routing::Hardware::AdjSharing::off);
  EXPECT_EQ(exits_, std::vector<int>{0});
  EXPECT_EQ(sink->count("ROUTING_ADJ_SHARING_MODE_CHANGE"), 1u);
  EXPECT_TRUE(helper_->adjSharing());  // never switched in a running agent
  Vix::logSinkIs(old);
}

TEST_F(L2AdjHelperTest, RestartClaimsChipAdjacenciesBackWithoutRewriting) {
  arp("10.0.0.1", 10, IntfId::ethernet(1), 0x11);
  arp("10.0.0.2", 20, IntfId::ethernet(2), 0x22);
  std::vector<Via> v1{via("10.0.0.1", IntfId::vlan(10))}, v2{via("10.0.0.2", IntfId::vlan(20))},
      v3{via("10.0.0.1", IntfId::vlan(10)), via("10.0.0.2", IntfId::vlan(20))};
  std::vector<Vix::Ptr<AdjEntry>> run1{adj(1, v1), adj(2, v1), adj(3, v2), adj(4, v3)};
  for (auto& e : run1) helper_->updateL2AdjForAdj(*e, AdjUpdateType::regularAdjUpdate);
  std::map<uint64_t, NextHopL2InfoCollection> before = table().entries();
  ASSERT_EQ(before.size(), 3u);
  auto counters = table().counters();

  // Same inputs in a new run, in another order; adjacency 4 is gone.
  start();
  arp("10.0.0.1", 10, IntfId::ethernet(1), 0x11);
  arp("10.0.0.2", 20, IntfId::ethernet(2), 0x22);
  std::vector<Vix::Ptr<AdjEntry>> run2{adj(3, v2), adj(2, v1), adj(1, v1)};
  for (auto& e : run2) {
    helper_->updateL2AdjForAdj(*e, AdjUpdateType::regularAdjUpdate);
    EXPECT_EQ(e->l2Adj()->state(), L2AdjState::installed);
  }
  EXPECT_EQ(table().counters().changes(), counters.changes());
  EXPECT_EQ(table().counters().syncs, counters.syncs + 2);
  EXPECT_EQ(run2[0]->l2Adj()->index(), run1[2]->l2Adj()->index());
  EXPECT_EQ(run2[1]->l2Adj()->index(), run1[0]->l2Adj()->index());
  EXPECT_EQ(table().entries(), before);

  // A new L2 adjacency never takes an index the chip still holds.
  arp("10.0.0.3", 20, IntfId::ethernet(3), 0x33);
  auto fresh = adj(5, {via("10.0.0.3", IntfId::vlan(20))});
  helper_->updateL2AdjForAdj(*fresh, AdjUpdateType::regularAdjUpdate);
  EXPECT_FALSE(before.count(fresh->l2Adj()->index()));
  EXPECT_EQ(table().counters().creates, counters.creates + 1);

  // The end of the sync removes what nobody claimed (adjacency 4's).
  EXPECT_EQ(helper_->unclaimedChipAdjs(), 1u);
  helper_->handleEndOfSync();
  EXPECT_FALSE(table().has(run1[3]->l2Adj()->index()));
  EXPECT_EQ(table().size(), 3u);
}

TEST_F(L2AdjHelperTest, TunnelBookkeeping) {
  arp("10.0.0.1", 10, IntfId::ethernet(1), 0x11);
  TunnelKey key{a4("1.1.1.1"), a4("2.2.2.2")};
  AdjVia underlay;
  underlay.viaAdd(via("10.0.0.1", IntfId::vlan(10)));
  helper_->doCreateOrUpdateTunnelL2Info(key, IntfId::tunnel(1), VrfId(0), underlay);
  auto t = helper_->getTunnelL2Info(key, false, true);
  ASSERT_TRUE(t.l2Adj);
  EXPECT_TRUE(t.updateL2Info);
  EXPECT_FALSE(helper_->getTunnelL2Info(key, false, true).updateL2Info);
  EXPECT_TRUE(l3Status_->tunnelL2InfoHas(IntfId::tunnel(1)));

  auto a = adj(1, {via("3.3.3.3", IntfId::tunnel(1))});
  helper_->updateL2AdjForAdj(*a, AdjUpdateType::regularAdjUpdate);
  auto p = path(a->l2Adj()->via(), "3.3.3.3");
  EXPECT_EQ(p.type(), T::nextHopTunnel);
  EXPECT_EQ(p.tunnelL2Info(), t.l2Adj->index());
  EXPECT_EQ(helper_->tunnelAdjEntrys(key), (std::set<L2AdjHelper::VrfAdjKey>{{VrfId(0), a->adjIndex()}}));

  // The last user gone, the tunnel's underlay leaves the chip; a new user brings it back.
  helper_->doRemoveAdjEntryFromL2Adj(a->l2Adj(), *a);
  EXPECT_FALSE(table().has(t.l2Adj->index()));
  EXPECT_EQ(table().size(), 0u);
  auto b = adj(2, {via("3.3.3.3", IntfId::tunnel(1))});
  helper_->updateL2AdjForAdj(*b, AdjUpdateType::regularAdjUpdate);
  EXPECT_EQ(path(b->l2Adj()->via(), "3.3.3.3").type(), T::nextHopTunnel);
  EXPECT_EQ(table().size(), 2u);

  // Indexes are numbered per VRF: another VRF's adjacency of b's index over
  // the tunnel (other L2 data) leaves it, and the tunnel stays for b.
  vrfIs("red", 1);
  auto r = adj(2, {via("3.3.3.3", IntfId::tunnel(1)), via("3.3.3.4", IntfId::tunnel(1))});
  r->vrfIdIs(VrfId(1));
  helper_->updateL2AdjForAdj(*r, AdjUpdateType::regularAdjUpdate);
  ASSERT_NE(r->l2Adj(), b->l2Adj());
  EXPECT_EQ(helper_->tunnelAdjEntrys(key).size(), 2u);
  helper_->doRemoveAdjEntryFromL2Adj(r->l2Adj(), *r);
  auto held = helper_->getTunnelL2Info(key, false, false).l2Adj;
  ASSERT_TRUE(held);
  EXPECT_TRUE(table().has(held->index()));
  EXPECT_EQ(helper_->adjEntryTunnels({VrfId(0), b->adjIndex()}).size(), 1u);
  EXPECT_EQ(table().size(), 2u);

  // An unknown tunnel leaves the via out.
  auto c = adj(3, {via("3.3.3.3", IntfId::tunnel(9))});
  helper_->updateL2AdjForAdj(*c, AdjUpdateType::regularAdjUpdate);
  EXPECT_TRUE(c->l2Adj()->via().hasType(T::nextHopDrop));
}

}  // namespace
