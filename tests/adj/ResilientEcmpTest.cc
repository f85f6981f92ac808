// Resilient ECMP: the bucket table's moves, and the resilient machine over
// the adjacency machine and the software chip on a manual clock, the route
// machine's calls made by hand. Bucket writes are counted by the chip.
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "AdjChipFixture.h"
#include "kor/adj/ResilientBucketTable.h"
#include "kor/adj/ResilientEcmpSmT.h"

namespace {

using namespace Kor;
using Nollo::IntfId;
using Nollo::IpAddr4;
using Quill::Fib::FecId;
using Quill::Fib::FecType;

// Buckets that differ between two snapshots of a table.
template <class M>
uint32_t diff(std::vector<std::optional<M>> const& a, std::vector<std::optional<M>> const& b) {
  uint32_t n = 0;
  for (size_t i = 0; i < a.size(); ++i) n += !(a[i] == b[i]);
  return n;
}

// Every member holds N/k or N/k+1 buckets, no bucket is empty or foreign.
template <class M>
void expectBalanced(ResilientBucketTable<M> const& t, std::vector<M> const& members) {
  auto by = t.bucketsByMember();
  uint32_t k = members.size(), lo = t.buckets() / k;
  size_t total = 0;
  for (auto const& m : members) {
    size_t n = by.count(m) ? by.at(m).size() : 0;
    EXPECT_TRUE(n == lo || n == lo + 1) << "member " << m << " holds " << n;
    total += n;
  }
  EXPECT_EQ(total, t.buckets());
}

TEST(ResilientBucketTableTest, RemovalMovesOnlyTheLeaversBucketsAndReturnMovesTheFewest) {
  ResilientBucketTable<int> t(16);
  EXPECT_EQ(t.membersIs({1, 2, 3, 4}), 16u);
  expectBalanced(t, {1, 2, 3, 4});
  auto before = t.bucketList();
  EXPECT_EQ(t.membersIs({1, 2, 3}), 4u);
  expectBalanced(t, {1, 2, 3});
  for (uint32_t i = 0; i < 16; ++i)
    if (before[i] != 4) {
      EXPECT_EQ(t.bucket(i), before[i]) << "bucket " << i << " moved";
    }
  // 6/5/5 back to 4/4/4/4: the newcomer's four buckets, nothing else.
  auto three = t.bucketList();
  EXPECT_EQ(t.membersIs({1, 2, 3, 4}), 4u);
  expectBalanced(t, {1, 2, 3, 4});
  EXPECT_EQ(diff(three, t.bucketList()), 4u);
  // The same members again move nothing; none left empties every bucket.
  EXPECT_EQ(t.membersIs({4, 3, 2, 1, 1}), 0u);
  EXPECT_EQ(t.membersIs({}), 16u);
  EXPECT_FALSE(t.bucket(0).has_value());
}

// Random member changes: balance always holds, and the moves are exactly
// the leavers' buckets plus the newcomers' shortfall - nothing more.
TEST(ResilientBucketTableTest, RandomChangesStayBalancedWithMinimalMoves) {
  std::mt19937 rng(7);
  ResilientBucketTable<int> t(24);
  std::vector<int> members{0, 1, 2};
  t.membersIs(members);
  for (int step = 0; step < 300; ++step) {
    std::vector<int> next;
    for (int m = 0; m < 8; ++m)
      if (rng() % 2) next.push_back(m);
    if (next.empty()) next.push_back(int(rng() % 8));
    auto before = t.bucketList();
    auto held = t.bucketsByMember();
    uint32_t moved = t.membersIs(next);
    expectBalanced(t, next);
    // Least possible: buckets of leavers must move, and each member below
    // its lowest share needs at least its shortfall.
    uint32_t k = next.size(), lo = 24 / k, extra = 24 % k;
    std::vector<size_t> have;
    uint32_t leaverBuckets = 24;
    for (int m : next) {
      size_t n = held.count(m) ? held.at(m).size() : 0;
      have.push_back(n);
      leaverBuckets -= n;
    }
    std::sort(have.rbegin(), have.rend());
    uint32_t excess = 0;
    for (size_t i = 0; i < have.size(); ++i) {
      size_t target = lo + (i < extra ? 1 : 0);
      if (have[i] > target) excess += have[i] - target;
    }
    EXPECT_EQ(moved, leaverBuckets + excess) << "step " << step;
    EXPECT_EQ(moved, diff(before, t.bucketList()));
  }
}

class ResilientEcmpTest : public KorTest::AdjChipFixture {
 protected:
  void SetUp() override {
    AdjChipFixture::SetUp();
    hw_->resilientEcmpSupportedIs(true);
    config_ = Vix::makePtr<ResilientEcmpConfig>("resilient");
    startAdj();
  }
  void TearDown() override {
    res_ = nullptr;
    AdjChipFixture::TearDown();
  }
  void adjSmBuilt() override {
    res_ = Vix::makePtr<ResilientEcmpSm>(acsd_, VrfName("default"), sm_.ptr(), config_, hw_);
    res_->routeReviewHandlerIs([this](Nollo::IpPrefix const& p) { reviews_.push_back(p); });
    sm_->resilientEcmpSmIs(res_);
  }

