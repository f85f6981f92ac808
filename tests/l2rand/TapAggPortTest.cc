// Tap-aggregation mode sets spanning tree aside: every port forwards,
// including one the agent gains while the mode holds - judged on the chip's
// spanning-tree answer and the packet path.
#include "tests/l2rand/L2AgentFixture.h"

namespace {

using Nollo::IntfId;

class TapAggPortTest : public L2AgentFixture {
 protected:
  // VLAN 10 is under topology MST1, where only Ethernet1 is reported.
  void SetUp() override {
    start({"intf add Ethernet1", "intf add Ethernet2", "vlan add 10", "switchport Ethernet1 access vlan 10",
           "switchport Ethernet2 access vlan 10", "switchport Ethernet3 access vlan 10",
           "stp topology add MST1 vlan 10", "stp port Ethernet1 topology MST1 state forwarding"});
  }

  bool forwarding(char const* port) const { return agent_.chip()->stp().forwarding(IntfId(port), Kor::VlanId(10)); }
};

TEST_F(TapAggPortTest, PortAddedInTheModeForwards) {
  EXPECT_FALSE(forwarding("Ethernet2"));
  say("mode tap-aggregation");
  EXPECT_TRUE(forwarding("Ethernet2"));

  say("intf add Ethernet3");
  EXPECT_TRUE(forwarding("Ethernet3"));
  auto r = walk("Ethernet3", {});
  ASSERT_EQ(r.copies.size(), 2u) << r.drop;
  EXPECT_EQ(r.copies[0].port, IntfId("Ethernet1"));
  EXPECT_EQ(r.copies[1].port, IntfId("Ethernet2"));

  // Back in the regular mode the protocol's reports decide again.
  say("mode regular");
  EXPECT_FALSE(forwarding("Ethernet3"));
  EXPECT_TRUE(forwarding("Ethernet1"));
}

}  // namespace
