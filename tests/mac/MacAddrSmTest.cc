// The MAC table machine over the software chip's MAC hook: what FdbStatus
// and the chip end with when sources race (learn and age in one slice, a
// learn between a flush request and its execution), static entries against
// learned ones, remote-to-local moves, the MLAG peer link, flush merging,
// the table-full log and retry, and move counts that wrap.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "kor/common/KorCommonSmData.h"
#include "kor/mac/MacAddrSm.h"
#include "softchip/mac/SoftMacAddrSmHelper.h"
#include "vix/ActivityLoop.h"
#include "vix/Log.h"
#include "vix/ManualTimeSource.h"
#include "vix/MemoryLogSink.h"
#include "vix/MemoryTraceSink.h"
#include "vix/Trace.h"

namespace {

using Bridging::EntryType;
using Key = KorTypes::MacAddressTableEntry::Key;
using Nollo::IntfId;

IntfId eth(uint32_t n) { return IntfId::ethernet(n); }
Nollo::EthAddr mac(uint64_t v) { return Nollo::EthAddr::fromUint64(0x001c73000000ULL + v); }
Key key(uint16_t vlan, uint64_t m) { return Key(mac(m), static_cast<int64_t>(vlan)); }

class MacAddrSmTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Vix::traceSinkIs(trace_);
    Vix::logSinkIs(log_);
    Kor::ETH_MACADDRBANKFULL.reset();
    acsd_ = Kor::korCommonSmDataFactory("kor", loop_);
    for (uint32_t i = 1; i <= 6; ++i) acsd_->intfIs(eth(i), true);
    sm_ = Kor::macAddrSmFactory(acsd_, helper_->learnedTable(), routerMacs_, config_, mlag_, flushDir_, status_,
                                helper_);
    sm_->tf().levelsIs("*");
  }
  void TearDown() override {
    sm_ = nullptr;
    acsd_->doCleanup();
    Vix::traceSinkIs(nullptr);
    Vix::logSinkIs(nullptr);
  }
  void start() {
    sm_->initializedIs(true);
    acsd_->initializedIs(true);
    run();
  }
  void run() { loop_->runUntilIdle(60); }

  // What the chip reports learned, written as the platform writes it.
  void learned(Key const& k, IntfId intf, EntryType type = EntryType::learnedDynamicMac, uint32_t moves = 0,
               uint32_t tunnel = 0) {
    helper_->learnedTable()->macEntryIs(Vix::makePtr<KorTypes::MacAddressTableEntry>(k, intf, type, moves, tunnel));
  }
  void aged(Key const& k) { helper_->learnedTable()->macEntryDel(k); }
  void staticIs(Key const& k, IntfId intf) {
    auto cfg = config_->fdbConfig(k.vlanId().value());
    if (!cfg) cfg = config_->newFdbConfig(k.vlanId().value());
    cfg->configuredHostIs(k.macaddr(), Bridging::ConfiguredHost{intf, EntryType::configuredStaticMac});
  }
  void flush(uint16_t vlan, IntfId intf = IntfId()) {
    flushDir_->hostTableFlushRequestIs("r" + std::to_string(++requests_), Bridging::HostTableFlushRequest{vlan, intf});
  }
  std::optional<Bridging::LearnedHost> fdb(Key const& k) const {
    auto f = status_->fdbStatus(k.vlanId().value());
    if (!f || !f->learnedHostHas(k.macaddr())) return std::nullopt;
    return f->learnedHost(k.macaddr());
  }
  std::optional<SoftChip::SoftMacAddrSmHelper::Host> chip(Key const& k) const {
    auto it = helper_->hosts().find(k);
    if (it == helper_->hosts().end()) return std::nullopt;
    return it->second;
  }

  Vix::Ptr<Vix::ActivityLoop> loop_ = Vix::makePtr<Vix::ActivityLoop>(Vix::makePtr<Vix::ManualTimeSource>());
  Vix::Ptr<SoftChip::SoftMacAddrSmHelper> helper_ = Vix::makePtr<SoftChip::SoftMacAddrSmHelper>();
  Vix::Ptr<KorTypes::MacTable> routerMacs_ = Vix::makePtr<KorTypes::MacTable>("routerMacs");
  Vix::Ptr<Bridging::Config> config_ = Vix::makePtr<Bridging::Config>("config");
  Vix::Ptr<Mlag::Status> mlag_ = Vix::makePtr<Mlag::Status>("mlag");
  Vix::Ptr<Bridging::HostTableFlushRequestDir> flushDir_ = Vix::makePtr<Bridging::HostTableFlushRequestDir>("flush");
  Vix::Ptr<Bridging::Status> status_ = Vix::makePtr<Bridging::Status>("status");
  Vix::Ptr<Kor::KorCommonSmData> acsd_;
  Vix::Ptr<Kor::MacAddrSm> sm_;
  Vix::Ptr<Vix::MemoryTraceSink> trace_ = Vix::makePtr<Vix::MemoryTraceSink>();
  Vix::Ptr<Vix::MemoryLogSink> log_ = Vix::makePtr<Vix::MemoryLogSink>();
  int requests_ = 0;
};

