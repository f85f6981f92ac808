// Spanning tree carried by VLAN membership (StpSm over a VlanTopoHelper on
// the software chip's VLAN helper): a port is a member of a topology's VLAN
// only while it forwards there, VLANs entering and leaving topologies, and
// the default topology of unmapped VLANs over the chip's own topologies.
#include <cstdlib>

#include "kor/l2/VlanTopoHelper.h"
#include "softchip/l2/SoftVlanHelper.h"
#include "tests/stp/StpChipFixture.h"

namespace KorTest {
namespace {

using Kor::VlanId;

class VlanTopoHelperTest : public StpChipFixture {
 protected:
  void SetUp() override {
    StpChipFixture::SetUp();
    vlans_ = Vix::makePtr<SoftChip::SoftVlanHelper>(acsd_, &chip_->vlan());
    topo_ = Vix::makePtr<Kor::VlanTopoHelper>(vlans_);
  }
  void TearDown() override {
    stopStp();
    topo_ = nullptr;
    vlans_ = nullptr;
  }
  void startVlanStp() {
    stp_ = Kor::stpSmFactory(acsd_, config_, status_, topo_);
    stp_->initializedIs(true);
  }
  // Asked into the VLAN (tagged), whatever spanning tree says.
  void ask(char const* intf, uint16_t vlan) {
    vlans_->doMaybeCreateVlan(VlanId(vlan));
    vlans_->doAddPortToVlan(IntfId(intf), VlanId(vlan), true, true, true);
  }
  // What the chip's VLAN table holds, once the updates went through.
  bool member(char const* intf, uint16_t vlan) {
    loop_->runFor(0.1);
    auto const* row = chip_->vlan().vlanTable().find(VlanId(vlan));
    return row && row->members.count(IntfId(intf));
  }

  Vix::Ptr<SoftChip::SoftVlanHelper> vlans_;
  Vix::Ptr<Kor::VlanTopoHelper> topo_;
};

TEST_F(VlanTopoHelperTest, APortIsAMemberOfATopologysVlanOnlyWhileItForwards) {
  topology("MST1", {10});
  startVlanStp();
  EXPECT_TRUE(vlans_->checkPortState()) << "set by hwInit";
  ask("Ethernet1", 10);
  ask("Ethernet2", 10);
  ask("Ethernet1", 20);
  EXPECT_FALSE(member("Ethernet1", 10)) << "no state in MST1: blocked";
  EXPECT_TRUE(member("Ethernet1", 20)) << "VLAN 20 is under no topology";

  report("MST1", "Ethernet1", PortState::forwarding);
  report("MST1", "Ethernet2", PortState::learning);
  EXPECT_TRUE(member("Ethernet1", 10));
  EXPECT_FALSE(member("Ethernet2", 10)) << "learning passes no frames";
  for (PortState s : {PortState::discarding, PortState::trapping, PortState::learning}) {
    report("MST1", "Ethernet1", s);
    EXPECT_FALSE(member("Ethernet1", 10)) << s;
    report("MST1", "Ethernet1", PortState::forwarding);
    EXPECT_TRUE(member("Ethernet1", 10)) << "added back when it forwards again, after " << s;
  }
  EXPECT_TRUE(member("Ethernet1", 20)) << "other VLANs untouched";
  EXPECT_TRUE(topo_->verify());

  // A port asked into the VLAN after its state came in.
  report("MST1", "Ethernet3", PortState::forwarding);
  ask("Ethernet3", 10);
  EXPECT_TRUE(member("Ethernet3", 10));
  // The protocol drops the port from the topology: blocked there.
  status_->instStatus("MST1")->portStateDel(IntfId("Ethernet3"));
  EXPECT_FALSE(member("Ethernet3", 10));
}

TEST_F(VlanTopoHelperTest, AVlanMovedBetweenTopologiesTakesTheNewStatesAndOutOfAllEveryPortForwards) {
  topology("MST1", {10});
  topology("MST2", {});
  report("MST1", "Ethernet1", PortState::forwarding);
  report("MST2", "Ethernet1", PortState::discarding);
  report("MST2", "Ethernet2", PortState::forwarding);
  startVlanStp();
  ask("Ethernet1", 10);
  ask("Ethernet2", 10);
  EXPECT_TRUE(member("Ethernet1", 10));
  EXPECT_FALSE(member("Ethernet2", 10));

  config_->vidToTopoIs(10, "MST2");
  EXPECT_FALSE(member("Ethernet1", 10));
  EXPECT_TRUE(member("Ethernet2", 10));
  EXPECT_EQ(topo_->topoOfVlan(VlanId(10)), stp_->topoSm("MST2")->topoId());

  config_->vidToTopoDel(10);
  EXPECT_TRUE(member("Ethernet1", 10)) << "under no topology: every port asked is in";
  EXPECT_TRUE(member("Ethernet2", 10));
  EXPECT_EQ(topo_->topoOfVlan(VlanId(10)), 0);

  // A deleted topology lets its VLANs go with it.
  config_->vidToTopoIs(10, "MST2");
  EXPECT_FALSE(member("Ethernet1", 10));
  config_->vidToTopoDel(10);
  config_->topologyDel("MST2");
  EXPECT_TRUE(member("Ethernet1", 10));
  EXPECT_TRUE(topo_->verify());
}

TEST_F(VlanTopoHelperTest, TapAggregationForwardsEveryPortInEveryVlanAndBackRestoresTheStates) {
  topology("MST1", {10});
  report("MST1", "Ethernet1", PortState::discarding);
  startVlanStp();
  ask("Ethernet1", 10);
  EXPECT_FALSE(member("Ethernet1", 10));
  acsd_->operationalModeIs(Kor::modeTapAgg);
  EXPECT_TRUE(member("Ethernet1", 10));
  acsd_->operationalModeIs(Kor::modeNormal);
  EXPECT_FALSE(member("Ethernet1", 10));
}

TEST_F(VlanTopoHelperTest, WithoutAVlanHelperItRefusesToWork) {
  unsetenv("KOR_NOOP_AGENT");
  EXPECT_DEATH(Kor::VlanTopoHelper(nullptr), "No Vlan helper");
}

// The chip's own topologies: VLANs no topology names go to defaultTopo.
TEST_F(VlanTopoHelperTest, UnmappedVlansBelongToTheDefaultTopology) {
  topology("MST1", {10});
  startStp();
  stp_->defaultTopoIs("MST0");
  EXPECT_EQ(chip().topoOfVlan(VlanId(20)), 0) << "MST0 is not configured yet";
  topology("MST0", {});
  int const mst0 = stp_->topoSm("MST0")->topoId();
  int const mst1 = stp_->topoSm("MST1")->topoId();
  EXPECT_EQ(chip().topoOfVlan(VlanId(20)), mst0);
  EXPECT_EQ(chip().topoOfVlan(VlanId(4094)), mst0);
  EXPECT_EQ(chip().topoOfVlan(VlanId(10)), mst1) << "a mapped VLAN stays where it is mapped";
  config_->vidToTopoDel(10);
  EXPECT_EQ(chip().topoOfVlan(VlanId(10)), mst0) << "its mapping gone, it returns to the default";
  config_->vidToTopoIs(20, "MST1");
  EXPECT_EQ(chip().topoOfVlan(VlanId(20)), mst1);
  stp_->defaultTopoIs("");
  EXPECT_EQ(chip().topoOfVlan(VlanId(30)), 0);
  EXPECT_EQ(chip().topoOfVlan(VlanId(20)), mst1);
}

}  // namespace
}  // namespace KorTest
