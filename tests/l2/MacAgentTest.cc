// The MAC table inputs of the agent: the "macs" section refuses bad VLANs,
// MACs and interfaces at their place and applies nothing; a reload moves
// the static entries, learning and aging time to what the file says; and a
// restart over the kept chip finds the learned and static entries again.
#include <gtest/gtest.h>

#include "../agent/ConfigFileFixture.h"
#include "agent/mac/MacModule.h"
#include "agent/neigh/NeighbourModule.h"
#include "kor/mac/MacAddrSm.h"
#include "softchip/mac/SoftMacAddrSmHelper.h"

namespace KorTest {

namespace {
using Key = KorTypes::MacAddressTableEntry::Key;
Key key(uint16_t vlan, char const* mac) { return Key(Nollo::EthAddr(mac), static_cast<int64_t>(vlan)); }
}  // namespace

class MacAgentTest : public ConfigFileFixture {
 protected:
  KorAgent::MacModule& macs() { return agent_.module<KorAgent::MacModule>(); }
  std::optional<Bridging::LearnedHost> fdb(Key const& k) {
    auto f = agent_.module<KorAgent::NeighbourModule>().bridgingStatus()->fdbStatus(k.vlanId().value());
    if (!f || !f->learnedHostHas(k.macaddr())) return std::nullopt;
    return f->learnedHost(k.macaddr());
  }
};

TEST_F(MacAgentTest, TheFileRefusesBadEntriesAtTheirPlace) {
  expectRefused(R"({"macs": {"static": {"4095": {"00:1c:73:00:00:01": "Ethernet1"}}}})",
                "/macs/static/4095: VlanId::value < 1 or > 4094 not allowed");
  expectRefused(R"({"macs": {"static": {"10": {"01:00:5e:00:00:01": "Ethernet1"}}}})",
                "/macs/static/10/01:00:5e:00:00:01: static MAC 01:00:5e:00:00:01 is not a unicast address");
  expectRefused(R"({"macs": {"learning": {"Vlan10": false}}})",
                "/macs/learning/Vlan10: Vlan10 is not an Ethernet port or port channel");
  expectRefused(R"({"macs": {"aging": -1}})", "/macs/aging: -1 is out of range 0..1000000");
  EXPECT_EQ(macs().bridgingConfig()->fdbConfigSize(), 0u);
  EXPECT_EQ(macs().bridgingConfig()->macLearningSize(), 0u);
  EXPECT_EQ(macs().bridgingConfig()->hostAgingTime(), KorAgent::MacModule::kDefaultAgingTime);
}

TEST_F(MacAgentTest, AReloadMovesStaticEntriesLearningAndAgingAndARestartKeepsTheTable) {
  startWith(R"({"interfaces": {"Ethernet1": {}, "Ethernet2": {}},
                "macs": {"aging": 60, "static": {"10": {"00:1c:73:00:00:01": "Ethernet1"}},
                         "learning": {"Ethernet2": false}}})");
  EXPECT_EQ(macs().helper().agingTime(), 60);
  EXPECT_FALSE(macs().helper().learningOn(Nollo::IntfId("Ethernet2")));
  ASSERT_TRUE(fdb(key(10, "00:1c:73:00:00:01")));
  macs().learn(Kor::VlanId(20), Nollo::EthAddr("00:1c:73:00:00:02"), Nollo::IntfId("Ethernet1"), true);
  ASSERT_TRUE(agent_.runUntilIdle());
  ASSERT_TRUE(fdb(key(20, "00:1c:73:00:00:02")));

  auto r = reload(R"({"interfaces": {"Ethernet1": {}, "Ethernet2": {}},
                      "macs": {"static": {"10": {"00:1c:73:00:00:01": "Ethernet2"}}}})");
  ASSERT_TRUE(r.refusals().empty()) << r.text(path_);
  ASSERT_TRUE(agent_.runUntilIdle());
  EXPECT_EQ(fdb(key(10, "00:1c:73:00:00:01"))->intf, Nollo::IntfId("Ethernet2"));
  EXPECT_EQ(macs().helper().agingTime(), int(KorAgent::MacModule::kDefaultAgingTime));
  EXPECT_TRUE(macs().helper().learningOn(Nollo::IntfId("Ethernet2")));

  agent_.restart();
  ASSERT_TRUE(agent_.runUntilIdle());
  EXPECT_EQ(fdb(key(10, "00:1c:73:00:00:01"))->intf, Nollo::IntfId("Ethernet2"));
  EXPECT_TRUE(fdb(key(20, "00:1c:73:00:00:02")));
  // The learned entry aged while no library ran leaves at the restart.
  agent_.module<KorAgent::NeighbourModule>().macDel(Kor::VlanId(20), Nollo::EthAddr("00:1c:73:00:00:02"));
  ASSERT_TRUE(agent_.runUntilIdle());
  EXPECT_FALSE(fdb(key(20, "00:1c:73:00:00:02")));
}

}  // namespace KorTest
