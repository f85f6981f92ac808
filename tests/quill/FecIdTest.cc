// FEC ids: field layout, the invalid id, construction limits, printing.
#include <gtest/gtest.h>

#include <sstream>
#include <unordered_set>

#include "quill/FecId.h"
#include "vix/RangeError.h"

namespace {

using Quill::Fib::AdjType;
using Quill::Fib::FecId;
using Quill::Fib::FecIdConstants;

TEST(FecIdTest, TypeInTopByteIndexBelow) {
  FecId f = FecId::make(Quill::Fib::nextHopGroupAdj(), 42);
  EXPECT_EQ(f.value(), (uint64_t(6) << 56) | 42);
  EXPECT_EQ(f.adjType(), Quill::Fib::nextHopGroupAdj());
  EXPECT_EQ(f.index(), 42u);
  EXPECT_EQ(int(Quill::Fib::tunnelAdj()), 3);
  EXPECT_EQ(int(Quill::Fib::nextHopGroupAdj()), 6);
  FecId raw((uint64_t(3) << 56) | 0x00ffffffffffffffULL);
  EXPECT_EQ(raw.adjType(), Quill::Fib::tunnelAdj());
  EXPECT_EQ(raw.index(), 0x00ffffffffffffffULL);
  EXPECT_EQ(FecId(0).adjType(), AdjType::unspecifiedAdj);
  EXPECT_EQ(FecId::make(Quill::Fib::nexthopAdj(), 7), FecId((uint64_t(1) << 56) | 7));
}

TEST(FecIdTest, DefaultIsTheInvalidIdAndMakeNeverProducesIt) {
  EXPECT_EQ(FecId().value(), FecIdConstants::invalidFecId_);
  EXPECT_FALSE(FecId().isValid());
  EXPECT_EQ(FecId(), FecId(FecIdConstants::invalidFecId_));
  EXPECT_TRUE(FecId(0).isValid());
  EXPECT_THROW(FecId::make(AdjType(0xff), FecIdConstants::indexMask_), Vix::RangeError);
  EXPECT_THROW(FecId::make(Quill::Fib::nexthopAdj(), uint64_t(1) << 56), Vix::RangeError);
  EXPECT_NO_THROW(FecId::make(AdjType(0xff), FecIdConstants::indexMask_ - 1));
}

TEST(FecIdTest, ANextHopFecPrintsItsIndexAnyOtherItsTypeTooAndTheTextReadsBack) {
  std::ostringstream os;
  os << FecId::make(Quill::Fib::nexthopAdj(), 12) << " " << FecId::make(Quill::Fib::nextHopGroupAdj(), 12) << " "
     << FecId(0) << " " << FecId() << " " << Quill::Fib::nextHopGroupAdj() << " " << AdjType(9);
  EXPECT_EQ(os.str(), "12 nextHopGroupAdj:12 0 none nextHopGroupAdj AdjType(9)");
  for (FecId f : {FecId::make(Quill::Fib::nexthopAdj(), 0), FecId::make(Quill::Fib::tunnelAdj(), 7),
                  FecId::make(Quill::Fib::nexthopAdj(), FecIdConstants::indexMask_)})
    EXPECT_EQ(FecId::parse(f.str()), f) << f;
  for (char const* bad : {"", "x", "12x", "-1", "nextHopGroupAdj:", "nosuchAdj:3", "72057594037927936", ":5"})
    EXPECT_FALSE(FecId::parse(bad)) << bad;
  EXPECT_LT(FecId(1), FecId::make(Quill::Fib::nexthopAdj(), 0));
  std::unordered_set<FecId> s{FecId(1), FecId(2), FecId(1)};
  EXPECT_EQ(s.size(), 2u);
}

}  // namespace
