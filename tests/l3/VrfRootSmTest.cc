// The VRF root: id allocation and reuse, deletion paths, time sharing, end of
// sync, the fast-boot schedule, the ARP feed, the command channel, and VRFs
// the chip refused, retried until it takes them.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include "softchip/SoftChip.h"
#include "kor/l3/VrfMachineFactories.h"
#include "tests/l3/VrfRootFixture.h"
#include "vix/Log.h"

namespace KorTest {
namespace {

using Kor::FbuPriorityProcessingState;
using Kor::VrfName;

// Ids running out and coming back first in, first out, as shown, are the
// vrf_id_exhaustion scenario's; here what the shows do not tell: the
// records of a withdrawn VRF, the counts, and the lookup by id.
TEST_F(VrfRootFixture, VrfIdsRunOutAtMaxVrfsAndComeBackFirstInFirstOut) {
  for (auto n : {"a", "b", "c", "d"}) announce(n);
  start();
  EXPECT_TRUE(trace_->contains("MaxVrfs: 3"));
  EXPECT_FALSE(l3Status_->vrfIdHas(VrfName("d")));
  withdraw("b");
  EXPECT_FALSE(l3Status_->vrfL3StatusHas(VrfName("b")));
  withdraw("c");
  withdraw("a");
  EXPECT_EQ(freeIds(), (std::vector<uint32_t>{3, 1}));
  announce("f");
  EXPECT_EQ(sm_->vrfCreateCount(), 6u);
  EXPECT_EQ(sm_->vrfDeleteCount(), 3u);
  EXPECT_EQ(Kor::getKorVrfRootFromVrfId(sm_, Kor::VrfId(3)), root("f").ptr());
  EXPECT_EQ(Kor::getKorVrfRootFromVrfId(sm_, Kor::VrfId(2))->vrfName(), VrfName("d"));
}

// A VRF that found no id is the next creation when one frees, however it
// frees: a withdrawal, a pending delete's review, a stale pair at start.
TEST_F(VrfRootFixture, WaitingVrfTakesTheNextFreedId) {
  cap_->maxVrfsIs(2);
  auto chip = Vix::makePtr<SoftChip::SoftChip>();
  in_.routingStatusSmHelper = chip->l3().routingStatusSmHelper();
  announce("a", true);
  for (auto n : {"b", "c", "d"}) announce(n);
  start();
  EXPECT_FALSE(root("c"));
  EXPECT_FALSE(root("d"));
  withdraw("b");
  ASSERT_TRUE(root("c"));
  EXPECT_EQ(vrfId("c"), 2u);
  EXPECT_FALSE(root("d"));
  announce("e");  // a later announcement waits behind d
  l3Status_->vrfL3Status(VrfName("a"))->waitForRoutingDisabledIs(true);
  withdraw("a");
  EXPECT_TRUE(root("a"));
  loop_->runFor(sm_->deleteReviewInterval());
  EXPECT_FALSE(root("a"));
  ASSERT_TRUE(root("d"));
  EXPECT_EQ(vrfId("d"), 1u);
  EXPECT_FALSE(root("e"));
  EXPECT_TRUE(freeIds().empty());
}

TEST_F(VrfRootFixture, StalePairWithoutRoutesGivesItsIdToAWaitingVrf) {
  // An earlier run's pairs; its hand-over lists are gone (as after a restart).
  cap_->maxVrfsIs(2);
  l3Status_->vrfIdPairIs(VrfName("gone"), Kor::VrfId(1));
  l3Status_->newVrfL3Status(VrfName("gone"));
  l3Status_->vrfIdPairIs(VrfName("kept"), Kor::VrfId(2));
  announce("kept");
  announce("new");
  start();
  EXPECT_FALSE(l3Status_->vrfIdHas(VrfName("gone")));
  EXPECT_FALSE(l3Status_->vrfL3StatusHas(VrfName("gone")));
  EXPECT_EQ(vrfId("kept"), 2u);
  ASSERT_TRUE(root("new"));
  EXPECT_EQ(vrfId("new"), 1u);
}

TEST_F(VrfRootFixture, IdFromHardwareRouteStatusWhenNotAllocatingHere) {
  in_.allocateVrfId = false;
  start();
  announce("blue");
  EXPECT_FALSE(root("blue"));
  EXPECT_TRUE(trace_->contains("Not starting vrfRoot. Allocate vrfId blue"));
  auto s6 = Vix::makePtr<Routing::Hardware::VrfStatus>("blue");
  s6->vrfIdIs(2);
  hw6_->vrfStatusIs("blue", s6);
  auto s = Vix::makePtr<Routing::Hardware::VrfStatus>("blue");
  s->vrfIdIs(2);
  hw_->vrfStatusIs("blue", s);
  ASSERT_TRUE(root("blue"));
  EXPECT_EQ(vrfId("blue"), 2u);
  EXPECT_TRUE(trace_->contains("RoutingHwRouteStatus has vrfId already allocated"));
  EXPECT_EQ(freeIds(), (std::vector<uint32_t>{1, 3}));
}

TEST_F(VrfRootFixture, HardwareIdsMustBeNonZeroAndAgreeBetweenFamilies) {
  auto publish = [&](Vix::Ptr<Routing::Hardware::RouteStatus> const& hw, std::string const& vrf, uint32_t id) {
    auto s = Vix::makePtr<Routing::Hardware::VrfStatus>(vrf);
    s->vrfIdIs(id);
    hw->vrfStatusIs(vrf, s);
  };
  publish(hw6_, "zero", 0);
  publish(hw_, "zero", 0);
  announce("zero");
  start();
  EXPECT_FALSE(root("zero"));
  EXPECT_TRUE(trace_->contains("Got vrfId 0 for vrf zero. Not starting vrfRoot"));
  publish(hw6_, "split", 2);
  publish(hw_, "split", 3);
  EXPECT_DEATH(announce("split"), "index == routing6HwRouteStatus\\(\\)->vrfStatus\\( vrfName \\)->vrfId\\(\\)");
}

TEST_F(VrfRootFixture, ArpVrfIdMovingToAnotherVrfLeavesTheOldOne) {
  announce("blue");
  announce("green");
  start();
  arpVrfIdMap_->vrfNameIs(7, "blue");
  EXPECT_EQ(root("blue")->korArpSm()->arpQuillVrfId(), 7u);
  arpVrfIdMap_->vrfNameIs(7, "green");
  EXPECT_EQ(root("green")->korArpSm()->arpQuillVrfId(), 7u);
  EXPECT_EQ(root("blue")->korArpSm()->arpQuillVrfId(), Kor::VrfRoot::noArpQuillVrfId);
  EXPECT_FALSE(sm_->arpQuillVrfNameToIdHas(VrfName("blue")));
  EXPECT_EQ(sm_->arpQuillVrfIdToNameCache(7), VrfName("green"));
}

TEST_F(VrfRootFixture, TimeSliceIsSharedAndClamped) {
  cap_->maxVrfsIs(30);
  start();
  auto yields = [&](std::string const& n) {
    auto r = root(n);
    return std::vector<double>{r->korRouteSm()->quillYieldTime(), r->korRoute6Sm()->quillYieldTime(),
                               r->korAdjSm()->quillYieldTime()};
  };
  EXPECT_EQ(yields("default"), (std::vector<double>{0.05, 0.05, 0.05}));
  for (int i = 1; i < 5; ++i) announce("v" + std::to_string(i));
  EXPECT_DOUBLE_EQ(root("v3")->korRouteSm()->quillYieldTime(), 0.04);
  EXPECT_DOUBLE_EQ(root("default")->korAdjSm()->quillYieldTime(), 0.04);
  EXPECT_TRUE(trace_->contains("set routesm yield time to 0.04, nVrfs 5"));
  for (int i = 5; i < 20; ++i) announce("v" + std::to_string(i));
  EXPECT_EQ(yields("v7"), (std::vector<double>{0.015, 0.015, 0.015}));
  EXPECT_EQ(yields("default"), (std::vector<double>{0.015, 0.015, 0.015}));
}

// Records the end-of-sync announcements and the state they were made in.
class SyncWatcher : public Kor::VrfRootSm::Notifiee {
 public:
  SyncWatcher(Vix::Ptr<Kor::VrfRootSm> const& sm, Vix::Ptr<Kor::L3Status> const& l3)
      : Notifiee(Vix::Ptr<Kor::VrfRootSm const>(sm)), l3_(l3) {}
  void handleEndOfV4SyncSent() override {
    ++v4;
    pendingAtV4 = l3_->v4SyncPendingInAnyVrf();
    vrfsAtV4 = l3_->vrfL3StatusSize();
  }
  void handleEndOfV6SyncSent() override { ++v6; }
  Vix::Ptr<Kor::L3Status> l3_;
  int v4 = 0, v6 = 0;
  bool pendingAtV4 = true;
  size_t vrfsAtV4 = 0;
};

TEST_F(VrfRootFixture, EndOfSyncGoesOutOnceAfterTheLastVrf) {
  announce("a");
  announce("b");
  sm_ = Kor::vrfRootSmFactory(in_);
  SyncWatcher w(sm_, l3Status_);
  sm_->initializedIs(true);
  EXPECT_TRUE(sm_->vrfCreationComplete());
  EXPECT_EQ(w.v4, 0);
  EXPECT_TRUE(trace_->contains("Sync still pending in some vrf"));
  EXPECT_TRUE(loop_->runUntilIdle());
  EXPECT_EQ(lines("End of sync done").size(), 6u);
  EXPECT_EQ(w.v4, 1);
  EXPECT_EQ(w.v6, 1);
  EXPECT_FALSE(w.pendingAtV4);
  EXPECT_EQ(w.vrfsAtV4, 3u);
  EXPECT_TRUE(l3Status_->initialized());
  announce("c");
  EXPECT_TRUE(loop_->runUntilIdle());
  EXPECT_TRUE(l3Status_->vrfL3Status(VrfName("c"))->endOfV4SyncDone());
  EXPECT_EQ(w.v4, 1);
  EXPECT_EQ(lines("Sending notification for end of sync").size(), 2u);
}

TEST_F(VrfRootFixture, VrfWithdrawnBeforeItsSyncEndsTakesThePendingSyncWithIt) {
  announce("a");
  start();
  // "a" goes while its route machines still have their first pass armed.
  withdraw("a");
  EXPECT_FALSE(l3Status_->vrfL3StatusHas(VrfName("a")));
  EXPECT_FALSE(sm_->endOfV4SyncSent());
  EXPECT_TRUE(loop_->runUntilIdle());
  EXPECT_TRUE(sm_->endOfV4SyncSent());
  EXPECT_TRUE(sm_->endOfV6SyncSent());
}

TEST_F(VrfRootFixture, ReplacedRoutingInfoDeletesAndCreatesTheVrfAgain) {
  announce("a");
  start();
  auto before = root("a");
  auto fresh = Vix::makePtr<Routing::RoutingInfo>("a");
  dir_->vrfInfoIs("a", fresh);
  EXPECT_TRUE(trace_->contains("RoutingInfo mismatch!!!"));
  EXPECT_TRUE(trace_->contains("Vrf entity mismatch detected. Delete and create back the vrf"));
  ASSERT_TRUE(root("a"));
  EXPECT_NE(root("a"), before);
  EXPECT_EQ(root("a")->routingInfo(), Vix::Ptr<Routing::RoutingInfo const>(fresh));
  EXPECT_FALSE(before->korRouteSm());
  EXPECT_EQ(sm_->vrfDeleteCount(), 1u);
  EXPECT_EQ(sm_->vrfCreateCount(), 3u);
  // An unchanged entity announced again changes nothing.
  dir_->vrfInfoIs("a", fresh);
  EXPECT_EQ(sm_->vrfCreateCount(), 3u);
}

TEST_F(VrfRootFixture, MachinesAreCreatedAndDeletedInTheirOrders) {
  start();
  trace_->clear();
  announce("a");
  withdraw("a");
  std::vector<std::string> created, deleted;
  for (auto const& l : lines(", vrf: a")) {
    auto what = l.substr(l.find("] ") + 2);
    what = what.substr(0, what.find(','));
    if (what.rfind("Create kor", 0) == 0) created.push_back(what.substr(7));
    if (what.rfind("Delete kor", 0) == 0) deleted.push_back(what.substr(7));
  }
  EXPECT_EQ(created, (std::vector<std::string>{"korArpSm", "korRoutingStatusSm", "korNexthopGroupRouteSm", "korAdjSm",
                                               "korRouteSm", "korIp6NeighSm", "korRoute6Sm"}));
  EXPECT_EQ(deleted, (std::vector<std::string>{"korRoutingStatusSm", "korAdjSm", "korNexthopGroupRouteSm", "korRouteSm",
                                               "korArpSm", "korIp6NeighSm", "korRoute6Sm"}));
}

TEST_F(VrfRootFixture, DeletionWaitsForTheReviewWhileRoutingIsSwitchedOff) {
  // Routing on: the route machines have not switched it off yet, so the
  // waits stay until the VRF root's review.
  announce("a", true);
  announce("b", true);
  auto chip = Vix::makePtr<SoftChip::SoftChip>();
  in_.routingStatusSmHelper = chip->l3().routingStatusSmHelper();
  start();
  l3Status_->vrfL3Status(VrfName("a"))->waitForRoutingDisabledIs(true);
  l3Status_->vrfL3Status(VrfName("b"))->waitForRouting6DisabledIs(true);
  withdraw("a");
  withdraw("b");
  EXPECT_TRUE(root("a"));
  EXPECT_TRUE(sm_->pendingDeleteHas(VrfName("a")));
  EXPECT_DOUBLE_EQ(sm_->clock().timeMin(), 1.0);
  EXPECT_TRUE(trace_->contains("Review for pending delete vrfRoot scheduled at 1"));
  announce("c");
  EXPECT_TRUE(trace_->contains("Skip vrf pending deletion a"));
  announce("b");  // comes back before the review
  loop_->runFor(1.0);
  EXPECT_FALSE(root("a"));
  ASSERT_TRUE(root("b"));
  EXPECT_FALSE(l3Status_->vrfL3Status(VrfName("b"))->waitForRouting6Disabled());
  EXPECT_EQ(sm_->pendingDeleteSize(), 0u);
  EXPECT_EQ(sm_->clock().timeMin(), Vix::kNever);
}

TEST_F(VrfRootFixture, StaleVrfsOfAnEarlierRunAreDeletedAtStart) {
  Kor::VrfAndPrefix oldRoute{Kor::VrfId(2), Nollo::IpPrefix("10.0.0.0/8")};
  Kor::VrfAndPrefix keptRoute{Kor::VrfId(1), Nollo::IpPrefix("10.0.0.0/8")};
  Kor::VrfAndIp6Prefix oldRoute6{Kor::VrfId(2), Nollo::Ip6Prefix("2001:db8::/32")};
  l3Status_->vrfIdPairIs(VrfName("old"), Kor::VrfId(2));
  l3Status_->vrfIdPairIs(VrfName("keep"), Kor::VrfId(1));
  l3Status_->adjInfoListIs(oldRoute, Vix::makePtr<Kor::AdjInfo>());
  l3Status_->adjInfoListIs(keptRoute, Vix::makePtr<Kor::AdjInfo>());
  l3Status_->adjInfo6ListIs(oldRoute6, Vix::makePtr<Kor::AdjInfo>());
  announce("keep");
  start();
  EXPECT_TRUE(trace_->contains("Deleting stale vrf old"));
  EXPECT_FALSE(l3Status_->adjInfoListHas(oldRoute));
  EXPECT_FALSE(l3Status_->adjInfo6ListHas(oldRoute6));
  EXPECT_TRUE(l3Status_->adjInfoListHas(keptRoute));
  EXPECT_FALSE(l3Status_->vrfIdHas(VrfName("old")));
  EXPECT_EQ(vrfId("keep"), 1u);
  EXPECT_EQ(freeIds(), (std::vector<uint32_t>{3, 2}));
}

// The chip's answer to a VRF is its state (the states, retry periods and
// logs as shown are the vrf_chip_refusal scenario's): the retry clock runs
// only while a failed or not-ready VRF is left, a full one raises
// vrfResourceFull until room comes back, and a refused VRF withdrawn leaves
// nothing to retry.
TEST_F(VrfRootFixture, VrfsTheChipRefusedAreRetriedUntilItTakesThem) {
  using Kor::VrfHwState;
  using SoftChip::ChipAnswer;
  auto chip = Vix::makePtr<SoftChip::SoftChip>();
  chip->l3().softVrfHelper().l3StatusIs(l3Status_);
  in_.vrfHelper = chip->l3().vrfHelper();
  auto& vrfs = chip->l3().vrfTable();
  chip->injector().kindFaultIs("vrf", ChipAnswer::notReady);
  announce("blue");
  start();
  EXPECT_EQ(root("blue")->hwState(), VrfHwState::vrfHwNotReady);
  ASSERT_TRUE(sm_->vrfRetryClock().armed());
  chip->injector().faultsDelAll();
  loop_->runFor(sm_->vrfRetryInterval());
  EXPECT_TRUE(sm_->unprogrammedVrfs().empty());
  EXPECT_FALSE(sm_->vrfRetryClock().armed());

  vrfs.capacityIs(2);
  announce("red");
  EXPECT_EQ(root("red")->hwState(), VrfHwState::vrfHwFull);
  EXPECT_TRUE(l3Status_->vrfResourceFull());
  EXPECT_FALSE(sm_->vrfRetryClock().armed());
  withdraw("blue");
  EXPECT_FALSE(l3Status_->vrfResourceFull());
  EXPECT_EQ(root("red")->hwState(), VrfHwState::vrfHwInstalled);

  chip->injector().kindFaultIs("vrf", ChipAnswer::fail);
  announce("green");
  EXPECT_EQ(sm_->unprogrammedVrfs().count(VrfName("green")), 1u);
  withdraw("green");
  EXPECT_TRUE(sm_->unprogrammedVrfs().empty());
  auto const calls = chip->injector().counters("vrf").calls;
  loop_->runFor(sm_->vrfRetryInterval() * 2);
  EXPECT_EQ(chip->injector().counters("vrf").calls, calls);
}

TEST_F(VrfRootFixture, FastBootFavoursIpv4ThenIpv6ThenSharesAgain) {
  acsd_->fbuFastBootIs(true);
  announce("a");
  sm_ = Kor::vrfRootSmFactory(in_);
  sm_->fbuPriorityProcessingStartDelayIs(10);
  sm_->fbuPriorityProcessingV4FirstIs(20);
  sm_->fbuPriorityProcessingEndIntervalIs(30);
  sm_->fbuRouteProcessQuantaMaxIs(0.1);
  sm_->fbuRouteProcessQuantaMinIs(0.01);
  sm_->fbuAdjProcessQuantaMinIs(0.02);
  sm_->totalTimeForRouteUpdatesIs(0.06);
  sm_->initializedIs(true);
  EXPECT_TRUE(trace_->contains(", Setting fbuPPTimer to 10"));
  EXPECT_DOUBLE_EQ(sm_->fbuPriorityProcessingTimer().timeMin(), 10.0);
  auto r = root("a");
  auto yields = [&] {
    return std::vector<double>{r->korRouteSm()->quillYieldTime(), r->korRoute6Sm()->quillYieldTime(),
                               r->korAdjSm()->quillYieldTime()};
  };
  EXPECT_EQ(yields(), (std::vector<double>{0.03, 0.03, 0.03}));

  loop_->runFor(9.9);
  EXPECT_EQ(sm_->fbuPriorityProcessingState(), FbuPriorityProcessingState::fbuPPInit);
  loop_->runFor(0.1);  // kickstart, then the IPv4-first phase on the same turn
  EXPECT_TRUE(trace_->contains(" kickstart fbu processing"));
  EXPECT_EQ(sm_->fbuPriorityProcessingState(), FbuPriorityProcessingState::fbuPPV4First);
  EXPECT_EQ(yields(), (std::vector<double>{0.1, 0.01, 0.02}));
  EXPECT_DOUBLE_EQ(sm_->fbuPriorityProcessingTimer().timeMin(), 30.0);

  loop_->runFor(20.0);
  EXPECT_EQ(sm_->fbuPriorityProcessingState(), FbuPriorityProcessingState::fbuPPEnd);
  EXPECT_EQ(yields(), (std::vector<double>{0.01, 0.1, 0.02}));
  EXPECT_DOUBLE_EQ(sm_->fbuPriorityProcessingTimer().timeMin(), 60.0);

  loop_->runFor(30.0);
  EXPECT_EQ(yields(), (std::vector<double>{0.03, 0.03, 0.03}));
  EXPECT_FALSE(sm_->fbuPriorityProcessingTimer().armed());
  EXPECT_TRUE(trace_->contains(" Current state fbuPPV4First"));
  EXPECT_TRUE(trace_->contains(" New state fbuPPEnd"));
}

TEST_F(VrfRootFixture, ReniceDuringFastBootAndBackAfterwards) {
  acsd_->fbuFastBootIs(true);
  acsd_->fbuReniceIs(true);
  acsd_->fbuReniceValueIs(getpriority(PRIO_PROCESS, 0));
  sm_ = Kor::vrfRootSmFactory(in_);
  sm_->fbuPriorityProcessingStartDelayIs(1);
  sm_->initializedIs(true);
  loop_->runFor(1.0);
  EXPECT_TRUE(sm_->renice());
  EXPECT_EQ(lines(": Renice ").size(), 1u);
  EXPECT_TRUE(loop_->runUntilIdle());
  EXPECT_FALSE(sm_->renice());
  EXPECT_TRUE(trace_->contains(" Resetting priority"));
  EXPECT_EQ(lines(": Renice ").size(), 2u);
}

TEST_F(VrfRootFixture, HitlessRestartRestoresDefaultRoutingState) {
  struct Helper : KorHelper::RoutingStatusSmHelper {
    bool routingEnabled(VrfName const& v) const override { return v.isDefault(); }
    bool routing6Enabled(VrfName const&) const override { return false; }
  };
  auto cfg = Vix::makePtr<Routing::L3Config>();
  cfg->hitlessRestartIs(true);
  in_.l3Config = cfg;
  in_.routingStatusSmHelper = Vix::makePtr<Helper>();
  start();
  EXPECT_TRUE(trace_->contains(", Syncing current state on init"));
  EXPECT_TRUE(l3Status_->routingEnabledInDefaultVrf());
  EXPECT_FALSE(l3Status_->routing6EnabledInDefaultVrf());
}

TEST_F(VrfRootFixture, DeletedVrfUnbindsItsInterfacesAndStatusEntities) {
  auto e1 = Nollo::IntfId("Ethernet1"), e2 = Nollo::IntfId("Ethernet2");
  ipStatus_->currentVrfIs(e1, "blue");
  ip6Status_->currentVrfIs(e1, "blue");
  ipStatus_->currentVrfIs(e2, "default");
  announce("blue");
  start();
  EXPECT_EQ(l3Status_->l3IntfVrfId(e1).value(), vrfId("blue"));
  EXPECT_TRUE(em_->entityHas("forwarding6/vrf/status/blue"));
  EXPECT_FALSE(em_->entityHas("routing/vrf/status/default"));
  withdraw("blue");
  EXPECT_FALSE(ipStatus_->currentVrfHas(e1));
  EXPECT_FALSE(ip6Status_->currentVrfHas(e1));
  EXPECT_TRUE(ipStatus_->currentVrfHas(e2));
  EXPECT_FALSE(l3Status_->l3IntfVrfIdHas(e1));
  EXPECT_TRUE(trace_->contains("Ip4: Making currentVrf of intf: Ethernet1 as NULL"));
  EXPECT_TRUE(trace_->contains("Ip6: Making currentVrf of intf: Ethernet1 as NULL"));
  EXPECT_EQ(em_->entitySize(), 0u);
}

TEST_F(VrfRootFixture, NamesOver100BytesAreNotVrfs) {
  start();
  std::string longName(101, 'x');
  announce(longName);
  EXPECT_EQ(sm_->vrfRootSize(), 1u);
  EXPECT_EQ(sm_->doCommand(1, "SR4u" + longName), "");
  announce(std::string(100, 'x'));
  EXPECT_EQ(sm_->vrfRootSize(), 2u);
}

TEST_F(VrfRootFixture, ArpEntriesFollowTheArpTableVrfIds) {
  Quill::Arp::ArpKey k7(7, Nollo::IpAddr4("10.0.0.1"), Nollo::IntfId("Ethernet1"));
  Quill::Arp::ArpKey k8(8, Nollo::IpAddr4("10.0.0.1"), Nollo::IntfId("Ethernet1"));
  Quill::Arp::NeighKey n7(7, Nollo::IpAddr6("2001:db8::1"), Nollo::IntfId("Ethernet1"));
  arpTable_->arpEntryIs(k7, Quill::Arp::ArpEntry());
  arpTable_->arpEntryIs(k8, Quill::Arp::ArpEntry());
  neighTable_->arpEntryIs(n7, Quill::Arp::ArpEntry());
  arpVrfIdMap_->vrfNameIs(7, "blue");
  arpVrfIdMap_->vrfNameIs(9, "red");
  announce("blue");
  start();
  auto arp = root("blue")->korArpSm();
  EXPECT_EQ(arp->arpQuillVrfId(), 7u);
  EXPECT_EQ(arp->arpEntryCount(), 1u);
  EXPECT_TRUE(arp->arpEntryHas(k7));
  EXPECT_TRUE(root("blue")->korIp6NeighSm()->arpEntryHas(n7));
  EXPECT_TRUE(trace_->contains("Adding arp entry vrf 7 10.0.0.1 Ethernet1 (vrf 'blue')"));
  EXPECT_TRUE(trace_->contains("Adding neigh entry "));
  EXPECT_TRUE(trace_->contains(" VrfRoot for vrf 'red' not found."));

  Quill::Arp::ArpKey k7b(7, Nollo::IpAddr4("10.0.0.2"), Nollo::IntfId("Ethernet1"));
  arpTable_->arpEntryIs(k7b, Quill::Arp::ArpEntry());
  EXPECT_TRUE(arp->arpEntryHas(k7b));
  EXPECT_TRUE(trace_->contains("') updated in arp quill"));
  arpTable_->arpEntryDel(k7);
  EXPECT_FALSE(arp->arpEntryHas(k7));
  EXPECT_TRUE(trace_->contains("') deleted from arp quill"));

  arpVrfIdMap_->vrfNameDel(7);
  EXPECT_TRUE(trace_->contains(" delete vrfId: 7"));
  EXPECT_EQ(arp->arpEntryCount(), 0u);
  EXPECT_FALSE(sm_->arpQuillVrfNameToIdHas(VrfName("blue")));
  arpTable_->arpEntryIs(k7, Quill::Arp::ArpEntry());
  EXPECT_EQ(arp->arpEntryCount(), 0u);
}

TEST_F(VrfRootFixture, CommandChannelParsesCodeAndArgument) {
  announce("blue");
  start();
  EXPECT_TRUE(trace_->contains("Kor CliCommand callback has been initialized"));
  auto s = l3Status_->vrfL3Status(VrfName("blue"));
  s->numUnprogrammedRoutesInc(3);
  s->numParentDropRoutesInc(1);
  EXPECT_EQ(sm_->doCommand(7, "SR4ublue"), "Vrf: blue\nNum unprogrammed routes: 3\nNum parent drop routes: 1\n\n");
  EXPECT_TRUE(trace_->contains("Socket: 7, Command: SR4ublue"));
  EXPECT_TRUE(trace_->contains(" show ip hardware routes unprogrammmed allVrf=0 vrf=blue"));
  EXPECT_EQ(sm_->doCommand(7, "SR6ublue"), "Vrf: blue\nNo unprogrammed routes\n");
  EXPECT_TRUE(trace_->contains(" show ip hardware routes-v6 unprogrammmed allVrf=0 vrf=blue"));
  EXPECT_EQ(sm_->doCommand(7, "SR4uall"),
            "Vrf: blue\nNum unprogrammed routes: 3\nNum parent drop routes: 1\n\nVrf: default\nNo unprogrammed routes\n");
  EXPECT_EQ(sm_->doCommand(7, "SR4ured"), "");

  sm_->doCommand(3, "FR4 10.1.0.0/16");
  EXPECT_TRUE(trace_->contains("Prefix: 10.1.0.0/16"));
  trace_->clear();
  sm_->doCommand(3, "FR4 all");
  sm_->doCommand(3, "FR6 a");
  EXPECT_FALSE(trace_->contains("Prefix: "));
  sm_->doCommand(3, "FF6 12");
  EXPECT_TRUE(trace_->contains("Fec: 12"));
  sm_->doCommand(3, "AA2 5");
  EXPECT_TRUE(trace_->contains("AdjIndex: 5"));
  EXPECT_EQ(sm_->doCommand(3, "AR6 zz"), "Invalid prefix: zz\n");
  EXPECT_EQ(sm_->doCommand(3, "AA3 x1"), "Invalid index: x1\n");
  EXPECT_EQ(sm_->doCommand(3, "QQQ a"), "Unknown command: QQQ a\n");
}

TEST_F(VrfRootFixture, MissingMandatoryInputIsRefused) {
  in_.routing6VrfInfoDir = nullptr;
  EXPECT_THROW(Kor::vrfRootSmFactory(in_), std::invalid_argument);
}

}  // namespace
}  // namespace KorTest