  void fec(uint64_t i, std::vector<IpAddr4> const& nhs) {
    std::vector<Quill::Fib::Via> v;
    for (auto const& nh : nhs) v.emplace_back(nh, IntfId::vlan(10));
    fwd_->fecIs(Quill::Fib::Fec(fecId(i), FecType::forward, v));
  }
  // What the route machine does for a resilient prefix on FEC i.
  uint64_t route(Nollo::IpPrefix const& p, uint64_t i) {
    uint64_t plain = sm_->getL2AdjIndex(fecId(i), FecId(), 4);
    return res_->isResilient(p) || res_->hasResilientEntry(p) ? res_->handleResilientEcmpRoute(p, fecId(i), plain)
                                                               : plain;
  }
  // The chip's buckets of an L2 adjacency: bucket -> next hop.
  std::map<uint32_t, std::string> chipBuckets(uint64_t l2) const {
    std::map<uint32_t, std::string> out;
    auto const* held = chip_->adj().l2AdjTable().find(l2);
    if (!held) return out;
    for (auto const& [key, info] : held->nextHopBitmap())
      for (uint32_t w = 0; w < key.second.size(); ++w)
        for (uint32_t b = 0; b < 32; ++b)
          if ((key.second[w] >> b) & 1u) out[w * 32 + b] = key.first.str();
    return out;
  }
  uint64_t bucketWrites(uint64_t l2) const { return chip_->adj().softAdjSmHelper().bucketWrites().bucketWrites(l2); }

  IpAddr4 nh(int i) const { return IpAddr4(0x0a000100u + i); }
  Nollo::IpPrefix const p_ = Nollo::IpPrefix("10.9.0.0/16");
  Vix::Ptr<ResilientEcmpConfig> config_;
  Vix::Ptr<ResilientEcmpSm> res_;
  std::vector<Nollo::IpPrefix> reviews_;
};

// One of four next hops leaves the FEC: the chip rewrites exactly its four
// buckets, each to a surviving next hop; it comes back and takes four again.
TEST_F(ResilientEcmpTest, NextHopRemovalAndReturnRewriteOnlyTheBucketsThatMove) {
  config_->prefixIs({VrfName("default"), p_}, ResilientEcmpParams{4, 4});
  fec(1, {nh(1), nh(2), nh(3), nh(4)});
  loop_->runUntilIdle();
  uint64_t l2 = route(p_, 1);
  ASSERT_NE(l2, 0u);
  EXPECT_NE(l2, sm_->getL2AdjIndex(fecId(1), FecId(), 4)) << "the resilient prefix has its own L2 adjacency";
  auto full = chipBuckets(l2);
  ASSERT_EQ(full.size(), 16u);
  EXPECT_EQ(bucketWrites(l2), 16u);

  fec(1, {nh(1), nh(2), nh(3)});
  loop_->runUntilIdle();
  auto three = chipBuckets(l2);
  ASSERT_EQ(three.size(), 16u);
  EXPECT_EQ(bucketWrites(l2), 16u + 4u);
  for (auto const& [b, n] : full) {
    if (n != nh(4).str()) {
      EXPECT_EQ(three.at(b), n) << "bucket " << b << " moved";
    } else {
      EXPECT_NE(three.at(b), n);
    }
  }
  fec(1, {nh(1), nh(2), nh(3), nh(4)});
  loop_->runUntilIdle();
  EXPECT_EQ(bucketWrites(l2), 16u + 4u + 4u);
  EXPECT_EQ(route(p_, 1), l2) << "the L2 adjacency is updated in place";
  EXPECT_EQ(bucketWrites(l2), 24u);
}

// The route moves to another FEC: the table keeps the buckets of the next
// hops both FECs have. Without hardware support the prefix is plain ECMP.
TEST_F(ResilientEcmpTest, RouteChangeKeepsSharedNextHopsAndUnsupportedIsPlain) {
  config_->prefixIs({VrfName("default"), p_}, ResilientEcmpParams{2, 4});
  fec(1, {nh(1), nh(2)});
  fec(2, {nh(2), nh(3)});
  loop_->runUntilIdle();
  uint64_t l2 = route(p_, 1);
  auto before = chipBuckets(l2);
  EXPECT_EQ(route(p_, 2), l2);
  auto after = chipBuckets(l2);
  for (auto const& [b, n] : before)
    if (n == nh(2).str()) {
      EXPECT_EQ(after.at(b), n);
    }
  EXPECT_EQ(bucketWrites(l2), 8u + 4u);

  reviews_.clear();
  hw_->resilientEcmpSupportedIs(false);
  EXPECT_EQ(reviews_, std::vector<Nollo::IpPrefix>{p_}) << "the prefix is reviewed again";
  EXPECT_EQ(route(p_, 2), sm_->getL2AdjIndex(fecId(2), FecId(), 4));
  EXPECT_FALSE(res_->hasResilientEntry(p_));
  loop_->runUntilIdle();
  EXPECT_FALSE(chip_->adj().l2AdjTable().has(l2)) << "the released resilient L2 adjacency is deleted";
}

}  // namespace
