// The chip's MAC table and command port, driven directly.
#include <gtest/gtest.h>

#include "softchip/common/ChipRegistry.h"
#include "softchip/common/FaultInjector.h"
#include "softchip/mac/MacChip.h"

using Kor::IndirectAccessMacCmd;
using Kor::IndirectAccessMacCmdType;
using Kor::MacEntryKey;
using Kor::MacProgramStatus;
using Key = KorTypes::MacAddressTableEntry::Key;

namespace {

MacEntryKey mkey(uint32_t n) { return MacEntryKey(Key(Nollo::EthAddr::fromUint64(0x020000000000ULL + n), 10)); }

Vix::Ptr<IndirectAccessMacCmd> cmd(MacEntryKey const& k, uint64_t txn) {
  auto c = Vix::makePtr<IndirectAccessMacCmd>(IndirectAccessMacCmdType::addHost, k, Nollo::IntfId::ethernet(1));
  c->transactionIdIs(txn);
  return c;
}

}  // namespace

// A bucket fills while the table has room; the table's own capacity (as
// `chip capacity` sets it) refuses earlier; the geometry changes only when
// empty; a full port answers busy at once, and answers come after the delay
// in order.
TEST(MacChip, BucketsCapacityPortAndGeometry) {
  SoftChip::ChipRegistry registry;
  SoftChip::FaultInjector injector;
  SoftChip::MacChip chip(registry, &injector);
  EXPECT_EQ(registry.table("mac"), &chip.table());
  ASSERT_TRUE(chip.table().geometryIs(8, 2));
  std::vector<MacEntryKey> same;
  for (uint32_t i = 0; same.size() < 3; ++i)
    if (chip.table().bucketOf(mkey(i)) == 3) same.push_back(mkey(i));
  chip.queueDepthIs(3);
  for (uint64_t t = 0; t < 3; ++t) EXPECT_EQ(chip.submit(cmd(same[t], t + 1), 0.0), MacProgramStatus::macProgramInProgress);
  EXPECT_EQ(chip.submit(cmd(mkey(99), 4), 0.0), MacProgramStatus::macProgramBusy);
  EXPECT_TRUE(chip.doCompleteDue(0.0005).empty());
  auto answers = chip.doCompleteDue(0.001);
  ASSERT_EQ(answers.size(), 3u);
  EXPECT_EQ(answers[0].transactionId, 1u);
  EXPECT_EQ(answers[0].tblIndex / 2, 3u);
  EXPECT_EQ(answers[1].status, MacProgramStatus::macProgramSuccess);
  EXPECT_EQ(answers[2].status, MacProgramStatus::macProgramFull);
  EXPECT_EQ(chip.table().size(), 2u);
  EXPECT_FALSE(chip.table().geometryIs(16, 4));

  chip.table().capacityIs(2);
  MacEntryKey other = mkey(1000);
  while (chip.table().bucketOf(other) == 3) other = MacEntryKey(Key(Nollo::EthAddr::fromUint64(other.key().macaddr().toUint64() + 1), 10));
  chip.submit(cmd(other, 5), 1.0);
  EXPECT_EQ(chip.doCompleteDue(2.0).at(0).status, MacProgramStatus::macProgramFull);
  injector.kindFaultIs("mac", SoftChip::ChipAnswer::fail);
  chip.table().capacityIs(SoftChip::ChipTableBase::kUnlimited);
  chip.submit(cmd(other, 6), 3.0);
  EXPECT_EQ(chip.doCompleteDue(4.0).at(0).status, MacProgramStatus::macProgramFailed);
  EXPECT_FALSE(chip.table().find(other));
}