namespace KorTest {
namespace {

// The exported factories refuse a missing mandatory input before building
// anything; what they build is what a VRF root runs.
TEST_F(VrfRootFixture, MachineFactoriesRefuseMissingInputs) {
  using Kor::VrfId;
  VrfName red("red");
  auto status = Vix::makePtr<Kor::VrfL3Status>(red);
  auto throwsNull = [](auto&& make) {
    try {
      make();
    } catch (std::invalid_argument const& e) {
      return std::string(e.what()) == "null ValidPtr";
    }
    return false;
  };
  EXPECT_TRUE(throwsNull([&] { Kor::arpSmFactory(nullptr, red, status, nullptr, nullptr, nullptr); }));
  EXPECT_TRUE(throwsNull([&] { Kor::ip6NeighSmFactory(nullptr, red, status, nullptr, nullptr, nullptr); }));
  EXPECT_TRUE(throwsNull([&] { Kor::nexthopGroupRouteSmFactory(nullptr, red, nullptr); }));
  EXPECT_TRUE(throwsNull([&] {
    Kor::adjSmFactory(VrfId(1), red, acsd_, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                      nullptr, nullptr, nullptr);
  }));
  EXPECT_TRUE(throwsNull([&] { Kor::l2AdjHelperFactory(acsd_, nullptr, nullptr, nullptr, nullptr); }));
  EXPECT_TRUE(throwsNull([&] {
    Kor::routingStatusSmFactory(acsd_, red, nullptr, nullptr, l3Status_, status, nullptr, nullptr, nullptr, nullptr,
                                nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
  }));
  // A route machine without its adjacency machine.
  Kor::RouteSm::Inputs in4{nullptr, l3Status_, status, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr};
  Kor::Route6Sm::Inputs in6{nullptr, l3Status_, status, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr};
  EXPECT_TRUE(throwsNull([&] { Kor::routeSmFactory(acsd_, nullptr, VrfId(1), in4); }));
  EXPECT_TRUE(throwsNull([&] { Kor::route6SmFactory(acsd_, nullptr, VrfId(1), in6); }));

  auto arp = Kor::arpSmFactory(acsd_, red, status, nullptr, nullptr, nullptr);
  ASSERT_TRUE(arp);
  EXPECT_EQ(arp->vrfName(), red);
}

}  // namespace
}  // namespace KorTest
