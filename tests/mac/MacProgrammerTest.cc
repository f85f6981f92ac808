// The MAC programmer against the software chip's MAC table: coalescing per
// key, responses, the chip's busy / full / lost answers, overflow retries
// with a growing delay, and flushes.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "kor/common/KorCommonSmData.h"
#include "softchip/common/ChipRegistry.h"
#include "softchip/common/FaultInjector.h"
#include "softchip/mac/MacChip.h"
#include "softchip/mac/SoftMacProgrammer.h"
#include "vix/ActivityLoop.h"
#include "vix/ManualTimeSource.h"
#include "vix/MemoryTraceSink.h"
#include "vix/Trace.h"

using Kor::IndirectAccessMacCmd;
using Kor::IndirectAccessMacCmdType;
using Kor::MacEntryKey;
using Kor::MacProgramStatus;
using Nollo::IntfId;
using Key = KorTypes::MacAddressTableEntry::Key;

namespace {

MacEntryKey mkey(uint32_t n, int vlan = 10) { return MacEntryKey(Key(Nollo::EthAddr::fromUint64(0x020000000000ULL + n), vlan)); }

class MacProgrammerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Vix::traceSinkIs(trace_);
    acsd_ = Kor::korCommonSmDataFactory("kor", loop_);
    prog_ = std::make_unique<SoftChip::SoftMacProgrammer>(acsd_, loop_.ptr(), &chip_);
    prog_->tf().levelsIs("*");
    prog_->initializedIs(true);
  }
  void TearDown() override {
    prog_.reset();
    acsd_->doCleanup();
    Vix::traceSinkIs(nullptr);
  }
  Vix::Ptr<IndirectAccessMacCmd> add(MacEntryKey const& k, uint32_t port = 1) {
    auto c = Vix::makePtr<IndirectAccessMacCmd>(IndirectAccessMacCmdType::addHost, k, IntfId::ethernet(port));
    prog_->handleAddrOp(c);
    return c;
  }
  void remove(MacEntryKey const& k) {
    prog_->handleAddrOp(Vix::makePtr<IndirectAccessMacCmd>(IndirectAccessMacCmdType::removeHost, k));
  }
  std::optional<IntfId> inChip(MacEntryKey const& k) const {
    auto at = chip_.table().find(k);
    if (!at) return std::nullopt;
    return chip_.table().slot(*at).intf;
  }
  // Keys of the chip table's bucket `b` (the first `n` found).
  std::vector<MacEntryKey> sameBucket(size_t n, uint32_t b = 0) const {
    std::vector<MacEntryKey> keys;
    for (uint32_t i = 0; keys.size() < n; ++i)
      if (chip_.table().bucketOf(mkey(i)) == b) keys.push_back(mkey(i));
    return keys;
  }
  bool idle() const { return prog_->pendingMacOpSize() + prog_->inProgMacOpSize() + prog_->overflowAddrOpSize() == 0; }

  Vix::Ptr<Vix::MemoryTraceSink> trace_ = Vix::makePtr<Vix::MemoryTraceSink>();
  Vix::Ptr<Vix::ManualTimeSource> ts_ = Vix::makePtr<Vix::ManualTimeSource>(100.0);
  Vix::Ptr<Vix::ActivityLoop> loop_ = Vix::makePtr<Vix::ActivityLoop>(ts_);
  Vix::Ptr<Kor::KorCommonSmData> acsd_;
  SoftChip::ChipRegistry registry_;
  SoftChip::FaultInjector injector_;
  SoftChip::MacChip chip_{registry_, &injector_};
  std::unique_ptr<SoftChip::SoftMacProgrammer> prog_;
};

}  // namespace

