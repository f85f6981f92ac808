// How the software chip answers: rule precedence, seeded randomness, table
// capacity, and the write counters that restart tests rely on.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "softchip/common/ChipTable.h"
#include "softchip/common/FaultInjector.h"

namespace {

using SoftChip::ChipAnswer;
using SoftChip::ChipTable;
using SoftChip::FaultInjector;

TEST(FaultInjectorTest, ObjectRuleBeatsKindRuleBeatsDefault) {
  FaultInjector fi;
  fi.kindFaultIs("vrf", ChipAnswer::notReady);
  fi.objectFaultIs("vrf", "red", ChipAnswer::fail);
  EXPECT_EQ(fi.answer("vrf", "red"), ChipAnswer::fail);
  EXPECT_EQ(fi.answer("vrf", "blue"), ChipAnswer::notReady);
  EXPECT_EQ(fi.answer("route4", "red"), ChipAnswer::success);
  // A rule wins over "full" from capacity: the test asked for that answer.
  EXPECT_EQ(fi.answer("vrf", "blue", true), ChipAnswer::notReady);
  EXPECT_EQ(fi.answer("route4", "x", true), ChipAnswer::resourceFull);

  fi.objectFaultIs("vrf", "red", ChipAnswer::success);  // removes the object rule only
  EXPECT_EQ(fi.answer("vrf", "red"), ChipAnswer::notReady);
  fi.faultsDelAll();
  EXPECT_EQ(fi.answer("vrf", "red"), ChipAnswer::success);

  auto c = fi.counters("vrf");
  EXPECT_EQ(c.calls, 5u);
  EXPECT_EQ(c.fail, 1u);
  EXPECT_EQ(c.notReady, 3u);
  EXPECT_EQ(c.success, 1u);
  EXPECT_EQ(fi.counters("route4").resourceFull, 1u);
  EXPECT_EQ(fi.counters("never").calls, 0u);
}

std::vector<ChipAnswer> draws(FaultInjector& fi, int n) {
  std::vector<ChipAnswer> v;
  for (int i = 0; i < n; ++i) v.push_back(fi.answer("route4", std::to_string(i)));
  return v;
}

TEST(FaultInjectorTest, RandomRateRepeatsPerSeedAndHitsTheRate) {
  FaultInjector a, b, c;
  a.randomFaultIs(0.25, 7);
  b.randomFaultIs(0.25, 7);
  c.randomFaultIs(0.25, 8);
  auto da = draws(a, 4000), db = draws(b, 4000), dc = draws(c, 4000);
  EXPECT_EQ(da, db);
  EXPECT_NE(da, dc);
  auto fails = a.counters("route4").fail;
  EXPECT_GT(fails, 850u);
  EXPECT_LT(fails, 1150u);
  // Reseeding restarts the sequence; a chosen answer replaces "fail".
  a.randomFaultIs(0.25, 7, ChipAnswer::notReady);
  auto again = draws(a, 4000);
  for (size_t i = 0; i < da.size(); ++i)
    EXPECT_EQ(again[i] == ChipAnswer::notReady, da[i] == ChipAnswer::fail) << i;
  // Rules still win over the rate.
  a.kindFaultIs("route4", ChipAnswer::fail);
  a.randomFaultIs(1.0, 1, ChipAnswer::notReady);
  EXPECT_EQ(a.answer("route4", "k"), ChipAnswer::fail);
  EXPECT_EQ(a.answer("vrf", "k"), ChipAnswer::notReady);
}

TEST(ChipTableTest, CapacityRefusesOnlyNewEntries) {
  FaultInjector fi;
  ChipTable<std::string, int> t("vrf", &fi);
  t.capacityIs(2);
  EXPECT_EQ(t.write("a", 1), ChipAnswer::success);
  EXPECT_EQ(t.write("b", 2), ChipAnswer::success);
  EXPECT_EQ(t.write("c", 3), ChipAnswer::resourceFull);
  EXPECT_FALSE(t.has("c"));
  EXPECT_EQ(t.write("a", 5), ChipAnswer::success);  // an update needs no room
  EXPECT_EQ(*t.find("a"), 5);
  EXPECT_TRUE(t.erase("b"));
  EXPECT_EQ(t.write("c", 3), ChipAnswer::success);
  EXPECT_EQ(fi.counters("vrf").resourceFull, 1u);
}

TEST(ChipTableTest, RefusedWritesChangeNothingAndCountersTellSyncsFromChanges) {
  FaultInjector fi;
  ChipTable<int, std::string> t("route4", &fi);
  EXPECT_EQ(t.write(1, "x"), ChipAnswer::success);
  fi.objectFaultIs("route4", "1", ChipAnswer::notReady);
  EXPECT_EQ(t.write(1, "y"), ChipAnswer::notReady);
  EXPECT_EQ(*t.find(1), "x");
  fi.faultsDelAll();
  EXPECT_EQ(t.write(1, "x"), ChipAnswer::success);  // same value: a sync
  EXPECT_EQ(t.write(1, "y"), ChipAnswer::success);
  EXPECT_TRUE(t.erase(1));
  EXPECT_FALSE(t.erase(1));
  auto const& c = t.counters();
  EXPECT_EQ(c.creates, 1u);
  EXPECT_EQ(c.syncs, 1u);
  EXPECT_EQ(c.updates, 1u);
  EXPECT_EQ(c.deletes, 1u);
  EXPECT_EQ(c.changes(), 3u);
  EXPECT_EQ(t.write(2, "z"), ChipAnswer::success);
  EXPECT_EQ(t.write(0, "w"), ChipAnswer::success);
  auto texts = t.entryTexts();
  ASSERT_EQ(texts.size(), 2u);
  EXPECT_EQ(texts[0], (std::pair<std::string, std::string>{"0", "w"}));
}

}  // namespace
