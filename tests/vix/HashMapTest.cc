// The open-addressing map against std::unordered_map under random inserts and
// erases: catches probing and backward-shift deletion errors.
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
