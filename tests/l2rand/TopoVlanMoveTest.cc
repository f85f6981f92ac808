// A VLAN moved between spanning-tree topologies while the chip refuses to
// take it out of them: every refused removal is asked again until the chip
// takes it, so the VLAN ends in no topology it left - judged on the chip's
// topology table and its forwarding answer.
#include "tests/adj/AgentChipFixture.h"

namespace {

class TopoVlanMoveTest : public KorTest::AgentChipFixture {
 protected:
  // VLAN 10 in MST1 (hardware id 1); MST2 (id 2) empty; no port reported.
  void SetUp() override {
    AgentChipFixture::SetUp();
    run("intf add Ethernet1\nvlan add 10\nswitchport Ethernet1 access vlan 10\n"
        "stp topology add MST1 vlan 10\nstp topology add MST2\ninit\nrun until idle\n");
  }
};

TEST_F(TopoVlanMoveTest, EveryRefusedRemovalIsAskedAgain) {
  auto const& stp = agent_->chip()->stp();
  ASSERT_EQ(stp.topoOfVlan(Kor::VlanId(10)), 1);
  // Out of MST1 refused, into MST2 taken; then out of MST2 refused as
  // MST2 goes: the VLAN waits to leave two topologies.
  run("chip fault topo 1 fail\nstp topology add MST2 vlan 10\nrun until idle\n"
      "chip fault topo 2 fail\nstp topology del MST2\nrun until idle\n");
  run("chip fault clear\ncmd VER\nrun until idle\ncmd VER\nrun until idle\n");
  EXPECT_EQ(stp.topoOfVlan(Kor::VlanId(10)), 0);
  EXPECT_TRUE(stp.forwarding(IntfId("Ethernet1"), Kor::VlanId(10)));
  EXPECT_EQ(agent_->command(-1, "VER"), "verify: all agree\n");
}

}  // namespace