// A newer command for a key supersedes the older one wherever it is: a pending
// one is skipped, an in-progress one is marked out of date and the chip does
// not execute it. Only the newest reaches the table.
TEST_F(MacProgrammerTest, NewerCommandForAKeySupersedesTheOlder) {
  add(mkey(1), 1);
  add(mkey(1), 2);  // both pending: the first is skipped
  loop_->runDue();
  EXPECT_TRUE(trace_->contains("addHost 02:00:00:00:00:01/10(macHwKeyBridge) intf: Ethernet1 txnId: 1 addrOp: 1 valid: 0 is out-of-date, skip it"));
  auto written = add(mkey(2), 3);
  loop_->runDue();
  ASSERT_EQ(prog_->inProgAddrOp(mkey(2)), written);  // in the chip's port
  add(mkey(2), 4);
  EXPECT_FALSE(written->valid());
  EXPECT_TRUE(trace_->contains("with same key in in-progress queue, mark it out-of-date"));
  EXPECT_TRUE(loop_->runUntilIdle(10.0));
  EXPECT_EQ(inChip(mkey(1)), IntfId::ethernet(2));
  EXPECT_EQ(inChip(mkey(2)), IntfId::ethernet(4));
  EXPECT_EQ(chip_.skipped(), 1u);
  EXPECT_EQ(chip_.table().counters().creates, 2u);
  EXPECT_EQ(chip_.table().counters().updates, 0u);
  EXPECT_TRUE(idle());
  EXPECT_EQ(prog_->shadow().at(mkey(2)), IntfId::ethernet(4));
  // An add then a remove: the remove wins, whatever the order of answers.
  add(mkey(3));
  loop_->runDue();
  remove(mkey(3));
  EXPECT_TRUE(loop_->runUntilIdle(10.0));
  EXPECT_FALSE(inChip(mkey(3)));
  EXPECT_FALSE(prog_->shadow().count(mkey(3)));
}

TEST_F(MacProgrammerTest, ResponseForUnknownTransactionIsIgnored) {
  add(mkey(1));
  loop_->runDue();
  ASSERT_EQ(prog_->inProgMacOpSize(), 1u);
  prog_->handleCmdResponse(999, 7, MacProgramStatus::macProgramFull);
  EXPECT_TRUE(trace_->contains("handleCmdResponse: Can't find in progress command for transaction id: 999"));
  EXPECT_EQ(prog_->unknownResponses(), 1u);
  EXPECT_EQ(prog_->inProgMacOpSize(), 1u);
  EXPECT_EQ(prog_->overflowAddrOpSize(), 0u);
  EXPECT_TRUE(loop_->runUntilIdle(10.0));
  EXPECT_EQ(inChip(mkey(1)), IntfId::ethernet(1));
  // A status outside the enumeration is reported and treated as a failure: retried.
  add(mkey(2));
  loop_->runDue();
  prog_->handleCmdResponse(prog_->inProgAddrOp(mkey(2))->transactionId(), 0, static_cast<MacProgramStatus>(77));
  EXPECT_TRUE(trace_->contains("unexpected mac program status"));
  EXPECT_EQ(prog_->overflowAddrOpSize(), 1u);
}

// A full bucket (the table itself is far from full) parks the add in the
// overflow queue; rounds retry it with a doubling delay up to the maximum;
// room coming back in the chip gets it installed by the next round, and a
// remove through the programmer retries at once.
TEST_F(MacProgrammerTest, FullBucketOverflowsAndRetriesWithGrowingDelay) {
  ASSERT_TRUE(chip_.table().geometryIs(4, 2));
  auto keys = sameBucket(4);
  add(keys[0]);
  add(keys[1]);
  add(keys[2]);
  EXPECT_TRUE(loop_->runUntilIdle(0.05) || true);
  loop_->runFor(0.01);
  ASSERT_EQ(chip_.table().size(), 2u);
  ASSERT_TRUE(prog_->overflowAddrOp(keys[2]));
  EXPECT_TRUE(trace_->contains("Overflow cmd exists, schedule Pending. updateOverflowAddressDelay:0.1"));

  std::vector<double> gaps;
  double last = loop_->now();
  for (int round = 0; round < 8; ++round) {
    double due = prog_->overflowRetryDue();
    ASSERT_NE(due, Vix::kNever);
    gaps.push_back(due - last);
    last = due;
    loop_->runFor(due - loop_->now() + 0.005);  // the round, the write and the chip's answer
    ASSERT_TRUE(prog_->overflowAddrOp(keys[2])) << "round " << round;
  }
  std::vector<double> want = {0.1, 0.2, 0.4, 0.8, 1.6, 3.2, 6.4, 6.4};
  for (size_t i = 0; i < want.size(); ++i) EXPECT_NEAR(gaps[i], want[i], 0.011) << "gap " << i;
  EXPECT_EQ(prog_->updateOverflowAddressDelay(), 6.4);

  chip_.table().remove(keys[0]);  // room comes back behind the programmer's back
  loop_->runFor(6.5);
  EXPECT_EQ(inChip(keys[2]), IntfId::ethernet(1));
  EXPECT_EQ(prog_->overflowAddrOpSize(), 0u);
  EXPECT_EQ(prog_->updateOverflowAddressDelay(), 0.1);  // every retried command got in

  add(keys[3]);
  loop_->runFor(0.01);
  ASSERT_TRUE(prog_->overflowAddrOp(keys[3]));
  remove(keys[1]);  // frees room: the overflowed add follows at once
  loop_->runFor(0.01);
  EXPECT_EQ(inChip(keys[3]), IntfId::ethernet(1));
  EXPECT_TRUE(idle());
}

