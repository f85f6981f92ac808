// Native-VLAN translation pairs that map a VLAN to itself, driven through
// the agent and judged on the chip's egress table and the packet path: such
// a pair is no translation, so it leaves nothing in the chip, a frame sent
// untagged in that VLAN stays untagged, and a later pair for another VLAN
// is the port's only native entry.
#include <map>

#include "tests/l2rand/L2AgentFixture.h"

namespace {

using Nollo::IntfId;

class NativeXlateTest : public L2AgentFixture {
 protected:
  // Ethernet1 sends VLAN 20 untagged (its native VLAN); Ethernet2 is a
  // trunk carrying it tagged.
  void SetUp() override {
    start({"intf add Ethernet1", "intf add Ethernet2", "vlan add 10,20,30", "switchport Ethernet1 mode trunk",
           "switchport Ethernet1 trunk native vlan 20", "switchport Ethernet2 mode trunk"});
  }

  // Ethernet1's native entries in the chip's egress table: VLAN -> tag.
  std::map<uint16_t, uint16_t> egressNatives() const {
    std::map<uint16_t, uint16_t> out;
    for (auto const& [k, to] : agent_.chip()->xlate().egressTable().entries())
      if (k.port == IntfId("Ethernet1") && k.native) out[k.match.outerVlan()] = to;
    return out;
  }

  // The tags a frame tagged 20 on Ethernet2 leaves Ethernet1 with.
  std::vector<SoftChip::FrameTag> tagsOut() const {
    auto r = walk("Ethernet2", {{0x8100, 20}});
    for (auto const& c : r.copies)
      if (c.port == IntfId("Ethernet1")) return c.tags;
    ADD_FAILURE() << "no copy out of Ethernet1: " << r.drop;
    return {};
  }
};

TEST_F(NativeXlateTest, PairToItselfIsNoTranslation) {
  say("vlan translation Ethernet1 native egress 20 to 20");
  EXPECT_TRUE(egressNatives().empty());
  EXPECT_TRUE(tagsOut().empty());

  // A pair for another VLAN is the port's one native entry.
  say("vlan translation Ethernet1 native egress 10 to 30");
  EXPECT_EQ(egressNatives(), (std::map<uint16_t, uint16_t>{{10, 30}}));

  // Back to the identity and removed: nothing stays behind.
  say("vlan translation Ethernet1 native egress 20 to 20");
  say("vlan translation del Ethernet1 native egress");
  EXPECT_TRUE(egressNatives().empty());
  EXPECT_TRUE(tagsOut().empty());

  // A real pair still tags, and goes when removed.
  say("vlan translation Ethernet1 native egress 20 to 30");
  EXPECT_EQ(tagsOut(), (std::vector<SoftChip::FrameTag>{{0x8100, 30}}));
  say("vlan translation del Ethernet1 native egress");
  EXPECT_TRUE(tagsOut().empty());
}

}  // namespace
