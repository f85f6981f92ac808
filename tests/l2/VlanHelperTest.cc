// The VLAN update handshake against the software chip on a manual clock:
// coalescing, one update in flight per VLAN with its redo, recirculation
// ports, refusals and their retry, port states, and a new helper over a
// chip that kept its rows.
#include <gtest/gtest.h>

#include "VlanChipFixture.h"
#include "softchip/l2/SoftVlanHelper.h"

namespace KorTest {

using Kor::VlanId;
using Nollo::IntfId;

class VlanHelperTest : public VlanChipFixture {
 protected:
  VlanHelperTest() { newHelper(); }
  ~VlanHelperTest() override { h_ = nullptr; }
  void newHelper() {
    h_ = nullptr;
    h_ = Vix::makePtr<SoftChip::SoftVlanHelper>(acsd_, &chip_);
  }
  void run(double s) { loop_->runFor(s); }
  SoftChip::ChipVlan row(uint16_t v) const {
    auto const* r = chip_.vlanTable().find(VlanId(v));
    return r ? *r : SoftChip::ChipVlan{};
  }
  bool member(char const* port, uint16_t v) const {
    auto m = h_->portVlanMembership(IntfId(port));
    return m && (m->taggedVlanHas(VlanId(v)) || m->untaggedVlanHas(VlanId(v)));
  }
  uint64_t rewrites() const { return chip_.vlanTable().counters().creates + chip_.vlanTable().counters().updates; }

