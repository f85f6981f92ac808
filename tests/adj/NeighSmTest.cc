// The ARP and IPv6 neighbour machines of one VRF over a MAC table, a VXLAN
// learned-host table and an interface-VLAN table, both address families
// through the same tests.
#include <gtest/gtest.h>

#include <string>

#include "kor/adj/ArpSm.h"
#include "kor/adj/Ip6NeighSm.h"
#include "kor/common/KorCommonSmData.h"
#include "tests/l3/VrfRootFixture.h"
#include "vix/ActivityLoop.h"
#include "vix/RangeError.h"
#include "vix/Trace.h"

namespace {

using Kor::NextHopInfo;
using Kor::NextHopType;
using Kor::VlanId;
using Nollo::EthAddr;
using Nollo::IntfId;
using Quill::Arp::ArpEntry;
using Quill::Arp::ArpState;

EthAddr mac(uint64_t n) { return EthAddr::fromUint64(0x020000000000ULL + n); }

template <class AF>
struct Family;
template <>
struct Family<Nollo::Ipv4> {
  using Sm = Kor::ArpSm;
  static Nollo::IpAddr4 addr(int n) { return Nollo::IpAddr4(0x0a000000u + n); }
  static size_t notifications(int n4, int) { return n4; }
};
template <>
struct Family<Nollo::Ipv6> {
  using Sm = Kor::Ip6NeighSm;
  static Nollo::IpAddr6 addr(int n) { return Nollo::IpAddr6("2001:db8::" + std::to_string(n)); }
  static size_t notifications(int, int n6) { return n6; }
};

// Counts next-hop list notifications per family.
class NextHopWatcher : public Kor::VrfL3Status::Notifiee {
 public:
  using Notifiee::Notifiee;
  void handleNextHopList(Nollo::IpAddr4 const&) override { ++v4; }
  void handleNextHop6List(Nollo::IpAddr6 const&) override { ++v6; }
  int v4 = 0;
  int v6 = 0;
};

template <class AF>
class NeighSmTest : public ::testing::Test {
 protected:
  using F = Family<AF>;
  using Sm = typename F::Sm;
  using Key = typename Sm::Key;
  static constexpr uint32_t kArpVrf = 7;

  void SetUp() override {
    loop_ = Vix::makePtr<Vix::ActivityLoop>(Vix::makePtr<Vix::ManualTimeSource>(0.0));
    acsd_ = Kor::korCommonSmDataFactory("acsd", loop_);
    // Every trace level on: the trace statements run in every test.
    Kor::TractoLevels levels;
    levels.korArpSmIs("*");
    levels.korIp6NeighborSmIs("*");
    acsd_->tractoLevelsIs(levels);
    trace_ = Vix::makePtr<Vix::MemoryTraceSink>();
    Vix::traceSinkIs(trace_);
    status_ = Vix::makePtr<Kor::VrfL3Status>(Kor::VrfName("red"));
    watcher_ = std::make_unique<NextHopWatcher>(status_);
    bridging_ = Vix::makePtr<Bridging::Status>("bridging");
    vlans_ = Vix::makePtr<IntfVlanId::Table>("intfVlanIds");
    vxlan_ = Vix::makePtr<Vxlan::VxlanHwStatusDir>("vxlan");
    sm_ = Vix::makePtr<Sm>(acsd_, Kor::VrfName("red"), status_, bridging_, vlans_, vxlan_);
    sm_->arpQuillVrfIdIs(kArpVrf);
  }
  void TearDown() override {
    sm_ = nullptr;
    watcher_ = nullptr;
    Vix::traceSinkIs(nullptr);
    acsd_->doCleanup();
  }

