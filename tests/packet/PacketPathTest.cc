#include <set>

#include "tests/packet/PacketPathFixture.h"

namespace KorTest {
namespace {

class PacketPathTest : public PacketPathFixture {
 protected:
  // Ethernet1 trunk (VLANs 10 tagged, 20 native), Ethernet2 trunk (10, 20
  // tagged), Ethernet3 access in 10, Ethernet4 access in 20.
  void SetUp() override {
    portIs(eth(1), Mode::trunk, 20);
    portIs(eth(2), Mode::trunk, 1);
    portIs(eth(3), Mode::access, 10);
    portIs(eth(4), Mode::access, 20);
    vlanIs(10, {{eth(1), true}, {eth(2), true}, {eth(3), false}});
    vlanIs(20, {{eth(1), false}, {eth(2), true}, {eth(4), false}});
  }
};

TEST_F(PacketPathTest, ClassifiesByTpidModeAndNativeVlan) {
  // Tagged on a trunk: bridged in its tag's VLAN, tagged out the trunks,
  // untagged out the access port.
  auto r = walk(eth(1), {{0x8100, 10}});
  EXPECT_EQ(r.vlan, 10);
  EXPECT_EQ(r.copies, (Copies{out(eth(2), {{0x8100, 10}}), out(eth(3), {})}));
  // Untagged on a trunk: the native VLAN, which leaves the other trunk tagged.
  r = walk(eth(1));
  EXPECT_EQ(r.vlan, 20);
  EXPECT_EQ(r.copies, (Copies{out(eth(2), {{0x8100, 20}}), out(eth(4), {})}));
  // Into the native VLAN from elsewhere: the trunk sends it untagged.
  EXPECT_EQ(walk(eth(4)).copies, (Copies{out(eth(1), {}), out(eth(2), {{0x8100, 20}})}));
  // A tag of another TPID is payload: untagged for the port, kept on the frame.
  r = walk(eth(1), {{0x88a8, 10}});
  EXPECT_EQ(r.vlan, 20);
  EXPECT_EQ(r.copies, (Copies{out(eth(2), {{0x8100, 20}, {0x88a8, 10}}), out(eth(4), {{0x88a8, 10}})}));
  // A priority tag is taken off; the frame is untagged.
  EXPECT_EQ(walk(eth(3), {{0x8100, 0}}).copies, (Copies{out(eth(1), {{0x8100, 10}}), out(eth(2), {{0x8100, 10}})}));
  // An access port admits no VLAN tag, even of its own VLAN.
  r = walk(eth(3), {{0x8100, 10}});
  EXPECT_TRUE(r.copies.empty());
  EXPECT_EQ(r.drop, "tagged frame on access port Ethernet3");
}

TEST_F(PacketPathTest, PortTpidDecidesWhatIsReadAndWritten) {
  portIs(eth(2), Mode::trunk, 1, 0x88a8);
  // A 0x8100 tag on the 0x88a8 port is payload; its own TPID classifies.
  EXPECT_EQ(walk(eth(2), {{0x8100, 10}}).drop, "vlan 1 not in chip");
  auto r = walk(eth(2), {{0x88a8, 10}});
  EXPECT_EQ(r.vlan, 10);
  // Out of it, the port's TPID is written; the other trunk writes its own.
  EXPECT_EQ(walk(eth(3)).copies, (Copies{out(eth(1), {{0x8100, 10}}), out(eth(2), {{0x88a8, 10}})}));
}

TEST_F(PacketPathTest, TunnelPortPushesAndPopsTheOuterTag) {
  portIs(eth(5), Mode::dot1qTunnel, 30);
  portIs(eth(6), Mode::dot1qTunnel, 30);
  portIs(eth(2), Mode::trunk, 1, 0x88a8);
  vlanIs(30, {{eth(2), true}, {eth(5), false}, {eth(6), false}});
  // A customer frame, tagged or not, goes whole into the access VLAN: the
  // trunk adds its outer tag, the other tunnel port sends it as received.
  auto r = walk(eth(5), {{0x8100, 100}});
  EXPECT_EQ(r.vlan, 30);
  EXPECT_EQ(r.copies, (Copies{out(eth(2), {{0x88a8, 30}, {0x8100, 100}}), out(eth(6), {{0x8100, 100}})}));
  // Even a tag with the tunnel port's own TPID stays the customer's.
  EXPECT_EQ(walk(eth(5), {{0x8100, 30}}).copies.back(), out(eth(6), {{0x8100, 30}}));
  // From the trunk the outer tag comes off on the tunnel ports.
  EXPECT_EQ(walk(eth(2), {{0x88a8, 30}, {0x8100, 100}}).copies,
            (Copies{out(eth(5), {{0x8100, 100}}), out(eth(6), {{0x8100, 100}})}));
  // A tunnel port translates nothing.
  xlateIs(false, eth(5), false, 100, 0, 10);
  xlateIs(false, eth(5), true, 30, 0, 10);
  EXPECT_EQ(walk(eth(5), {{0x8100, 100}}).vlan, 30);
  EXPECT_EQ(walk(eth(5)).vlan, 30);
}

TEST_F(PacketPathTest, TranslatesTheOuterTagInAndOut) {
  // Ingress: 100.7 and 100 map to different VLANs; the pair wins over the
  // outer tag alone, and the inner tag stays on the frame.
  xlateIs(false, eth(2), false, 100, 7, 10);
  xlateIs(false, eth(2), false, 100, 0, 20);
  auto r = walk(eth(2), {{0x8100, 100}, {0x8100, 7}});
  EXPECT_EQ(r.vlan, 10);
  EXPECT_EQ(r.copies, (Copies{out(eth(1), {{0x8100, 10}, {0x8100, 7}}), out(eth(3), {{0x8100, 7}})}));
  EXPECT_EQ(walk(eth(2), {{0x8100, 100}, {0x8100, 8}}).vlan, 20);
  EXPECT_EQ(walk(eth(2), {{0x8100, 100}}).vlan, 20);
  // A translation of another port does not apply here.
  EXPECT_EQ(walk(eth(1), {{0x8100, 100}}).drop, "vlan 100 not in chip");
  // Egress: VLAN 10 leaves Ethernet1 as 300, and as 301 when it carries inner 7.
  xlateIs(true, eth(1), false, 10, 0, 300);
  xlateIs(true, eth(1), false, 10, 7, 301);
  EXPECT_EQ(walk(eth(3)).copies.front(), out(eth(1), {{0x8100, 300}}));
  EXPECT_EQ(walk(eth(3), {{0x9100, 8}}).copies.front(), out(eth(1), {{0x8100, 300}, {0x9100, 8}}));
  EXPECT_EQ(walk(eth(2), {{0x8100, 100}, {0x8100, 7}}).copies.front(), out(eth(1), {{0x8100, 301}, {0x8100, 7}}));
  // An untagged member is not translated by a keyed entry.
  xlateIs(true, eth(3), false, 10, 0, 400);
  EXPECT_EQ(walk(eth(1), {{0x8100, 10}}).copies.back(), out(eth(3), {}));
}

TEST_F(PacketPathTest, NativePairsMapUntaggedFrames) {
  // Ethernet1's untagged frames (native 20) are bridged in 10; frames of its
  // native VLAN leave it tagged 200.
  xlateIs(false, eth(1), true, 20, 0, 10);
  xlateIs(true, eth(1), true, 20, 0, 200);
  EXPECT_EQ(walk(eth(1)).vlan, 10);
  EXPECT_EQ(walk(eth(1), {{0x8100, 20}}).vlan, 20);
  EXPECT_EQ(walk(eth(4)).copies.front(), out(eth(1), {{0x8100, 200}}));
  // A pair for another VLAN than the port's default does not apply.
  xlateIs(false, eth(3), true, 11, 0, 20);
  EXPECT_EQ(walk(eth(3)).vlan, 10);
}

TEST_F(PacketPathTest, IngressChecksNameTheirDrop) {
  EXPECT_EQ(walk(eth(9)).drop, "unknown port Ethernet9");
  EXPECT_EQ(walk(eth(1), {{0x8100, 11}}).drop, "vlan 11 not in chip");
  EXPECT_EQ(walk(eth(1), {{0x8100, 4095}}).drop, "vlan 4095 not in chip");
  vlanRow(10).ingress.erase(eth(1));
  auto r = walk(eth(1), {{0x8100, 10}});
  EXPECT_EQ(r.drop, "ingress port Ethernet1 not in vlan 10");
  EXPECT_FALSE(r.vlan);
  EXPECT_TRUE(r.copies.empty());
  // The VLAN's egress set decides where it goes, not its member list.
  vlanRow(10).egress.erase(eth(2));
  EXPECT_EQ(walk(eth(3)).copies, (Copies{out(eth(1), {{0x8100, 10}})}));
  vlanIs(12, {{eth(1), true}});
  EXPECT_EQ(walk(eth(1), {{0x8100, 12}}).drop, "no egress member in vlan 12");
  // The filtering database: its own VLAN unless the chip shares one.
  EXPECT_EQ(walk(eth(3)).fid, 10);
  chip_.xlate().vlanFidTable().write(10, 5);
  EXPECT_EQ(walk(eth(3)).fid, 5);
}

TEST_F(PacketPathTest, OnlyForwardingPortsPassFrames) {
  topoIs({10});
  stateIs(eth(1), PortState::forwarding);
  stateIs(eth(2), PortState::discarding);
  stateIs(eth(3), PortState::learning);
  // Blocked egress ports get no copy; the VLAN outside the topology forwards.
  EXPECT_EQ(walk(eth(1), {{0x8100, 10}}).copies.size(), 0u);
  EXPECT_EQ(walk(eth(1), {{0x8100, 10}}).drop, "port Ethernet2 not forwarding in vlan 10");
  EXPECT_EQ(walk(eth(1)).copies.size(), 2u);
  // Ingress: learning and discarding ports drop what they receive; a port
  // the topology does not hold passes nothing of its VLANs.
  EXPECT_EQ(walk(eth(3)).drop, "port Ethernet3 not forwarding in vlan 10");
  stateIs(eth(2), PortState::forwarding);
  EXPECT_EQ(walk(eth(1), {{0x8100, 10}}).copies, (Copies{out(eth(2), {{0x8100, 10}})}));
  chip_.stp().stpStateTable().erase(SoftChip::StpStateKey{1, eth(1)});
  EXPECT_EQ(walk(eth(1), {{0x8100, 10}}).drop, "port Ethernet1 not forwarding in vlan 10");
}

class PacketPathLagTest : public PacketPathFixture {
 protected:
  // Port-Channel1 (Ethernet1, 2) and Port-Channel2 (Ethernet3, 4, 5) trunks
  // and the access port Ethernet6, all in VLAN 10.
  void SetUp() override {
    for (uint32_t n = 1; n <= 5; ++n) portIs(eth(n), Mode::trunk, 1);
    portIs(eth(6), Mode::access, 10);
    lagIs(po(1), {eth(1), eth(2)});
    lagIs(po(2), {eth(3), eth(4), eth(5)});
    vlanIs(10, {{eth(1), true}, {eth(2), true}, {eth(3), true}, {eth(4), true}, {eth(5), true}, {eth(6), false}});
  }
};

TEST_F(PacketPathLagTest, OneCopyPerLagOnTheHashedMember) {
  std::set<IntfId> used;
  for (uint64_t hash = 0; hash < 64; ++hash) {
    auto const r = walk(eth(6), {}, hash);
    auto const m1 = *chip_.lag().memberFor(po(1), hash);
    auto const m2 = *chip_.lag().memberFor(po(2), hash);
    Copies want{out(m1, {{0x8100, 10}}, po(1)), out(m2, {{0x8100, 10}}, po(2))};
    EXPECT_EQ(r.copies, want) << "hash " << hash;
    used.insert(m2);
  }
  // The hash spreads flows over the members.
  EXPECT_EQ(used.size(), 3u);
}

TEST_F(PacketPathLagTest, NeverBackIntoTheIngressLag) {
  for (uint64_t hash = 0; hash < 16; ++hash) {
    auto const r = walk(eth(2), {{0x8100, 10}}, hash);
    ASSERT_EQ(r.copies.size(), 2u);
    EXPECT_EQ(r.copies[0].lag, po(2));
    EXPECT_EQ(r.copies[1], out(eth(6), {}));
  }
  // Alone with its own LAG, nothing leaves.
  vlanIs(11, {{eth(1), true}, {eth(2), true}});
  EXPECT_EQ(walk(eth(1), {{0x8100, 11}}).drop, "no egress member in vlan 11");
}

TEST_F(PacketPathLagTest, ChosenMemberMustPassItselfNoOtherStandsIn) {
  uint64_t hash = 0;
  auto const m = *chip_.lag().memberFor(po(2), hash);
  topoIs({10});
  for (uint32_t n = 1; n <= 6; ++n) stateIs(eth(n), eth(n) == m ? PortState::discarding : PortState::forwarding);
  auto r = walk(eth(6), {}, hash);
  ASSERT_EQ(r.copies.size(), 1u);
  EXPECT_EQ(r.copies[0].lag, po(1));
  // Out of the VLAN's egress set, the chosen member sends nothing either.
  stateIs(m, PortState::forwarding);
  vlanRow(10).egress.erase(m);
  r = walk(eth(6), {}, hash);
  ASSERT_EQ(r.copies.size(), 1u);
  EXPECT_EQ(r.copies[0].lag, po(1));
}

TEST_F(PacketPathLagTest, LagRefusedByTheChipBridgesAsSeparatePorts) {
  // Port-Channel2 leaves the chip's table: the library still wants it (a
  // software LAG), but the chip knows only its member ports.
  chip_.lag().lagTable().erase(po(2));
  chip_.lag().lagTable().capacityIs(1);
  chip_.lag().softLagHelper().updateLag(po(2), Kor::KorPortList{eth(3), eth(4), eth(5)});
  ASSERT_FALSE(chip_.lag().lagTable().has(po(2)));
  ASSERT_TRUE(chip_.lag().memberFor(po(2), 0));
  auto r = walk(eth(6));
  ASSERT_EQ(r.copies.size(), 4u);
  EXPECT_EQ(r.copies[1], out(eth(3), {{0x8100, 10}}));
  EXPECT_EQ(r.copies[3], out(eth(5), {{0x8100, 10}}));
  // and a frame from one member floods to the others.
  r = walk(eth(3), {{0x8100, 10}});
  ASSERT_EQ(r.copies.size(), 4u);
  EXPECT_EQ(r.copies[1], out(eth(4), {{0x8100, 10}}));
}

}  // namespace
}  // namespace KorTest
