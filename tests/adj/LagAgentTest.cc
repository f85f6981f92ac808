// Port channels through the whole agent: the LAG statements feed the LAG
// machine, whose maps the adjacencies over a port channel follow, and a
// restart over the kept chip rewrites no port channel.
#include <gtest/gtest.h>

#include "AgentChipFixture.h"
#include "agent/lag/LagModule.h"
#include "kor/common/KorCommonSmData.h"

namespace KorTest {
namespace {

class LagAgentTest : public AgentChipFixture {
 protected:
  std::string l2adjShown() { return agent_->show("l2adj", false); }
};

TEST_F(LagAgentTest, AdjacencyOverAPortChannelFollowsItsMembers) {
  run("routing default on\nintf add Vlan10 vlan 10\nintf add Ethernet3\nintf add Ethernet4\nintf add Ethernet5\n"
      "lag add Port-Channel1 Ethernet3 Ethernet4\n"
      "arp add default 10.1.0.2 00:1c:73:00:00:02 Vlan10\nmac add 10 00:1c:73:00:00:02 Port-Channel1\n"
      "fec add 1 via 10.1.0.2 Vlan10\ninit\nrun until idle\n");
  EXPECT_EQ(agent_->commonData()->portToLag(IntfId::ethernet(4)), IntfId::portChannel(1));
  EXPECT_NE(l2adjShown().find("Port-Channel1"), std::string::npos) << l2adjShown();
  // Every member down: the port channel is down and the FEC drops.
  run("intf down Ethernet3\nintf down Ethernet4\nrun until idle\n");
  EXPECT_EQ(l2adjShown().find("Port-Channel1"), std::string::npos) << l2adjShown();
  // An up port joins: it forwards again.
  run("lag add Port-Channel1 Ethernet5\nrun until idle\n");
  EXPECT_NE(l2adjShown().find("Port-Channel1"), std::string::npos) << l2adjShown();
}

TEST_F(LagAgentTest, RestartOverTheKeptChipRewritesNoPortChannel) {
  run("lag add Port-Channel1 Ethernet1 Ethernet2\nlag add Port-Channel2 Ethernet3\ninit\nrun until idle\n");
  auto const& table = agent_->chip()->lag().lagTable();
  auto const before = table.counters();
  EXPECT_EQ(table.size(), 2u);
  agent_->restart();
  idle();
  EXPECT_EQ(table.counters().changes(), before.changes());
  EXPECT_EQ(agent_->commonData()->lagToPort(IntfId::portChannel(1)),
            Kor::KorPortList({IntfId::ethernet(1), IntfId::ethernet(2)}));
  // A port channel removed while the library was down leaves the chip.
  agent_->restart([&] { module<KorAgent::LagModule>().lagDel(IntfId::portChannel(2), {IntfId::ethernet(3)}); });
  idle();
  EXPECT_FALSE(table.has(IntfId::portChannel(2)));
  EXPECT_EQ(table.size(), 1u);
}

}  // namespace
}  // namespace KorTest
