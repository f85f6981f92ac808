// Native-VLAN translation pairs that map a VLAN to itself, driven through
// the agent and judged on the chip's egress table and the packet path: such
// a pair is no translation, so it leaves nothing in the chip, a frame sent
// untagged in that VLAN stays untagged, and a later pair for another VLAN
// is the port's only native entry.
#include <map>

#include "softchip/packet/PacketPath.h"
#include "tests/adj/AgentChipFixture.h"

namespace {

class NativeXlateTest : public KorTest::AgentChipFixture {
 protected:
  // Ethernet1 sends VLAN 20 untagged (its native VLAN); Ethernet2 is a
  // trunk carrying it tagged.
  void SetUp() override {
    AgentChipFixture::SetUp();
    run("intf add Ethernet1\nintf add Ethernet2\nvlan add 10,20,30\nswitchport Ethernet1 mode trunk\n"
        "switchport Ethernet1 trunk native vlan 20\nswitchport Ethernet2 mode trunk\ninit\nrun until idle\n");
  }

  // Ethernet1's native entries in the chip's egress table: VLAN -> tag.
  std::map<uint16_t, uint16_t> egressNatives() const {
    std::map<uint16_t, uint16_t> out;
    for (auto const& [k, to] : agent_->chip()->xlate().egressTable().entries())
      if (k.port == IntfId("Ethernet1") && k.native) out[k.match.outerVlan()] = to;
    return out;
  }

  // The tags a frame tagged 20 on Ethernet2 leaves Ethernet1 with.
  std::vector<SoftChip::FrameTag> tagsOut() const {
    SoftChip::Frame f;
    f.inPort = IntfId("Ethernet2");
    f.tags = {{0x8100, 20}};
    auto r = SoftChip::PacketPath(*agent_->chip()).walk(f);
    for (auto const& c : r.copies)
      if (c.port == IntfId("Ethernet1")) return c.tags;
    ADD_FAILURE() << "no copy out of Ethernet1: " << r.drop;
    return {};
  }
};

TEST_F(NativeXlateTest, PairToItselfIsNoTranslation) {
  run("vlan translation Ethernet1 native egress 20 to 20\nrun until idle\n");
  EXPECT_TRUE(egressNatives().empty());
  EXPECT_TRUE(tagsOut().empty());

  // A pair for another VLAN is the port's one native entry.
  run("vlan translation Ethernet1 native egress 10 to 30\nrun until idle\n");
  EXPECT_EQ(egressNatives(), (std::map<uint16_t, uint16_t>{{10, 30}}));

  // Back to the identity and removed: nothing stays behind.
  run("vlan translation Ethernet1 native egress 20 to 20\nvlan translation del Ethernet1 native egress\n"
      "run until idle\n");
  EXPECT_TRUE(egressNatives().empty());
  EXPECT_TRUE(tagsOut().empty());

  // A real pair still tags, and goes when removed.
  run("vlan translation Ethernet1 native egress 20 to 30\nrun until idle\n");
  EXPECT_EQ(tagsOut(), (std::vector<SoftChip::FrameTag>{{0x8100, 30}}));
  run("vlan translation del Ethernet1 native egress\nrun until idle\n");
  EXPECT_TRUE(tagsOut().empty());
}

}  // namespace