  void add(int a, IntfId intf, EthAddr m, ArpState s = ArpState::reachable) {
    sm_->arpEntryIs(Key(kArpVrf, F::addr(a), intf), ArpEntry(m, s));
  }
  void del(int a, IntfId intf) { sm_->arpEntryDel(Key(kArpVrf, F::addr(a), intf)); }
  void learn(uint16_t vlan, EthAddr m, IntfId where) {
    auto fdb = bridging_->fdbStatus(vlan);
    if (!fdb) fdb = bridging_->newFdbStatus(vlan);
    fdb->learnedHostIs(m, Bridging::LearnedHost{where, Bridging::EntryType::learnedDynamicMac});
  }
  NextHopInfo info(int a, uint16_t vlan) const {
    auto l = sm_->nextHopList(F::addr(a));
    return l ? l->nextHopInfo(VlanId(vlan)) : NextHopInfo();
  }
  size_t vlans(int a) const {
    auto l = sm_->nextHopList(F::addr(a));
    return l ? l->nextHopInfoSize() : 0;
  }
  size_t notifications() const { return F::notifications(watcher_->v4, watcher_->v6); }
  size_t dirIntfs(int a) const {
    auto const* e = sm_->arpEntryTable()->entry(F::addr(a));
    return e ? e->intfs() : 0;
  }

