#include <cstdlib>

#include "tests/xlate/XlateChipFixture.h"

namespace KorTest {

namespace {

class VlanMappingSmTest : public XlateChipFixture {};

// Refused for want of room: a state with one log, retried until room comes
// back, by a timed retry or at once when the machine itself freed an entry.
TEST_F(VlanMappingSmTest, RefusedWhenFullIsRetriedUntilRoomComesBack) {
  chip_->xlate().ingressTable().capacityIs(1);
  ingressIs(eth1_, Key(100), 10);
  ingressIs(eth1_, Key(200), 20);
  start();

  EXPECT_EQ(chipIngress(eth1_, Key(100)), 10);
  EXPECT_EQ(chipIngress(eth1_, Key(200)), 0);
  EXPECT_EQ(sm_->unprogrammedIntfList(), std::set<IntfId>{eth1_});
  EXPECT_EQ(status_->xlateStatus(eth1_).ingress.at(Key(200)), State::refused);
  ASSERT_EQ(logs_->count("BRIDGING_VLAN_MAPPING_RESOURCE_FULL"), 1u);
  EXPECT_EQ(logs_->records().back().text,
            "Unable to map VLAN 200 to 20 for interface Ethernet1 on ingress due to hardware resource exhaustion");

  // Retries that are refused again log nothing more and lose nothing.
  loop_->runFor(5.0);
  EXPECT_EQ(logs_->count("BRIDGING_VLAN_MAPPING_RESOURCE_FULL"), 1u);
  EXPECT_EQ(status_->xlateStatus(eth1_).ingress.size(), 2u);

  chip_->xlate().ingressTable().capacityIs(2);
  loop_->runFor(Kor::VlanMappingSm::kRetryPeriod + 0.1);
  EXPECT_EQ(chipIngress(eth1_, Key(200)), 20);
  EXPECT_TRUE(sm_->unprogrammedIntfList().empty());
  EXPECT_EQ(status_->xlateStatus(eth1_).ingress.at(Key(200)), State::programmed);
  EXPECT_EQ(logs_->count("BRIDGING_VLAN_MAPPING_RESOURCE_NORMAL"), 1u);

  // Another port waits; removing a translation of the first makes room and
  // the waiting port is programmed on the next turn, not a retry period on.
  ingressIs(eth2_, Key(300), 30);
  EXPECT_EQ(sm_->unprogrammedIntfList(), std::set<IntfId>{eth2_});
  auto c = config_->intfConfig(eth1_);
  c.ingress.erase(Key(100));
  config_->intfConfigIs(eth1_, c);
  loop_->runDue();
  EXPECT_EQ(chipIngress(eth2_, Key(300)), 30);
  EXPECT_TRUE(sm_->unprogrammedIntfList().empty());
}

// A native translation refused logs the encapsulation text.
TEST_F(VlanMappingSmTest, NativeRefusedLogsEncapsulation) {
  chip_->xlate().egressTable().capacityIs(0);
  auto c = config_->intfConfig(eth1_);
  c.egressNativeVlan = 5;
  c.egressNativeMapped = 20;
  config_->intfConfigIs(eth1_, c);
  start();
  EXPECT_EQ(status_->xlateStatus(eth1_).egressNative, State::refused);
  ASSERT_EQ(logs_->count("BRIDGING_VLAN_ENCAP_RESOURCE_FULL"), 1u);
  EXPECT_EQ(logs_->records().back().text,
            "Unable to encapsulate egress packets on interface Ethernet1 with VLAN 20 due to hardware resource "
            "exhaustion");
}

// A member takes its port channel's translations in place of its own, and
// its own come back when it leaves; a change of the channel's reaches it.
TEST_F(VlanMappingSmTest, LagMemberTakesLagTranslationsAndReturnsToOwn) {
  ingressIs(eth1_, Key(100), 10);
  ingressIs(lag1_, Key(300), 30);
  start();
  EXPECT_EQ(chipIngress(eth1_, Key(100)), 10);

  lagIs(lag1_, {eth1_, eth2_});
  EXPECT_EQ(chipIngress(eth1_, Key(100)), 0);
  EXPECT_EQ(chipIngress(eth1_, Key(300)), 30);
  EXPECT_EQ(chipIngress(eth2_, Key(300)), 30);
  EXPECT_EQ(chipIngress(lag1_, Key(300)), 0);
  EXPECT_EQ(status_->xlateStatus(eth1_).configFrom, lag1_);

  egressIs(lag1_, Key(30), 300);
  EXPECT_EQ(chipEgress(eth2_, Key(30)), 300);

  lagLeave(lag1_, eth1_);
  EXPECT_EQ(chipIngress(eth1_, Key(100)), 10);
  EXPECT_EQ(chipIngress(eth1_, Key(300)), 0);
  EXPECT_EQ(chipEgress(eth1_, Key(30)), 0);
  EXPECT_EQ(status_->xlateStatus(eth1_).configFrom, eth1_);
  EXPECT_EQ(chipIngress(eth2_, Key(300)), 30);

  // Without any configuration left the member holds nothing.
  lagLeave(lag1_, eth2_);
  EXPECT_EQ(chip_->xlate().ingressTable().size(), 1u);
  EXPECT_FALSE(status_->xlateStatusHas(eth2_));
}

// A native translation replaces the one held by way of the identity record;
// adding over a held one breaks the precondition.
TEST_F(VlanMappingSmTest, NativeTranslationNeedsTheIdentityRecord) {
  auto c = config_->intfConfig(eth1_);
  c.ingressNativeVlan = 5;
  c.ingressNativeMapped = 20;
  config_->intfConfigIs(eth1_, c);
  start();
  EXPECT_EQ(chipIngress(eth1_, Key(5), true), 20);

  c.ingressNativeMapped = 30;
  config_->intfConfigIs(eth1_, c);
  EXPECT_EQ(chipIngress(eth1_, Key(5), true), 30);
  EXPECT_EQ(chip_->xlate().ingressTable().size(), 1u);
  EXPECT_EQ(sm_->hwIngressNative(eth1_), Kor::HwVlanXlate(Kor::VlanId(5), Kor::VlanId(30)));

  unsetenv("KOR_NOOP_AGENT");
  EXPECT_DEATH(sm_->addIngressNativeVlanTranslation(eth1_, Kor::VlanId(6), Kor::VlanId(40)),
               "hwXlate->nativeVlanId\\(\\) == hwXlate->mappedVlanId\\(\\)");
}

// What the chip holds is not written again: neither on a change of another
// translation of the port nor by a new run over the kept chip, which only
// removes what is no longer configured.
TEST_F(VlanMappingSmTest, HeldTranslationsAreNotRewritten) {
  ingressIs(eth1_, Key(100), 10);
  ingressIs(eth1_, Key(100, 7), 11);
  ingressIs(eth2_, Key(200), 20);
  start();
  auto const& ingress = chip_->xlate().ingressTable();
  auto before = ingress.counters();
  EXPECT_EQ(before.creates, 3u);

  egressIs(eth1_, Key(10), 100);
  EXPECT_EQ(ingress.counters().changes(), before.changes());
  EXPECT_EQ(ingress.counters().syncs, before.syncs);

  stop();
  config_->intfConfigDel(eth2_);
  start();
  EXPECT_EQ(ingress.counters().creates, before.creates);
  EXPECT_EQ(ingress.counters().updates, 0u);
  EXPECT_EQ(ingress.counters().syncs, before.syncs);
  EXPECT_EQ(ingress.counters().deletes, 1u);
  EXPECT_EQ(chipIngress(eth1_, Key(100, 7)), 11);
  EXPECT_EQ(chipEgress(eth1_, Key(10)), 100);
}

// A VLAN out of range refuses the interface's whole configuration: what the
// chip held stays, the status names the place and the reason.
TEST_F(VlanMappingSmTest, Vlan4095RefusesTheConfigurationWhole) {
  ingressIs(eth1_, Key(100), 10);
  start();
  auto c = config_->intfConfig(eth1_);
  c.ingress[Key(100)] = 11;
  c.egress[Key(4095)] = 12;
  config_->intfConfigIs(eth1_, c);
  EXPECT_EQ(chipIngress(eth1_, Key(100)), 10);
  EXPECT_EQ(chip_->xlate().egressTable().size(), 0u);
  EXPECT_EQ(status_->xlateStatus(eth1_).error, "egress 4095: VlanId::value < 1 or > 4094 not allowed");
}

// The filtering database: a refused write waits and is retried; none gives
// the VLAN its own database back.
TEST_F(VlanMappingSmTest, VlanFidRefusedIsRetriedAndNoneRemoves) {
  chip_->xlate().vlanFidTable().capacityIs(0);
  start();
  fids_->vidToFidIs(10, 5);
  EXPECT_EQ(fidSm_->unprogrammedVlanList(), std::set<uint16_t>{10});
  chip_->xlate().vlanFidTable().capacityIs(10);
  loop_->runFor(Kor::VlanPhyIntfSm::kRetryPeriod + 0.1);
  ASSERT_NE(chip_->xlate().vlanFidTable().find(10), nullptr);
  EXPECT_EQ(*chip_->xlate().vlanFidTable().find(10), 5);
  EXPECT_TRUE(fidSm_->unprogrammedVlanList().empty());
  fids_->vidToFidDel(10);
  EXPECT_EQ(chip_->xlate().vlanFidTable().size(), 0u);
}

}  // namespace

}  // namespace KorTest