TEST_F(MacAddrSmTest, LearnAndAgeWithinOneSliceLeaveOnlyTheStateFoundAtEvaluation) {
  start();
  // Learned and aged before the review runs: nothing reaches FdbStatus.
  learned(key(10, 1), eth(1));
  aged(key(10, 1));
  // Learned, moved and moved back: one evaluation, the last location.
  learned(key(10, 2), eth(1));
  learned(key(10, 2), eth(2), EntryType::learnedDynamicMac, 1);
  learned(key(10, 2), eth(3), EntryType::learnedDynamicMac, 2);
  trace_->clear();
  run();
  EXPECT_FALSE(fdb(key(10, 1)));
  EXPECT_FALSE(status_->fdbStatus(10) && status_->fdbStatus(10)->learnedHostHas(mac(1)));
  ASSERT_TRUE(fdb(key(10, 2)));
  EXPECT_EQ(fdb(key(10, 2))->intf, eth(3));
  EXPECT_EQ(fdb(key(10, 2))->moves, 2u);
  EXPECT_EQ(trace_->count("Evaluating MAC entry: " + key(10, 2).str()), 1u);
  // Aged later: the entry and its VLAN's FdbStatus go.
  aged(key(10, 2));
  run();
  EXPECT_FALSE(fdb(key(10, 2)));
  EXPECT_FALSE(status_->fdbStatusHas(10));
}

TEST_F(MacAddrSmTest, StaticEntryIsNeverReplacedAndComesBackAfterAging) {
  staticIs(key(10, 1), eth(1));
  start();
  ASSERT_TRUE(fdb(key(10, 1)));
  EXPECT_EQ(fdb(key(10, 1))->entryType, EntryType::configuredStaticMac);
  ASSERT_TRUE(chip(key(10, 1)));
  EXPECT_EQ(chip(key(10, 1))->intf, eth(1));

  // The chip reports it learned on another port: the static entry stays,
  // in FdbStatus and (written again) in the chip.
  learned(key(10, 1), eth(2));
  run();
  EXPECT_EQ(fdb(key(10, 1))->intf, eth(1));
  EXPECT_EQ(fdb(key(10, 1))->entryType, EntryType::configuredStaticMac);
  EXPECT_EQ(chip(key(10, 1))->intf, eth(1));
  EXPECT_EQ(chip(key(10, 1))->entryType, EntryType::configuredStaticMac);

  // Aged by the chip: installed again.
  auto const adds = helper_->counters().adds;
  aged(key(10, 1));
  run();
  EXPECT_EQ(fdb(key(10, 1))->intf, eth(1));
  EXPECT_GT(helper_->counters().adds, adds);
  EXPECT_TRUE(chip(key(10, 1)));

  // A filtering database out of the VLAN range is refused with its text.
  config_->newFdbConfig(4095)->configuredHostIs(mac(2), Bridging::ConfiguredHost{eth(1)});
  run();
  EXPECT_TRUE(trace_->contains("fdbConfig 4095: VlanId::value < 1 or > 4094 not allowed"));
  EXPECT_EQ(helper_->hosts().size(), 1u);

  // A flush leaves it alone; removing it from the configuration does not.
  flush(0);
  run();
  EXPECT_TRUE(fdb(key(10, 1)));
  config_->fdbConfig(10)->configuredHostDel(mac(1));
  run();
  EXPECT_FALSE(fdb(key(10, 1)));
  EXPECT_FALSE(chip(key(10, 1)));
}