// A command whose answer never comes is found by the poll, reported stalled
// and retried: a lost answer loses no entry. A busy chip (port full, or busy
// answers) keeps commands pending until it takes them.
TEST_F(MacProgrammerTest, StalledAndBusyCommandsAreRetriedNotLost) {
  chip_.answersLostIs(1);
  add(mkey(1), 5);
  loop_->runFor(0.1);
  EXPECT_EQ(prog_->inProgMacOpSize(), 1u);
  EXPECT_TRUE(loop_->runUntilIdle(10.0));
  EXPECT_TRUE(trace_->contains("had stalled"));
  EXPECT_EQ(prog_->stalledCmds(), 1u);
  EXPECT_EQ(inChip(mkey(1)), IntfId::ethernet(5));
  EXPECT_TRUE(idle());

  chip_.queueDepthIs(2);
  injector_.objectFaultIs("mac", "02:00:00:00:00:0a/10(macHwKeyBridge)", SoftChip::ChipAnswer::notReady);
  for (uint32_t i = 10; i < 16; ++i) add(mkey(i));
  loop_->runDue();
  EXPECT_EQ(prog_->inProgMacOpSize(), 2u);
  EXPECT_EQ(prog_->pendingMacOpSize(), 4u);
  loop_->runFor(0.05);
  injector_.objectFaultIs("mac", "02:00:00:00:00:0a/10(macHwKeyBridge)", SoftChip::ChipAnswer::success);
  EXPECT_TRUE(loop_->runUntilIdle(10.0));
  for (uint32_t i = 10; i < 16; ++i) EXPECT_TRUE(inChip(mkey(i))) << i;
  EXPECT_TRUE(idle());
}

// Flushes remove what they cover in the chip, and drop overflowed adds they
// cover (retrying those would bring flushed entries back).
TEST_F(MacProgrammerTest, FlushesByVlanPortLagAndAll) {
  ASSERT_TRUE(chip_.table().geometryIs(64, 2));
  auto keys = sameBucket(3, 5);
  add(keys[0], 1);
  add(keys[1], 2);
  add(keys[2], 3);  // overflows
  add(mkey(1000, 20), 1);
  add(mkey(1001, 20), 2);
  add(mkey(1002, 30), 1);
  prog_->handleAddrOp(Vix::makePtr<IndirectAccessMacCmd>(IndirectAccessMacCmdType::addHost, mkey(1003, 30),
                                                         IntfId::portChannel(7)));
  add(mkey(1004, 40), 9);
  loop_->runFor(0.01);
  ASSERT_TRUE(prog_->overflowAddrOp(keys[2]));
  auto flush = [&](IndirectAccessMacCmdType t, int vlan, IntfId intf = IntfId()) {
    prog_->handleFlushOp(Vix::makePtr<IndirectAccessMacCmd>(t, MacEntryKey(Key(Nollo::EthAddr(), vlan)), intf));
    loop_->runFor(0.01);
  };
  flush(IndirectAccessMacCmdType::flushVlan, 10);
  EXPECT_EQ(prog_->overflowAddrOpSize(), 0u);
  EXPECT_FALSE(inChip(keys[0]));
  EXPECT_FALSE(inChip(keys[1]));
  EXPECT_FALSE(inChip(keys[2]));  // the flush freed room, yet the dropped add stays out
  EXPECT_TRUE(trace_->contains(" cmd: flushVlan"));
  flush(IndirectAccessMacCmdType::flushVlanPort, 20, IntfId::ethernet(2));
  EXPECT_TRUE(inChip(mkey(1000, 20)));
  EXPECT_FALSE(inChip(mkey(1001, 20)));
  flush(IndirectAccessMacCmdType::flushLag, 1, IntfId::portChannel(7));
  EXPECT_FALSE(inChip(mkey(1003, 30)));
  flush(IndirectAccessMacCmdType::flushPort, 1, IntfId::ethernet(1));
  EXPECT_FALSE(inChip(mkey(1000, 20)));
  EXPECT_FALSE(inChip(mkey(1002, 30)));
  EXPECT_TRUE(inChip(mkey(1004, 40)));
  flush(IndirectAccessMacCmdType::flushAll, 1);
  EXPECT_EQ(chip_.table().size(), 0u);
  EXPECT_TRUE(prog_->shadow().empty());
  EXPECT_TRUE(loop_->runUntilIdle(10.0));
  EXPECT_EQ(chip_.table().size(), 0u);  // nothing came back
}
