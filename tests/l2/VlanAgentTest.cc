// The VLAN inputs of the agent: statements and configuration-file sections
// refuse a bad VLAN or TPID with the library's own text and their place,
// applying nothing; and a restart over the kept chip rewrites no VLAN row
// or port row that was already right.
#include <gtest/gtest.h>

#include <sstream>

#include "../agent/ConfigFileFixture.h"
#include "agent/ScenarioRunner.h"
#include "agent/VlanList.h"
#include "agent/stp/StpModule.h"
#include "agent/vlan/VlanModule.h"
#include "agent/xlate/XlateModule.h"
#include "kor/l2/VlanPhyIntfSm.h"
#include "softchip/SoftChip.h"
#include "softchip/l2/SoftVlanHelper.h"

namespace KorTest {

class VlanAgentTest : public ConfigFileFixture {
 protected:
  // The output of running `text`, and how many of its lines failed.
  std::string run(std::string const& text, size_t* failed = nullptr) {
    std::ostringstream out;
    KorAgent::ScenarioRunner r(&agent_, &out);
    size_t n = r.runText(text);
    if (failed) *failed = n;
    return out.str();
  }
  KorAgent::VlanModule& vlans() { return agent_.module<KorAgent::VlanModule>(); }
};

TEST_F(VlanAgentTest, StatementsRefuseBadVlansAndTpidsWithTheirTextsAndApplyNothing) {
  size_t failed = 0;
  std::string out = run(
      "vlan add 10,4095\n"
      "switchport Ethernet1 tpid 0\n"
      "switchport Ethernet1 trunk allowed vlan 10-4095\n"
      "switchport Ethernet1 access vlan 0\n"
      "switchport Ethernet1 mode hybrid\n",
      &failed);
  EXPECT_EQ(failed, 5u) << out;
  EXPECT_NE(out.find("line 1: VlanId::value < 1 or > 4094 not allowed"), std::string::npos) << out;
  EXPECT_NE(out.find("line 2: KorPortVlanTpidData::vlanTpid < 1 not allowed"), std::string::npos) << out;
  EXPECT_NE(out.find("line 3: VlanId::value < 1 or > 4094 not allowed"), std::string::npos) << out;
  EXPECT_EQ(vlans().vlanConfig()->vlanSize(), 0u) << "VLAN 10 of the refused line is not added";
  EXPECT_EQ(vlans().switchIntfConfig()->switchIntfConfigSize(), 0u);
}

// The one VLAN-list parser behind every statement that takes a list.
TEST_F(VlanAgentTest, EveryVlanListTakesTheSameSyntaxAndRefusesAlike) {
  size_t failed = 0;
  std::string out = run(
      "vlan add 20-10\n"
      "stp topology add MST1 vlan 5,0\n"
      "stp topology add MST1 vlan 30-20\n"
      "vlan add 10,12-13\n"
      "stp topology add MST1 vlan 10,12-13\n",
      &failed);
  EXPECT_EQ(failed, 3u) << out;
  EXPECT_NE(out.find("line 1: VLAN range 20-10 runs backwards"), std::string::npos) << out;
  EXPECT_NE(out.find("line 2: VlanId::value < 1 or > 4094 not allowed"), std::string::npos) << out;
  EXPECT_NE(out.find("line 3: VLAN range 30-20 runs backwards"), std::string::npos) << out;
  EXPECT_EQ(vlans().vlanConfig()->vlanSize(), 3u);
  auto const& topo = agent_.module<KorAgent::StpModule>().topoConfig();
  EXPECT_EQ(topo->vidToTopoSize(), 3u);
  EXPECT_EQ(topo->vidToTopo(13), "MST1");
  EXPECT_EQ(KorAgent::VlanList::text({1, 2, 3, 5, 7, 8}), "1-3,5,7-8");
}

// VLAN interfaces reach the VLAN-to-fid machine while they are up.
TEST_F(VlanAgentTest, VlanInterfacesThatAreUpAreTheCommonDatasVlanIntfs) {
  run("intf add Vlan10\nintf add Vlan20 down\nintf add Ethernet1\ninit\nrun until idle\n");
  auto const* sm = agent_.module<KorAgent::XlateModule>().vlanPhyIntfSm();
  ASSERT_TRUE(sm);
  EXPECT_TRUE(sm->vlanIntfStatus().count(Kor::VlanId(10)));
  EXPECT_FALSE(sm->vlanIntfStatus().count(Kor::VlanId(20))) << "down";
  EXPECT_EQ(sm->vlanIntfStatus().size(), 1u) << "Ethernet1 is no VLAN interface";
  run("intf up Vlan20\nintf down Vlan10\nrun until idle\n");
  EXPECT_TRUE(sm->vlanIntfStatus().count(Kor::VlanId(20)));
  EXPECT_FALSE(sm->vlanIntfStatus().count(Kor::VlanId(10)));
  run("intf del Vlan20\nrun until idle\n");
  EXPECT_TRUE(sm->vlanIntfStatus().empty());
  // A new run reads them again.
  run("intf up Vlan10\nrestart\nrun until idle\n");
  sm = agent_.module<KorAgent::XlateModule>().vlanPhyIntfSm();
  EXPECT_TRUE(sm->vlanIntfStatus().count(Kor::VlanId(10)));
}

TEST_F(VlanAgentTest, TheFileRefusesBadVlansAndTpidsAtTheirPlace) {
  expectRefused(R"({"vlans": [10, 4095]})", "/vlans/1: VlanId::value < 1 or > 4094 not allowed");
  expectRefused(R"({"vlans": [10], "switchports": {"Ethernet1": {"mode": "trunk", "tpid": "0x0"}}})",
                "/switchports/Ethernet1/tpid: KorPortVlanTpidData::vlanTpid < 1 not allowed");
  expectRefused(R"({"switchports": {"Ethernet1": {"mode": "trunk", "allowed": [5, 4095]}}})",
                "/switchports/Ethernet1/allowed/1: VlanId::value < 1 or > 4094 not allowed");
  EXPECT_EQ(vlans().vlanConfig()->vlanSize(), 0u);
  EXPECT_EQ(vlans().switchIntfConfig()->switchIntfConfigSize(), 0u);
}

TEST_F(VlanAgentTest, ARestartOverTheKeptChipRewritesNothingThatWasRight) {
  startWith(R"({"interfaces": {"Ethernet1": {}, "Ethernet2": {}},
                "vlans": [10, 20],
                "switchports": {"Ethernet1": {"mode": "trunk", "native": 10},
                                "Ethernet2": {"vlan": 20, "tpid": "0x88a8"}}})");
  auto& chip = *agent_.chip();
  ASSERT_EQ(chip.vlan().vlanTable().find(Kor::VlanId(20))->members.size(), 2u);
  auto vlanWrites = chip.vlan().vlanTable().counters().changes();
  auto portWrites = chip.vlan().portVlanTable().counters().changes();
  agent_.restart();
  ASSERT_TRUE(agent_.runUntilIdle());
  EXPECT_EQ(chip.vlan().vlanTable().counters().changes(), vlanWrites);
  EXPECT_EQ(chip.vlan().portVlanTable().counters().changes(), portWrites);
  EXPECT_TRUE(vlans().vlanHelper()->portVlanMembership(Nollo::IntfId("Ethernet2"))->untaggedVlanHas(Kor::VlanId(20)));
}

}  // namespace KorTest
