// Verification of the VLAN state: the chip's "vlan" rows against the VLAN
// helper's cache and port memberships, reported through the agent's
// verification pass; a pass that finds nothing wrong logs nothing. And the
// membership of VLANs configured after the trunks that allow them.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "agent/Agent.h"
#include "agent/ScenarioRunner.h"
#include "agent/vlan/VlanModule.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/common/VerifySm.h"
#include "kor/l2/SwitchIntfSm.h"
#include "softchip/SoftChip.h"
#include "softchip/l2/SoftVlanHelper.h"
#include "vix/ManualTimeSource.h"

namespace KorTest {

class VlanVerifyTest : public ::testing::Test {
 protected:
  VlanVerifyTest() : agent_(Vix::makePtr<Vix::ManualTimeSource>(0.0)) {}

  std::string run(std::string const& text) {
    std::ostringstream out;
    KorAgent::ScenarioRunner r(&agent_, &out);
    EXPECT_EQ(r.runText(text), 0u) << out.str();
    return out.str();
  }
  std::vector<std::string> verifyFaults() {
    std::vector<std::string> out;
    for (auto const& f : agent_.commonData()->verifySm()->doVerify()) out.push_back(f.description());
    return out;
  }
  SoftChip::VlanChip::VlanTable& vlanTable() { return agent_.chip()->vlan().vlanTable(); }
  std::string members(uint16_t vlan) {
    std::ostringstream os;
    if (auto const* row = vlanTable().find(Kor::VlanId(vlan))) os << *row;
    return os.str();
  }