TEST_F(MacAddrSmTest, RemoteToLocalMoveUsesOneChipUpdateAndReleasesTheRemoteCounts) {
  start();
  learned(key(10, 1), IntfId::vxlan(1), EntryType::learnedRemoteMac, 0, 7);
  run();
  ASSERT_TRUE(fdb(key(10, 1)));
  EXPECT_EQ(fdb(key(10, 1))->entryType, EntryType::learnedRemoteMac);

  learned(key(10, 1), eth(2), EntryType::learnedDynamicMac, 1);
  trace_->clear();
  run();
  EXPECT_TRUE(trace_->contains("Detected remote to local move (1). "));
  ASSERT_TRUE(fdb(key(10, 1)));
  EXPECT_EQ(fdb(key(10, 1))->intf, eth(2));
  EXPECT_EQ(fdb(key(10, 1))->entryType, EntryType::learnedDynamicMac);
  // addLearntLocalAndRemoveRemoteHost wrote the local entry into the chip.
  ASSERT_TRUE(chip(key(10, 1)));
  EXPECT_EQ(chip(key(10, 1))->intf, eth(2));
  EXPECT_EQ(sm_->remoteMacCount(10), 0u);
}

TEST_F(MacAddrSmTest, PeerLinkDoesNotLearnAndWhatWasLearnedOnItIsDeleted) {
  start();
  learned(key(10, 1), eth(5));
  helper_->learn(key(10, 2), eth(1));
  run();
  ASSERT_TRUE(fdb(key(10, 1)));

  mlag_->peerLinkIs(eth(5));
  mlag_->activeIs(true);
  run();
  EXPECT_FALSE(helper_->learningOn(eth(5)));
  EXPECT_TRUE(helper_->learningOn(eth(1)));
  EXPECT_TRUE(trace_->contains("Entry was learned on peer-link. Deleting this entry."));
  EXPECT_FALSE(fdb(key(10, 1)));
  EXPECT_FALSE(helper_->learnedTable()->macEntryHas(key(10, 1)));
  EXPECT_TRUE(fdb(key(10, 2)));

  // A learn the chip still reports on the peer link is never installed.
  learned(key(10, 3), eth(5));
  run();
  EXPECT_FALSE(fdb(key(10, 3)));

  // No peer link any more: the port learns again.
  mlag_->activeIs(false);
  run();
  EXPECT_TRUE(helper_->learningOn(eth(5)));
}

TEST_F(MacAddrSmTest, FlushRequestsOfOneTurnAreMergedIntoOneExecution) {
  start();
  for (int i = 0; i < 10; ++i) flush(10);
  run();
  EXPECT_EQ(sm_->execFlushCount(), 1u);
  EXPECT_EQ(helper_->counters().flushVlan, 1u);

  // A port named with two VLANs is flushed in all of them, once; an
  // unknown port is skipped.
  flush(10, eth(1));
  flush(20, eth(1));
  flush(30, eth(2));
  flush(10, eth(9));
  run();
  EXPECT_EQ(sm_->execFlushCount(), 2u);
  EXPECT_EQ(helper_->counters().flushPort, 2u);
  EXPECT_TRUE(trace_->contains(": unknown intf "));
  EXPECT_TRUE(trace_->contains(" flushing port 0 on port Ethernet1"));
  EXPECT_TRUE(trace_->contains(" flushing port 30 on port Ethernet2"));

  // The whole table swallows the rest of its turn.
  flush(10);
  flush(0);
  flush(20, eth(1));
  run();
  EXPECT_EQ(helper_->counters().flushAll, 1u);
  EXPECT_EQ(helper_->counters().flushVlan, 1u);
  EXPECT_EQ(helper_->counters().flushPort, 2u);
  EXPECT_TRUE(sm_->condensedFlushRequest().empty());

  // A VLAN out of range changes nothing.
  flush(4095);
  run();
  EXPECT_EQ(sm_->execFlushCount(), 3u);
  EXPECT_TRUE(trace_->contains("VlanId::value < 1 or > 4094 not allowed"));
}