  Vix::Ptr<Vix::ActivityLoop> loop_;
  Vix::Ptr<Kor::KorCommonSmData> acsd_;
  Vix::Ptr<Vix::MemoryTraceSink> trace_;
  Vix::Ptr<Kor::VrfL3Status> status_;
  std::unique_ptr<NextHopWatcher> watcher_;
  Vix::Ptr<Bridging::Status> bridging_;
  Vix::Ptr<IntfVlanId::Table> vlans_;
  Vix::Ptr<Vxlan::VxlanHwStatusDir> vxlan_;
  Vix::Ptr<Sm> sm_;
};

using Families = ::testing::Types<Nollo::Ipv4, Nollo::Ipv6>;
TYPED_TEST_SUITE(NeighSmTest, Families);

TYPED_TEST(NeighSmTest, EgressKindFollowsInterfaceAndMacTable) {
  this->sm_->initializedIs(true);
  IntfId lag = IntfId::portChannel(7), member = IntfId::ethernet(5);
  this->acsd_->portToLagIs(member, lag);
  this->vlans_->vlanIdIs(IntfId::ethernet(1), 1006);
  this->vlans_->vlanIdIs(IntfId::portChannel(2), 1007);
  this->learn(10, mac(3), IntfId::ethernet(3));
  this->learn(10, mac(4), member);
  this->learn(10, mac(5), IntfId::cpu());
  this->add(1, IntfId::ethernet(1), mac(1));
  this->add(2, IntfId::portChannel(2), mac(2));
  this->add(3, IntfId::vlan(10), mac(3));
  this->add(4, IntfId::vlan(10), mac(4));
  this->add(5, IntfId::vlan(10), mac(5));
  this->add(6, IntfId::vlan(10), mac(6));
  // A routed port is the egress itself, whatever the MAC table says.
  EXPECT_EQ(this->info(1, 1006), NextHopInfo(NextHopType::physicalPort, IntfId::ethernet(1), mac(1)));
  EXPECT_EQ(this->info(2, 1007), NextHopInfo(NextHopType::portChannel, IntfId::portChannel(2), mac(2)));
  EXPECT_EQ(this->info(3, 10), NextHopInfo(NextHopType::physicalPort, IntfId::ethernet(3), mac(3)));
  // Learned on a member port: leaves through the port channel.
  EXPECT_EQ(this->info(4, 10), NextHopInfo(NextHopType::portChannel, lag, mac(4)));
  EXPECT_EQ(this->info(5, 10), NextHopInfo(NextHopType::cpuPort, IntfId::cpu(), mac(5)));
  EXPECT_EQ(this->info(6, 10), NextHopInfo(NextHopType::vlanFloodset, IntfId::vlan(10), mac(6)));
  // The port leaves the LAG: the address behind it follows.
  this->acsd_->portToLagDel(member);
  EXPECT_EQ(this->info(4, 10), NextHopInfo(NextHopType::physicalPort, member, mac(4)));
  // Not a layer-3 interface: nothing is written.
  this->vlans_->vlanIdIs(IntfId::loopback(0), 1008);
  this->add(7, IntfId::loopback(0), mac(7));
  EXPECT_EQ(this->vlans(7), 0u);
}

TYPED_TEST(NeighSmTest, MacMoveAndDeleteRewriteEveryAddressBehindTheMac) {
  this->sm_->initializedIs(true);
  this->learn(10, mac(1), IntfId::ethernet(3));
  this->learn(10, mac(2), IntfId::ethernet(3));
  this->add(1, IntfId::vlan(10), mac(1));
  this->add(2, IntfId::vlan(10), mac(1));
  this->add(3, IntfId::vlan(10), mac(2));
  auto untouched = this->sm_->nextHopList(TestFixture::F::addr(3));
  size_t before = this->notifications();
  // The same entry again is no change for the adjacency layer.
  this->add(1, IntfId::vlan(10), mac(1));
  EXPECT_EQ(this->notifications(), before);

  this->learn(10, mac(1), IntfId::ethernet(4));
  EXPECT_EQ(this->info(1, 10).intfId(), IntfId::ethernet(4));
  EXPECT_EQ(this->info(2, 10).intfId(), IntfId::ethernet(4));
  EXPECT_EQ(this->notifications(), before + 2);
  EXPECT_EQ(this->sm_->nextHopList(TestFixture::F::addr(3)), untouched);

  this->bridging_->fdbStatus(10)->learnedHostDel(mac(1));
  EXPECT_EQ(this->info(1, 10), NextHopInfo(NextHopType::vlanFloodset, IntfId::vlan(10), mac(1)));
  EXPECT_EQ(this->info(2, 10).nextHopType(), NextHopType::vlanFloodset);
  // The MAC table of the VLAN goes and comes back.
  this->bridging_->fdbStatusDel(10);
  EXPECT_EQ(this->info(3, 10).nextHopType(), NextHopType::vlanFloodset);
  this->learn(10, mac(1), IntfId::ethernet(6));
  EXPECT_EQ(this->info(1, 10).intfId(), IntfId::ethernet(6));
}

TYPED_TEST(NeighSmTest, NewMacForAnAddressLeavesTheOldMacsReverseSet) {
  this->sm_->initializedIs(true);
  this->learn(10, mac(1), IntfId::ethernet(3));
  this->learn(10, mac(2), IntfId::ethernet(4));
  this->add(1, IntfId::vlan(10), mac(1));
  this->add(1, IntfId::vlan(10), mac(2));
  EXPECT_EQ(this->info(1, 10), NextHopInfo(NextHopType::physicalPort, IntfId::ethernet(4), mac(2)));
  // A later move of the old MAC must not drag the address back to it.
  this->learn(10, mac(1), IntfId::ethernet(9));
  EXPECT_EQ(this->info(1, 10).ethAddr(), mac(2));
  EXPECT_EQ(this->sm_->arpIntfSm(IntfId::vlan(10))->reverseArp(mac(1)), nullptr);
  // An entry that loses its MAC withdraws what it resolved.
  this->add(1, IntfId::vlan(10), EthAddr(), ArpState::incomplete);
  EXPECT_EQ(this->vlans(1), 0u);
  EXPECT_EQ(this->dirIntfs(1), 0u);
}

TYPED_TEST(NeighSmTest, AddressOnTwoInterfacesKeepsItsDirectoryEntryUntilDeletedFromBoth) {
  this->sm_->initializedIs(true);
  this->vlans_->vlanIdIs(IntfId::ethernet(1), 1006);
  this->add(1, IntfId::vlan(10), mac(1));
  this->add(1, IntfId::ethernet(1), mac(1));
  EXPECT_EQ(this->dirIntfs(1), 2u);
  EXPECT_EQ(this->vlans(1), 2u);
  this->del(1, IntfId::vlan(10));
  EXPECT_EQ(this->dirIntfs(1), 1u);
  EXPECT_EQ(this->vlans(1), 1u);
  EXPECT_EQ(this->info(1, 1006).intfId(), IntfId::ethernet(1));
  // Deleting it again from the same interface changes nothing.
  this->del(1, IntfId::vlan(10));
  EXPECT_EQ(this->dirIntfs(1), 1u);
  this->del(1, IntfId::ethernet(1));
  EXPECT_EQ(this->dirIntfs(1), 0u);
  EXPECT_EQ(this->sm_->nextHopList(TestFixture::F::addr(1)), nullptr);
}

TYPED_TEST(NeighSmTest, VlanChangeMovesTheInterfacesAddresses) {
  this->sm_->initializedIs(true);
  IntfId eth = IntfId::ethernet(1);
  this->vlans_->vlanIdIs(eth, 1006);
  this->add(1, eth, mac(1));
  this->add(2, eth, mac(2));
  this->vlans_->vlanIdIs(eth, 1010);
  EXPECT_FALSE(this->sm_->nextHopList(TestFixture::F::addr(1))->nextHopInfoHas(VlanId(1006)));
  EXPECT_EQ(this->info(1, 1010).intfId(), eth);
  EXPECT_EQ(this->vlans(2), 1u);
  // A VLAN interface renumbered by the table follows the new VLAN's MAC table.
  this->learn(20, mac(3), IntfId::ethernet(8));
  this->add(3, IntfId::vlan(10), mac(3));
  EXPECT_EQ(this->info(3, 10).nextHopType(), NextHopType::vlanFloodset);
  this->vlans_->vlanIdIs(IntfId::vlan(10), 20);
  EXPECT_EQ(this->vlans(3), 1u);
  EXPECT_EQ(this->info(3, 20).intfId(), IntfId::ethernet(8));
  // No VLAN: the interface and its addresses go; back: they are replayed.
  this->vlans_->vlanIdIs(eth, 0);
  EXPECT_EQ(this->sm_->arpIntfSm(eth), nullptr);
  EXPECT_EQ(this->vlans(1), 0u);
  EXPECT_EQ(this->dirIntfs(1), 0u);
  this->vlans_->vlanIdIs(eth, 1011);
  EXPECT_EQ(this->info(1, 1011).intfId(), eth);
  EXPECT_EQ(this->info(2, 1011).ethAddr(), mac(2));
  EXPECT_THROW(this->vlans_->vlanIdIs(eth, 4095), Vix::RangeError);
}

TYPED_TEST(NeighSmTest, EntriesBeforeInitializationAreReplayed) {
  this->learn(10, mac(1), IntfId::ethernet(3));
  this->add(1, IntfId::vlan(10), mac(1));
  this->add(2, IntfId::vlan(10), mac(2));
  this->add(3, IntfId::vlan(10), mac(3));
  this->del(3, IntfId::vlan(10));
  EXPECT_TRUE(this->trace_->contains("not initalized/ready"));
  EXPECT_EQ(this->notifications(), 0u);
  this->sm_->initializedIs(true);
  EXPECT_EQ(this->info(1, 10).intfId(), IntfId::ethernet(3));
  EXPECT_EQ(this->info(2, 10).nextHopType(), NextHopType::vlanFloodset);
  EXPECT_EQ(this->vlans(3), 0u);
  // A new ARP VRF id drops everything filed under the old one.
  this->sm_->arpQuillVrfIdIs(8);
  EXPECT_EQ(this->vlans(1), 0u);
  EXPECT_EQ(this->sm_->arpEntryCount(), 0u);
  EXPECT_DEATH(this->add(1, IntfId::vlan(10), mac(1)), "entry.vrfId\\(\\) == arpQuillVrfId\\(\\)");
}

TYPED_TEST(NeighSmTest, VxlanHostNeedsAUsableVtep) {
  this->sm_->initializedIs(true);
  this->learn(10, mac(1), IntfId::vxlan(1));
  this->add(1, IntfId::vlan(10), mac(1));
  // No learned-host table yet: nothing can be said.
  EXPECT_EQ(this->vlans(1), 0u);
  auto hosts = Vix::makePtr<Vxlan::VxlanFdbStatus>("vxlanHosts");
  this->vxlan_->vxlanFdbStatusIs(hosts);
  EXPECT_EQ(this->vlans(1), 0u);
  hosts->remoteVtepIs(Vxlan::MacVlan{mac(1), 10}, Nollo::IpAddr4(0x01010101u));
  EXPECT_EQ(this->info(1, 10),
            NextHopInfo(NextHopType::ipTunnel, IntfId::vxlan(1), mac(1), Nollo::IpAddr4(0x01010101u)));
  // The same MAC in another VLAN is another host.
  hosts->remoteVtepIs(Vxlan::MacVlan{mac(1), 11}, Nollo::IpAddr4(0x02020202u));
  EXPECT_EQ(this->info(1, 10).tunnelDstIpAddr(), Nollo::IpAddr4(0x01010101u));
  EXPECT_DEATH(hosts->remoteVtepIs(Vxlan::MacVlan{mac(1), 10}, Nollo::IpAddr4()),
               "dstIpAddr != Nollo::IpAddr::ipAddrZero\\(\\)");
}

TEST(Ip6NeighSmTest, UnusedPingNeighbourWaitsForAnAdjacency) {
  auto loop = Vix::makePtr<Vix::ActivityLoop>(Vix::makePtr<Vix::ManualTimeSource>(0.0));
  auto acsd = Kor::korCommonSmDataFactory("acsd", loop);
  auto status = Vix::makePtr<Kor::VrfL3Status>(Kor::VrfName("red"));
  auto sm = Vix::makePtr<Kor::Ip6NeighSm>(acsd, Kor::VrfName("red"), status);
  sm->arpQuillVrfIdIs(1);
  sm->initializedIs(true);
  Nollo::IpAddr6 a("2001:db8::1"), b("2001:db8::2");
  sm->arpEntryIs({1, a, IntfId::vlan(10)}, ArpEntry(mac(1), ArpState::stale));
  sm->arpEntryIs({1, b, IntfId::vlan(10)}, ArpEntry(mac(2), ArpState::reachable));
  EXPECT_FALSE(status->nextHop6ListHas(a));
  EXPECT_TRUE(status->nextHop6ListHas(b));
  status->nextHopToAdj6EntryIs(a, Vix::makePtr<Kor::AdjEntrySet>());
  EXPECT_TRUE(status->nextHop6ListHas(a));
  // Skipped, then gone from the table: a later user finds nothing to program.
  Nollo::IpAddr6 c("2001:db8::3");
  sm->arpEntryIs({1, c, IntfId::vlan(10)}, ArpEntry(mac(3), ArpState::stale));
  sm->arpEntryDel({1, c, IntfId::vlan(10)});
  status->nextHopToAdj6EntryIs(c, Vix::makePtr<Kor::AdjEntrySet>());
  EXPECT_FALSE(status->nextHop6ListHas(c));
  // IPv4 has no such filter.
  auto arp = Vix::makePtr<Kor::ArpSm>(acsd, Kor::VrfName("red"), status);
  arp->arpQuillVrfIdIs(1);
  arp->initializedIs(true);
  arp->arpEntryIs({1, Nollo::IpAddr4(0x0a000001u), IntfId::vlan(10)}, ArpEntry(mac(1), ArpState::stale));
  EXPECT_TRUE(status->nextHopListHas(Nollo::IpAddr4(0x0a000001u)));
  sm = nullptr;
  arp = nullptr;
  EXPECT_EQ(status->nextHop6ListSize() + status->nextHopListSize(), 0u);
  acsd->doCleanup();
}

// The VRF root's feed from the shared tables ends in the VRF's next-hop
// lists, and leaves them when the table or the ARP VRF id withdraws it.
class NeighVrfRootTest : public KorTest::VrfRootFixture {};

TEST_F(NeighVrfRootTest, ArpTableReachesTheVrfsNextHopList) {
  Quill::Arp::ArpKey k(7, Nollo::IpAddr4("10.0.0.1"), IntfId::vlan(10));
  Quill::Arp::NeighKey n(7, Nollo::IpAddr6("2001:db8::1"), IntfId::vlan(10));
  arpTable_->arpEntryIs(k, ArpEntry(mac(1), ArpState::reachable));
  neighTable_->arpEntryIs(n, ArpEntry(mac(2), ArpState::reachable));
  arpVrfIdMap_->vrfNameIs(7, "blue");
  announce("blue");
  start();
  auto status = l3Status_->vrfL3Status(Kor::VrfName("blue"));
  ASSERT_TRUE(status->nextHopListHas(k.addr()));
  EXPECT_EQ(status->nextHopList(k.addr())->nextHopInfo(VlanId(10)).nextHopType(), NextHopType::vlanFloodset);
  EXPECT_TRUE(status->nextHop6ListHas(n.addr()));
  arpTable_->arpEntryDel(k);
  EXPECT_FALSE(status->nextHopListHas(k.addr()));
  arpVrfIdMap_->vrfNameDel(7);
  EXPECT_FALSE(status->nextHop6ListHas(n.addr()));
}

}  // namespace
