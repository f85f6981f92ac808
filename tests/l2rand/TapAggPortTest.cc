// Tap-aggregation mode sets spanning tree aside: every port forwards,
// including one the agent gains while the mode holds - judged on the chip's
// spanning-tree answer and the packet path.
#include "softchip/packet/PacketPath.h"
#include "tests/adj/AgentChipFixture.h"

namespace {

class TapAggPortTest : public KorTest::AgentChipFixture {
 protected:
  // VLAN 10 is under topology MST1, where only Ethernet1 is reported.
  void SetUp() override {
    AgentChipFixture::SetUp();
    run("intf add Ethernet1\nintf add Ethernet2\nvlan add 10\nswitchport Ethernet1 access vlan 10\n"
        "switchport Ethernet2 access vlan 10\nswitchport Ethernet3 access vlan 10\n"
        "stp topology add MST1 vlan 10\nstp port Ethernet1 topology MST1 state forwarding\ninit\nrun until idle\n");
  }

  bool forwarding(char const* port) const { return agent_->chip()->stp().forwarding(IntfId(port), Kor::VlanId(10)); }
};

TEST_F(TapAggPortTest, PortAddedInTheModeForwards) {
  EXPECT_FALSE(forwarding("Ethernet2"));
  run("mode tap-aggregation\nrun until idle\n");
  EXPECT_TRUE(forwarding("Ethernet2"));

  run("intf add Ethernet3\nrun until idle\n");
  EXPECT_TRUE(forwarding("Ethernet3"));
  SoftChip::Frame f;
  f.inPort = IntfId("Ethernet3");
  auto r = SoftChip::PacketPath(*agent_->chip()).walk(f);
  ASSERT_EQ(r.copies.size(), 2u) << r.drop;
  EXPECT_EQ(r.copies[0].port, IntfId("Ethernet1"));
  EXPECT_EQ(r.copies[1].port, IntfId("Ethernet2"));

  // Back in the regular mode the protocol's reports decide again.
  run("mode regular\nrun until idle\n");
  EXPECT_FALSE(forwarding("Ethernet3"));
  EXPECT_TRUE(forwarding("Ethernet1"));
}

}  // namespace