  Vix::Ptr<SoftChip::SoftVlanHelper> h_;
};

TEST_F(VlanHelperTest, ChangesWhileTheChipWorksAreRedoneOnceAndNeverLost) {
  chip_.updateDelayIs(0.005);
  h_->doMaybeCreateVlan(VlanId(10));
  h_->doAddPortToVlan(IntfId("Ethernet1"), VlanId(10), false, true, true);
  run(h_->vlanUpdater().deferredTime() + 0.001);
  ASSERT_TRUE(h_->updateConfig()->vlanHas(VlanId(10))) << "the add is in flight";
  // Removed before the chip answers: a second update waits for the first.
  h_->doRemovePortFromVlan(IntfId("Ethernet1"), VlanId(10));
  run(0.002);
  EXPECT_EQ(h_->updateConfig()->vlan(VlanId(10))->genId(), 1u) << "one update per VLAN in flight";
  // The add is answered: the remove is programmed at once, not at the next gathering.
  run(h_->vlanUpdater().deferredTime() / 2 + 0.001);
  ASSERT_TRUE(h_->updateConfig()->vlanHas(VlanId(10)));
  EXPECT_EQ(h_->updateConfig()->vlan(VlanId(10))->genId(), 2u);
  run(0.1);
  EXPECT_EQ(h_->vlanRedos(), 1u);
  EXPECT_EQ(h_->vlansProgrammed(), 2u);
  EXPECT_TRUE(row(10).members.empty());
  EXPECT_FALSE(member("Ethernet1", 10));
  EXPECT_FALSE(h_->vlanUpdate(VlanId(10))) << "finished updates are dropped";
  EXPECT_FALSE(h_->updateConfig()->vlanHas(VlanId(10)));

  // Generations continue after a dropped update: the next add is programmed.
  h_->doAddPortToVlan(IntfId("Ethernet2"), VlanId(10), true, true, true);
  run(0.1);
  EXPECT_TRUE(row(10).members.at(IntfId("Ethernet2")));
  EXPECT_TRUE(h_->portVlanMembership(IntfId("Ethernet2"))->taggedVlanHas(VlanId(10)));
}

TEST_F(VlanHelperTest, ABurstOfChangesIsOneUpdatePerVlan) {
  for (uint16_t v : {10, 20}) h_->doMaybeCreateVlan(VlanId(v));
  auto before = chip_.vlanTable().counters();
  for (char const* p : {"Ethernet1", "Ethernet2", "Ethernet3"}) {
    h_->doAddPortToVlan(IntfId(p), VlanId(10), true, true, true);
    h_->doAddPortToVlan(IntfId(p), VlanId(20), false, true, false);
  }
  h_->doRemovePortFromVlan(IntfId("Ethernet3"), VlanId(20));
  run(0.1);
  EXPECT_EQ(chip_.vlanTable().counters().updates - before.updates, 2u);
  EXPECT_EQ(h_->vlansProgrammed(), 2u);
  EXPECT_EQ(row(10).members.size(), 3u);
  EXPECT_EQ(row(20).members.size(), 2u);
  EXPECT_TRUE(row(20).egress.empty()) << "egress false is not an egress port";
  EXPECT_EQ(row(20).ingress.size(), 2u);
}

TEST_F(VlanHelperTest, ARecirculationPortStaysInItsVlan) {
  h_->doMaybeCreateVlan(VlanId(10));
  h_->doAddPortToVlan(IntfId("Ethernet5"), VlanId(10), false, true, true);
  run(0.1);
  h_->recircFeatureIs(VlanId(10), IntfId("Ethernet5"), true);
  h_->doRemovePortFromVlan(IntfId("Ethernet5"), VlanId(10));
  h_->doHandlePortState(IntfId("Ethernet5"), VlanId(10), false);
  run(0.1);
  EXPECT_TRUE(row(10).members.count(IntfId("Ethernet5")));
  EXPECT_TRUE(member("Ethernet5", 10));
  EXPECT_FALSE(h_->vlanUpdate(VlanId(10)));
  // Without the feature it goes.
  h_->recircFeatureIs(VlanId(10), IntfId("Ethernet5"), false);
  h_->doRemovePortFromVlan(IntfId("Ethernet5"), VlanId(10));
  run(0.1);
  EXPECT_FALSE(row(10).members.count(IntfId("Ethernet5")));
}

TEST_F(VlanHelperTest, ARefusedUpdateIsKeptAndRetriedUntilTheChipTakesIt) {
  h_->doMaybeCreateVlan(VlanId(10));
  injector_.kindFaultIs("vlan", SoftChip::ChipAnswer::fail);
  h_->doAddPortToVlan(IntfId("Ethernet1"), VlanId(10), false, true, true);
  run(h_->retryDelay() * 2.5);
  EXPECT_GE(h_->vlanFailures(), 2u) << "retried while refused";
  EXPECT_FALSE(member("Ethernet1", 10)) << "nothing unconfirmed is recorded";
  ASSERT_TRUE(h_->vlanUpdate(VlanId(10)));
  EXPECT_TRUE(h_->vlanUpdate(VlanId(10))->addHas(IntfId("Ethernet1")));
  injector_.kindFaultIs("vlan", SoftChip::ChipAnswer::success);
  run(h_->retryDelay() * 2);
  EXPECT_TRUE(row(10).members.count(IntfId("Ethernet1")));
  EXPECT_TRUE(member("Ethernet1", 10));
  EXPECT_FALSE(h_->vlanUpdate(VlanId(10)));
}

TEST_F(VlanHelperTest, PortStatesGateMembershipWhenChecked) {
  h_->checkPortStateIs(true);
  h_->doMaybeCreateVlan(VlanId(10));
  h_->setPortsBlocked(VlanId(10));  // no port state yet: nothing to block
  h_->doAddPortToVlan(IntfId("Ethernet2"), VlanId(10), false, true, true);
  run(0.1);
  EXPECT_TRUE(row(10).members.count(IntfId("Ethernet2"))) << "a VLAN under no topology lets every port in";
  h_->newPortForwarding(VlanId(10));
  h_->doAddPortToVlan(IntfId("Ethernet1"), VlanId(10), true, true, true);
  run(0.1);
  EXPECT_FALSE(row(10).members.count(IntfId("Ethernet2"))) << "under spanning tree, a port with no state goes";
  EXPECT_TRUE(row(10).members.empty()) << "not forwarding: not added";
  h_->doHandlePortState(IntfId("Ethernet1"), VlanId(10), true);
  run(0.1);
  ASSERT_TRUE(row(10).members.count(IntfId("Ethernet1"))) << "added back with the asked tagging";
  EXPECT_TRUE(row(10).members.at(IntfId("Ethernet1")));
  h_->setPortsBlocked(VlanId(10));
  run(0.1);
  EXPECT_TRUE(row(10).members.empty());
  EXPECT_FALSE(h_->portForwarding(VlanId(10))->forwarding(IntfId("Ethernet1")));
  // Out of spanning tree, everything asked comes back with its tagging.
  h_->portForwardingDel(VlanId(10));
  run(0.1);
  EXPECT_TRUE(row(10).members.at(IntfId("Ethernet1")));
  EXPECT_FALSE(row(10).members.at(IntfId("Ethernet2")));
}

TEST_F(VlanHelperTest, ANewHelperOverAKeptChipRewritesNothingThatIsRight) {
  for (char const* p : {"Ethernet1", "Ethernet2"}) {
    h_->doMaybeCreateVlan(VlanId(10));
    h_->doAddPortToVlan(IntfId(p), VlanId(10), false, true, true);
  }
  run(0.1);
  auto written = rewrites();
  newHelper();
  for (char const* p : {"Ethernet1", "Ethernet2"}) {
    h_->doMaybeCreateVlan(VlanId(10));
    h_->doAddPortToVlan(IntfId(p), VlanId(10), false, true, true);
  }
  run(0.1);
  EXPECT_EQ(rewrites(), written);
  EXPECT_TRUE(member("Ethernet2", 10)) << "the new helper knows what the chip holds";
}

}  // namespace KorTest
