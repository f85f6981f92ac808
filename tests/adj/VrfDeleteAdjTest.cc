// A VRF withdrawn from a running agent takes its adjacencies' L2
// adjacencies along - out of the chip and out of L3Status::l2AdjList -
// however quickly it goes after its FECs (before any review of them ran) and
// whether or not its FECs are still there; an L2 adjacency that another
// VRF's adjacency shares stays for that one.
#include <gtest/gtest.h>

#include <string>

#include "AgentChipFixture.h"

namespace {

class VrfDeleteAdjTest : public KorTest::AgentChipFixture {
 protected:
  void SetUp() override {
    AgentChipFixture::SetUp();
    run(R"(routing default on
maxvrfs 8
intf add Vlan10 vlan 10
arp add default 10.1.0.2 00:1c:73:00:00:02 Vlan10
fec add 1 via 10.1.0.2 Vlan10
route add default 10.10.0.0/16 fec 1
init
run until idle
)");
    ASSERT_EQ(table().size(), 1u);
  }

  L2AdjTable& table() { return l2adj(); }
  size_t records() const { return agent_->l3Status()->l2AdjListSize(); }
};

// The VRF goes in the same step as its FEC (no review of the deletion ran),
// or with its FECs and routes still in place: 200 rounds of either leave the
// chip and the records as they were. Every other round one of its L2
// adjacencies is installed only on a retry, which lists its adjacency for
// the platform (adjUpdateList): that entry goes too.
TEST_F(VrfDeleteAdjTest, AWithdrawnVrfLeavesNoL2Adjacency) {
  auto const c0 = table().counters();
  auto const* l3 = agent_->l3Status();
  for (int round = 0; round < 200; ++round) {
    run(round % 2 ? "chip fault l2adj notready\n" : "");
    run(R"(vrf add green
intf add Ethernet5 vrf green
arp add green 10.5.0.2 00:1c:73:00:00:05 Ethernet5
fec add 900 vrf green via 10.5.0.2 Ethernet5
fec add 901 vrf green via 10.5.0.3 Ethernet5
route add green 10.50.0.0/16 fec 900
run 1s
chip fault clear
run until idle
)");
    ASSERT_EQ(table().size(), 3u) << "round " << round;
    ASSERT_EQ(l3->adjUpdateListSize(), round % 2 ? 2u : 0u) << "round " << round;
    run(round % 2 ? "fec del 900\nfec del 901\nvrf del green\n" : "vrf del green\nfec del 900\nfec del 901\n");
    run("run 3600s\nintf del Ethernet5\narp del green 10.5.0.2\n");
    ASSERT_EQ(table().size(), 1u) << "round " << round;
    ASSERT_EQ(records(), 1u) << "round " << round;
    ASSERT_EQ(l3->adjUpdateListSize(), 0u) << "round " << round;
  }
  EXPECT_EQ(table().counters().creates - c0.creates, 400u);
  EXPECT_EQ(table().counters().deletes - c0.deletes, 400u);
  EXPECT_EQ(agent_->chip()->l3().route4Table().size(), 1u);
}

TEST_F(VrfDeleteAdjTest, AnL2AdjacencySharedWithAnotherVrfStays) {
  // Green's FEC resolves to what default's FEC 1 resolves to: one L2 adjacency.
  run("vrf add green\narp add green 10.1.0.2 00:1c:73:00:00:02 Vlan10\nfec add 900 vrf green via 10.1.0.2 Vlan10\n"
      "run until idle\n");
  std::string l2adj = agent_->show("l2adj", false);
  ASSERT_NE(l2adj.find("fecs 1 900:"), std::string::npos) << l2adj;
  ASSERT_EQ(table().size(), 1u);
  auto const held = table().entries();
  run("vrf del green\nrun until idle\n");
  EXPECT_EQ(table().entries(), held);
  EXPECT_EQ(records(), 1u);
  l2adj = agent_->show("l2adj", false);
  EXPECT_NE(l2adj.find("fecs 1:"), std::string::npos) << l2adj;
}

}  // namespace