TEST_F(MacAddrSmTest, LearnBetweenFlushRequestAndExecutionIsFlushedInChipAndStatusAlike) {
  staticIs(key(10, 9), eth(4));
  start();
  helper_->learn(key(10, 1), eth(1));
  run();
  ASSERT_TRUE(fdb(key(10, 1)));
  flush(10);
  helper_->learn(key(10, 2), eth(2));
  helper_->learn(key(20, 3), eth(2));
  run();
  EXPECT_FALSE(fdb(key(10, 1)));
  EXPECT_FALSE(fdb(key(10, 2)));
  EXPECT_FALSE(chip(key(10, 2)));
  ASSERT_TRUE(fdb(key(20, 3)));
  EXPECT_TRUE(chip(key(20, 3)));
  EXPECT_TRUE(fdb(key(10, 9)));
  EXPECT_TRUE(chip(key(10, 9)));
  // Learned again after the flush: it stays.
  helper_->learn(key(10, 2), eth(2));
  run();
  EXPECT_TRUE(fdb(key(10, 2)));
}

TEST_F(MacAddrSmTest, FullTableLogsOnceAndRetriesWhenRoomComesBack) {
  helper_->capacityIs(1);
  start();
  staticIs(key(10, 1), eth(1));
  staticIs(key(10, 2), eth(2));
  staticIs(key(10, 3), eth(3));
  run();
  EXPECT_TRUE(fdb(key(10, 1)));
  EXPECT_FALSE(fdb(key(10, 2)));
  EXPECT_EQ(sm_->unprogrammedCount(), 2u);
  ASSERT_EQ(log_->count("ETH_MACADDRBANKFULL"), 1u);
  EXPECT_EQ(log_->records().back().text,
            "Unable to program static host table entry for MAC address " + mac(2).str() +
                " in VLAN 10 due to hardware resource exhaustion");

  // Room comes back: the waiting entries are tried again, none is lost.
  helper_->capacityIs(0);
  config_->fdbConfig(10)->configuredHostDel(mac(1));
  run();
  EXPECT_FALSE(fdb(key(10, 1)));
  EXPECT_TRUE(fdb(key(10, 2)));
  EXPECT_TRUE(fdb(key(10, 3)));
  EXPECT_EQ(sm_->unprogrammedCount(), 0u);
  EXPECT_EQ(log_->count("ETH_MACADDRBANKFULL"), 1u);
}

TEST_F(MacAddrSmTest, MoveCountsWrapAroundAndLearningFollowsTheConfiguration) {
  EXPECT_TRUE(Kor::Seqno32(1).newer(Kor::Seqno32(0xffffffffu)));
  EXPECT_FALSE(Kor::Seqno32(0xffffffffu).newer(Kor::Seqno32(1)));
  start();
  learned(key(10, 1), eth(1), EntryType::learnedDynamicMac, 0xffffffffu);
  run();
  learned(key(10, 1), eth(2), EntryType::learnedDynamicMac, 1);
  run();
  EXPECT_EQ(fdb(key(10, 1))->moves, 1u);
  // An older count reported late does not take the entry back.
  learned(key(10, 1), eth(3), EntryType::learnedDynamicMac, 0xfffffff0u);
  run();
  EXPECT_EQ(fdb(key(10, 1))->moves, 1u);

  config_->macLearningIs(eth(2), false);
  config_->hostAgingTimeIs(120);
  run();
  EXPECT_FALSE(helper_->learningOn(eth(2)));
  EXPECT_FALSE(helper_->learn(key(10, 5), eth(2)));
  EXPECT_EQ(helper_->agingTime(), 120);
  config_->macLearningDel(eth(2));
  EXPECT_TRUE(helper_->learningOn(eth(2)));
}

}  // namespace