  KorAgent::Agent agent_;
};

TEST_F(VlanVerifyTest, ARowChangedBehindTheLibrarysBackIsReportedAndACleanPassIsSilent) {
  std::string out = run(
      "intf add Ethernet1\nintf add Ethernet2\nintf add Ethernet3\n"
      "vlan add 10,20\n"
      "switchport Ethernet1 mode trunk\n"
      "switchport Ethernet2 access vlan 20\n"
      "init\nrun until idle\n"
      "lag add Port-Channel1 Ethernet3\nrun until idle\n"
      "lag del Port-Channel1 Ethernet3\nrun until idle\n");
  EXPECT_EQ(out.find("KOR_VERIFY_OUTPUT"), std::string::npos) << "clean passes log nothing:\n" << out;
  EXPECT_TRUE(verifyFaults().empty());

  // A member the library never asked for.
  auto row = *vlanTable().find(Kor::VlanId(20));
  row.members[Nollo::IntfId("Ethernet3")] = true;
  vlanTable().write(Kor::VlanId(20), row);
  EXPECT_EQ(verifyFaults(), std::vector<std::string>{"VLANs differ from the chip: 20 members differ"});

  // An egress port lost, and a VLAN the library does not know.
  row = *vlanTable().find(Kor::VlanId(10));
  row.egress.erase(Nollo::IntfId("Ethernet1"));
  vlanTable().write(Kor::VlanId(10), row);
  vlanTable().write(Kor::VlanId(99), SoftChip::ChipVlan{});
  EXPECT_EQ(verifyFaults(), std::vector<std::string>{"VLANs differ from the chip: 10 members differ, 20 members "
                                                     "differ, 99 unknown to the library"});
  out = run("verify\n");
  EXPECT_NE(out.find("99 unknown to the library"), std::string::npos) << out;

  // Put right, the pass is clean again.
  vlanTable().erase(Kor::VlanId(99));
  row.egress.insert(Nollo::IntfId("Ethernet1"));
  vlanTable().write(Kor::VlanId(10), row);
  row = *vlanTable().find(Kor::VlanId(20));
  row.members.erase(Nollo::IntfId("Ethernet3"));
  vlanTable().write(Kor::VlanId(20), row);
  EXPECT_TRUE(verifyFaults().empty());
}

TEST_F(VlanVerifyTest, APortRowChangedOrAddedBehindTheLibrarysBackIsReported) {
  run("intf add Ethernet1\nintf add Ethernet2\nvlan add 10\nswitchport Ethernet1 access vlan 10\n"
      "switchport Ethernet2 mode trunk\ninit\nrun until idle\n");
  EXPECT_TRUE(verifyFaults().empty());
  auto& ports = agent_.chip()->vlan().portVlanTable();
  auto row = *ports.find(Nollo::IntfId("Ethernet1"));
  row.defaultVlan = 20;
  ports.write(Nollo::IntfId("Ethernet1"), row);
  ports.write(Nollo::IntfId("Ethernet9"), row);
  EXPECT_EQ(verifyFaults(), std::vector<std::string>{"port VLAN rows differ from the chip: Ethernet1 differs, "
                                                     "Ethernet9 unknown to the library"});
  ports.erase(Nollo::IntfId("Ethernet9"));
  row.defaultVlan = 10;
  ports.write(Nollo::IntfId("Ethernet1"), row);
  EXPECT_TRUE(verifyFaults().empty());
}

TEST_F(VlanVerifyTest, AVlanBeingProgrammedIsComparedOnceItSettles) {
  run("intf add Ethernet1\nvlan add 10,20\nswitchport Ethernet1 access vlan 10\n"
      "init\nrun until idle\nchip delay vlan 50ms\nswitchport Ethernet1 access vlan 20\nrun 20ms\n");
  // VLAN 20's update is in flight; a stray member in its row is not judged yet.
  auto row = *vlanTable().find(Kor::VlanId(20));
  row.members[Nollo::IntfId("Ethernet7")] = true;
  vlanTable().write(Kor::VlanId(20), row);
  EXPECT_TRUE(verifyFaults().empty());
  // The chip's answer keeps the stray member: now it is a fault.
  run("run until idle\n");
  EXPECT_EQ(verifyFaults(), std::vector<std::string>{"VLANs differ from the chip: 20 members differ"});
}

TEST_F(VlanVerifyTest, VlansConfiguredAfterTheTrunksGetTheTrunksAccessPortsAndChannelMembers) {
  run("intf add Ethernet1\nintf add Ethernet2\nintf add Ethernet3\nintf add Ethernet4\n"
      "switchport Ethernet1 mode trunk\nswitchport Ethernet1 trunk native vlan 20\n"
      "switchport Ethernet2 mode trunk\nswitchport Ethernet2 trunk allowed vlan 10,30\n"
      "switchport Ethernet3 access vlan 20\n"
      "lag add Port-Channel1 Ethernet4\n"
      "switchport Port-Channel1 mode trunk\nswitchport Port-Channel1 trunk allowed vlan 20\n"
      "init\nrun until idle\n"
      "vlan add 10\nvlan add 20\nvlan add 30\nrun until idle\n");
  EXPECT_EQ(members(10), "members [Ethernet1(t), Ethernet2(t)] ingress [Ethernet1, Ethernet2] egress [Ethernet1, Ethernet2]");
  EXPECT_EQ(members(20),
            "members [Ethernet1(u), Ethernet3(u), Ethernet4(t)] ingress [Ethernet1, Ethernet3, Ethernet4] egress "
            "[Ethernet1, Ethernet3, Ethernet4]");
  EXPECT_EQ(members(30), "members [Ethernet1(t), Ethernet2(t)] ingress [Ethernet1, Ethernet2] egress [Ethernet1, Ethernet2]");
  run("vlan del 20\nrun until idle\n");
  EXPECT_EQ(members(20), "members [] ingress [] egress []");
  auto* sm = agent_.module<KorAgent::VlanModule>().switchIntfSm();
  EXPECT_EQ(sm->applied().at(Nollo::IntfId("Ethernet1")).vlans.size(), 2u);
  EXPECT_EQ(sm->applied().at(Nollo::IntfId("Ethernet3")).vlans.size(), 0u);
  EXPECT_TRUE(verifyFaults().empty());
}

}  // namespace KorTest
