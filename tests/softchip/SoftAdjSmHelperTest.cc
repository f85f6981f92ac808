// The software chip's L2 adjacency table: answers from the fault injector,
// recorded calls (a bounded recent history beside unbounded counters), syncs
// that rewrite nothing, and state that outlives the library objects that
// wrote it.
#include <gtest/gtest.h>

#include "kor/records/L2Adjacency.h"
#include "kor/records/L3Status.h"
#include "softchip/adj/SoftAdjSmHelper.h"
#include "softchip/SoftChip.h"

namespace {

using Kor::AdjUpdateStatus;
using Kor::L2AdjKey;
using Kor::L2Adjacency;
using Kor::NextHopL2InfoCollection;
using SoftChip::ChipAnswer;

NextHopL2InfoCollection data(uint64_t m) {
  NextHopL2InfoCollection c;
  Kor::NextHopL2Info i(Kor::NextHopEntryType::nextHopArpResolved);
  i.macAddrIs(Nollo::EthAddr::fromUint64(m));
  c.nextHopIs(Nollo::IpGenAddr(Nollo::IpAddr4("10.0.0.1")), i);
  return c;
}

TEST(SoftAdjSmHelperTest, AnswersRecordsAndCounts) {
  auto chip = Vix::makePtr<SoftChip::SoftChip>();
  auto& h = chip->adj().softAdjSmHelper();
  L2Adjacency a(L2AdjKey(5), data(1));
  chip->injector().objectFaultIs("l2adj", "5", ChipAnswer::notReady);
  EXPECT_EQ(h.createAdj(a), AdjUpdateStatus::adjUpdateNotReady);
  chip->injector().objectFaultIs("l2adj", "5", ChipAnswer::fail);
  EXPECT_EQ(h.createAdj(a), AdjUpdateStatus::adjUpdateFail);
  EXPECT_FALSE(chip->adj().l2AdjTable().has(5));
  chip->injector().faultsDelAll();
  EXPECT_EQ(h.createAdj(a), AdjUpdateStatus::adjUpdateSuccess);
  EXPECT_TRUE(h.verifyAdj(a));
  EXPECT_EQ(h.getNexthopIndexForAdj(a), 5u);

  // A sync of equal data changes nothing; of other data it rewrites.
  EXPECT_EQ(h.syncAdj(a, 5), AdjUpdateStatus::adjUpdateSuccess);
  EXPECT_EQ(chip->adj().l2AdjTable().counters().changes(), 1u);
  EXPECT_EQ(chip->adj().l2AdjTable().counters().syncs, 1u);
  a.viaIs(data(2));
  EXPECT_FALSE(h.verifyAdj(a));
  EXPECT_EQ(h.updateAdj(a), AdjUpdateStatus::adjUpdateSuccess);
  EXPECT_EQ(chip->adj().l2AdjTable().counters().updates, 1u);
  h.deleteAdj(a);
  EXPECT_EQ(chip->adj().l2AdjTable().size(), 0u);
  EXPECT_EQ(h.calls(), (std::vector<std::string>{"createAdj 5", "createAdj 5", "createAdj 5", "syncAdj 5",
                                                 "updateAdj 5", "deleteAdj 5"}));
  EXPECT_EQ(h.opCount("createAdj"), 3u);
  EXPECT_EQ(h.getHwLagId(Nollo::IntfId::portChannel(12)), 12u);
  EXPECT_EQ(h.getHwLagId(Nollo::IntfId::ethernet(12)), 0u);
}

// An agent runs for months: however many updates it makes, the helper keeps
// only the latest kCallHistory calls, while the counters see every one.
TEST(SoftAdjSmHelperTest, CallHistoryStaysBoundedOverManyUpdates) {
  auto chip = Vix::makePtr<SoftChip::SoftChip>();
  auto& h = chip->adj().softAdjSmHelper();
  constexpr uint64_t kUpdates = 100000;
  L2Adjacency a(L2AdjKey(4), data(0));
  ASSERT_EQ(h.createAdj(a), AdjUpdateStatus::adjUpdateSuccess);
  for (uint64_t i = 1; i <= kUpdates; ++i) {
    a.viaIs(data(i));
    ASSERT_EQ(h.updateAdj(a), AdjUpdateStatus::adjUpdateSuccess);
  }
  L2Adjacency b(L2AdjKey(9), data(1));
  ASSERT_EQ(h.createAdj(b), AdjUpdateStatus::adjUpdateSuccess);
  h.deleteAdj(b);

  auto calls = h.calls();
  ASSERT_EQ(calls.size(), SoftChip::SoftAdjSmHelper::kCallHistory);
  // Oldest first, the latest last.
  EXPECT_EQ(calls.front(), "updateAdj 4");
  EXPECT_EQ(calls[calls.size() - 3], "updateAdj 4");
  EXPECT_EQ(calls[calls.size() - 2], "createAdj 9");
  EXPECT_EQ(calls.back(), "deleteAdj 9");
  EXPECT_EQ(h.opCount("updateAdj"), kUpdates);
  EXPECT_EQ(h.opCount("createAdj"), 2u);
  EXPECT_EQ(chip->adj().l2AdjTable().counters().updates, kUpdates);

  // Emptied, the history fills again from its start.
  h.callsDelAll();
  h.deleteAdj(a);
  EXPECT_EQ(h.calls(), std::vector<std::string>{"deleteAdj 4"});
}

TEST(SoftAdjSmHelperTest, FullTableRaisesResourceFullUntilRoomIsMade) {
  auto chip = Vix::makePtr<SoftChip::SoftChip>();
  auto& h = chip->adj().softAdjSmHelper();
  auto l3Status = Vix::makePtr<Kor::L3Status>("l3Status");
  h.l3StatusIs(l3Status);
  chip->adj().l2AdjTable().capacityIs(1);
  L2Adjacency a(L2AdjKey(2), data(1)), b(L2AdjKey(3), data(2));
  EXPECT_EQ(h.createAdj(a), AdjUpdateStatus::adjUpdateSuccess);
  EXPECT_EQ(h.createAdj(b), AdjUpdateStatus::adjUpdateFail);
  EXPECT_TRUE(l3Status->adjResourceFull());
  // An injected "full" keeps the flag after room is made, until the rule goes.
  chip->injector().kindFaultIs("l2adj", ChipAnswer::resourceFull);
  h.deleteAdj(a);
  EXPECT_TRUE(l3Status->adjResourceFull());
  chip->injector().faultsDelAll();
  h.recheckResourceFull();
  EXPECT_FALSE(l3Status->adjResourceFull());
}

TEST(SoftAdjSmHelperTest, HeldAdjacenciesOutliveALibraryRun) {
  auto chip = Vix::makePtr<SoftChip::SoftChip>();
  {
    auto l3Status = Vix::makePtr<Kor::L3Status>("run1");
    chip->adj().softAdjSmHelper().l3StatusIs(l3Status);
    chip->adj().adjSmHelper()->createAdj(L2Adjacency(L2AdjKey(7), data(7)));
    chip->adj().softAdjSmHelper().l3StatusIs(nullptr);
  }
  auto held = chip->adj().adjSmHelper()->heldAdjs();
  ASSERT_EQ(held.size(), 1u);
  EXPECT_EQ(held[0].first, 7u);
  EXPECT_EQ(held[0].second, data(7));
  EXPECT_NE(chip->table("l2adj"), nullptr);
}

}  // namespace
