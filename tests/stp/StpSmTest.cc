// The spanning-tree machine against the software chip: what reaches the chip
// for repeated reports, LAG members, VLAN moves, the chip's topology limit,
// flushes, tap-aggregation mode and a restart over the kept chip.
#include "tests/stp/StpChipFixture.h"

namespace KorTest {
namespace {

using PortState = Bridging::Topology::PortState;

class StpSmTest : public StpChipFixture {};

TEST_F(StpSmTest, EqualReportsWriteTheChipOnce) {
  topology("MST1", {10});
  startStp();
  report("MST1", "Ethernet1", PortState::forwarding);
  auto const& writes = chip().stpStateTable().counters();
  EXPECT_EQ(writes.creates, 1u);
  // The same report again, through the topology's handler and the port's own.
  stp_->topoSm("MST1")->handleTopoPortChange(IntfId("Ethernet1"));
  stp_->topoSm("MST1")->topoPortSm(IntfId("Ethernet1"))->doSetStpState(IntfId("Ethernet1"), PortState::forwarding);
  EXPECT_EQ(writes.creates + writes.updates + writes.syncs, 1u);
  report("MST1", "Ethernet1", PortState::discarding);
  EXPECT_EQ(writes.updates, 1u);
  EXPECT_FALSE(chip().forwarding(IntfId("Ethernet1"), Kor::VlanId(10)));
  // A VLAN under no topology is not spanning tree's: it forwards.
  EXPECT_TRUE(chip().forwarding(IntfId("Ethernet1"), Kor::VlanId(11)));
}

TEST_F(StpSmTest, LagMemberCarriesTheLagStateUntilItLeaves) {
  topology("MST1", {10});
  joinLag("Ethernet1", "Port-Channel1");
  report("MST1", "Ethernet1", PortState::discarding);
  report("MST1", "Port-Channel1", PortState::forwarding);
  startStp();
  EXPECT_EQ(hwState("MST1", "Ethernet1"), PortState::forwarding);
  // Its own reports wait while it is in the LAG; the LAG's reach it.
  report("MST1", "Ethernet1", PortState::learning);
  EXPECT_EQ(hwState("MST1", "Ethernet1"), PortState::forwarding);
  report("MST1", "Port-Channel1", PortState::trapping);
  EXPECT_EQ(hwState("MST1", "Ethernet1"), PortState::trapping);
  acsd_->portToLagDel(IntfId("Ethernet1"));
  EXPECT_EQ(hwState("MST1", "Ethernet1"), PortState::learning);
  // Joining again takes the LAG's state at once.
  joinLag("Ethernet1", "Port-Channel1");
  EXPECT_EQ(hwState("MST1", "Ethernet1"), PortState::trapping);
  // A LAG outside the topology leaves the joining port's state as it was.
  report("MST1", "Ethernet2", PortState::discarding);
  joinLag("Ethernet2", "Port-Channel2");
  EXPECT_EQ(hwState("MST1", "Ethernet2"), PortState::discarding);
  // A member without a report of its own leaves the topology with its LAG state.
  joinLag("Ethernet3", "Port-Channel1");
  EXPECT_EQ(hwState("MST1", "Ethernet3"), PortState::trapping);
  acsd_->portToLagDel(IntfId("Ethernet3"));
  EXPECT_EQ(hwState("MST1", "Ethernet3"), std::nullopt);
}

TEST_F(StpSmTest, VlanMovesBetweenTopologies) {
  config_->vidToTopoIs(20, "MST2");  // its topology comes later
  topology("MST1", {10, 20});
  startStp();
  EXPECT_TRUE(stp_->topoToVlanMap().at("MST1").mappedVlanHas(Kor::VlanId(20)));
  topology("MST2", {});
  EXPECT_EQ(stp_->vlanToTopoSmMap().at(Kor::VlanId(20)), "MST1");
  config_->vidToTopoIs(20, "MST2");
  EXPECT_FALSE(stp_->topoToVlanMap().at("MST1").mappedVlanHas(Kor::VlanId(20)));
  EXPECT_TRUE(stp_->topoToVlanMap().at("MST2").mappedVlanHas(Kor::VlanId(20)));
  EXPECT_EQ(chip().topoOfVlan(Kor::VlanId(20)), stp_->topoSm("MST2")->topoId());
  report("MST1", "Ethernet1", PortState::forwarding);
  report("MST2", "Ethernet1", PortState::discarding);
  EXPECT_TRUE(chip().forwarding(IntfId("Ethernet1"), Kor::VlanId(10)));
  EXPECT_FALSE(chip().forwarding(IntfId("Ethernet1"), Kor::VlanId(20)));
  // A deleted topology takes its VLANs out of the chip.
  config_->topologyDel("MST2");
  EXPECT_EQ(chip().topoOfVlan(Kor::VlanId(20)), 0);
  EXPECT_FALSE(stp_->vlanToTopoSmMap().count(Kor::VlanId(20)));
  EXPECT_TRUE(chip_->stp().softTopoHelper().verify());
}

TEST_F(StpSmTest, TopologiesBeyondTheChipWaitAndTakeTheNextFreedId) {
  chip().topoTable().capacityIs(2);
  topology("MST1", {10});
  topology("MST2", {20});
  topology("MST3", {30});
  report("MST3", "Ethernet1", PortState::forwarding);
  startStp();
  EXPECT_EQ(stp_->topoSm("MST3")->topoId(), 0);
  EXPECT_EQ(chip().topoOfVlan(Kor::VlanId(30)), 0);
  EXPECT_EQ(stp_->topoSm("MST3")->wantState().at(IntfId("Ethernet1")), PortState::forwarding);
  config_->topologyDel("MST1");
  int const id = stp_->topoSm("MST3")->topoId();
  ASSERT_GT(id, 0);
  EXPECT_EQ(chip().topoOfVlan(Kor::VlanId(30)), id);
  EXPECT_EQ(hwState("MST3", "Ethernet1"), PortState::forwarding);
}

TEST_F(StpSmTest, RefusedWritesAreAskedAgainOnVerify) {
  topology("MST1", {10});
  startStp();
  chip_->injector().kindFaultIs("stpstate", SoftChip::ChipAnswer::fail);
  report("MST1", "Ethernet1", PortState::forwarding);
  EXPECT_EQ(hwState("MST1", "Ethernet1"), std::nullopt);
  EXPECT_EQ(stp_->topoSm("MST1")->pendingCount(), 1u);
  chip_->injector().kindFaultIs("stpstate", SoftChip::ChipAnswer::success);
  stp_->handleVerify();
  EXPECT_EQ(hwState("MST1", "Ethernet1"), PortState::forwarding);
  EXPECT_EQ(stp_->topoSm("MST1")->pendingCount(), 0u);
}

TEST_F(StpSmTest, FlushPerTopologyOrPerVlan) {
  topology("MST1", {10, 11});
  report("MST1", "Ethernet1", PortState::forwarding);
  startStp();
  int const id = stp_->topoSm("MST1")->topoId();
  auto flush = [&] {
    auto inst = status_->instStatus("MST1");
    inst->flushRequestIs(IntfId("Ethernet1"), inst->flushRequest(IntfId("Ethernet1")) + 1);
  };
  flush();
  EXPECT_EQ(chip().topoFlushes().at({id, IntfId("Ethernet1")}), 1u);
  EXPECT_TRUE(chip().vlanFlushes().empty());
  chip_->stp().softTopoHelper().flushByVlanIs(true);
  flush();
  EXPECT_EQ(chip().topoFlushes().at({id, IntfId("Ethernet1")}), 1u);
  EXPECT_EQ(chip().vlanFlushes().size(), 2u);
  EXPECT_EQ(chip().vlanFlushes().at({uint16_t(11), IntfId("Ethernet1")}), 1u);
}

TEST_F(StpSmTest, TapAggregationAndBackRestoresTheTopologies) {
  acsd_->operationalModeIs(Kor::modeTapAgg);  // before the start: nothing happens yet
  topology("MST1", {10, 11});
  topology("MST2", {20});
  report("MST1", "Ethernet1", PortState::forwarding);
  report("MST2", "Ethernet1", PortState::discarding);
  report("MST2", "Port-Channel1", PortState::learning);
  joinLag("Ethernet2", "Port-Channel1");
  acsd_->operationalModeIs(Kor::modeNormal);
  startStp();
  auto const before = chipTexts();
  ASSERT_EQ(chip().topoTable().size(), 2u);

  acsd_->operationalModeIs(Kor::modeTapAgg);
  ASSERT_EQ(chip().topoTable().size(), 1u);
  auto const& tap = chip().topoTable().entries().begin()->second;
  EXPECT_EQ(tap.name, "TapAggTopo");
  EXPECT_EQ(tap.vlans.count(), 4094u);
  for (char const* port : {"Ethernet1", "Ethernet2", "Port-Channel1"})
    for (int vlan : {1, 10, 20, 4094}) EXPECT_TRUE(chip().forwarding(IntfId(port), Kor::VlanId(vlan))) << port;
  // The protocol's reports, flushes and LAG changes wait for the regular mode.
  report("MST1", "Ethernet1", PortState::discarding);
  acsd_->portToLagDel(IntfId("Ethernet2"));
  EXPECT_TRUE(chip().forwarding(IntfId("Ethernet1"), Kor::VlanId(10)));
  report("MST1", "Ethernet1", PortState::forwarding);
  joinLag("Ethernet2", "Port-Channel1");

  acsd_->operationalModeIs(Kor::modeNormal);
  EXPECT_EQ(chipTexts(), before);
  EXPECT_TRUE(chip_->stp().softTopoHelper().verify());
}

TEST_F(StpSmTest, RestartOverTheKeptChipRewritesNothing) {
  topology("MST1", {10, 11});
  topology("MST2", {20});
  report("MST1", "Ethernet1", PortState::forwarding);
  report("MST2", "Port-Channel1", PortState::learning);
  joinLag("Ethernet2", "Port-Channel1");
  startStp();
  auto const before = chipTexts();
  uint64_t const topoChanges = chip().topoTable().counters().changes();
  uint64_t const stateChanges = chip().stpStateTable().counters().changes();
  stopStp();
  startStp();
  EXPECT_EQ(chipTexts(), before);
  EXPECT_EQ(chip().topoTable().counters().changes(), topoChanges);
  EXPECT_EQ(chip().stpStateTable().counters().changes(), stateChanges);
}

}  // namespace
}  // namespace KorTest
