// The open-addressing map against std::unordered_map under random inserts and
// erases: catches probing, backward-shift deletion, segment growth and split
// errors.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <unordered_map>

#include "vix/HashMap.h"

namespace {

TEST(HashMapTest, MatchesStdMapUnderRandomChurn) {
  Vix::HashMap<uint64_t, std::string> m;
  std::unordered_map<uint64_t, std::string> ref;
  std::mt19937_64 rng(7);
  for (int i = 0; i < 200000; ++i) {
    uint64_t k = rng() % 5000;  // small key space: long clusters, many erases
    switch (rng() % 3) {
      case 0:
      case 1:
        m.insert_or_assign(k, std::to_string(i));
        ref[k] = std::to_string(i);
        break;
      case 2:
        EXPECT_EQ(m.erase(k), ref.erase(k));
        break;
    }
  }
  ASSERT_EQ(m.size(), ref.size());
  for (auto const& [k, v] : ref) {
    auto it = m.find(k);
    ASSERT_NE(it, m.end()) << k;
    EXPECT_EQ(it->second, v);
  }
  size_t seen = 0;
  for (auto const& kv : m) {
    ++seen;
    EXPECT_EQ(ref.at(kv.first), kv.second);
  }
  EXPECT_EQ(seen, ref.size());
}

// Enough keys for many segment splits, with erases between the inserts and a
// second fill after emptying it: every key is found in the segment its hash
// selects after each split.
TEST(HashMapTest, SplitsSegmentsWithoutLosingKeys) {
  using Map = Vix::HashMap<uint64_t, uint64_t>;
  Map m;
  std::unordered_map<uint64_t, uint64_t> ref;
  std::mt19937_64 rng(11);
  size_t n = Map::kSegmentSlots * 12;
  for (size_t i = 0; i < n; ++i) {
    uint64_t k = rng();
    m[k] = i;
    ref[k] = i;
    if (i % 3 == 0) {
      uint64_t victim = ref.begin()->first;
      EXPECT_EQ(m.erase(victim), 1u);
      ref.erase(victim);
    }
  }
  EXPECT_GT(m.segments(), 4u);
  ASSERT_EQ(m.size(), ref.size());
  for (auto const& [k, v] : ref) ASSERT_EQ(m.at(k), v) << k;
  size_t seen = 0;
  for (auto const& kv : m) seen += ref.count(kv.first);
  EXPECT_EQ(seen, ref.size());
  // Memory stays within a doubling of what the entries need.
  EXPECT_LT(m.memoryBytes(), 2.5 * double(ref.size()) * (sizeof(Map::value_type) + 1));
  for (auto const& kv : ref) m.erase(kv.first);
  EXPECT_TRUE(m.empty());
  EXPECT_EQ(m.begin(), m.end());
  m[1] = 2;
  EXPECT_EQ(m.at(1), 2u);
}

TEST(HashMapTest, CopyMoveAndClear) {
  Vix::HashMap<int, int> a;
  for (int i = 0; i < 100; ++i) a[i] = i * 2;
  Vix::HashMap<int, int> b = a;
  a.clear();
  EXPECT_TRUE(a.empty());
  EXPECT_EQ(b.size(), 100u);
  EXPECT_EQ(b.at(42), 84);
  Vix::HashMap<int, int> c = std::move(b);
  EXPECT_EQ(c.size(), 100u);
  EXPECT_FALSE(c.contains(100));
  a[5] = 1;  // usable after clear
  EXPECT_EQ(a.at(5), 1);
}

}  // namespace
