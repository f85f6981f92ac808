// L3 status: derived summaries, the VRF name/id pair, keys that must be
// refused, and the value types' text forms.
#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>

#include "kor/records/L3Status.h"
#include "kor/records/RouteType.h"
#include "vix/RangeError.h"

namespace {

using Kor::VrfName;

TEST(L3StatusTest, DerivedAttributesFollowTheVrfChildren) {
  Kor::L3Status l3("l3");
  EXPECT_FALSE(l3.v4SyncPendingInAnyVrf());
  auto a = l3.newVrfL3Status(VrfName("a"));
  auto d = l3.newVrfL3Status(VrfName("default"));
  a->endOfV4SyncDoneIs(true);
  d->endOfV6SyncDoneIs(true);
  EXPECT_TRUE(l3.v4SyncPendingInAnyVrf());
  EXPECT_TRUE(l3.v6SyncPendingInAnyVrf());
  a->routingEnabledIs(true);
  EXPECT_TRUE(l3.routingEnabledInAnyVrf());
  EXPECT_FALSE(l3.routingEnabledInDefaultVrf());
  a->numUnprogrammedRoutesInc(4);
  d->numUnprogrammedRoutesInc(3);
  d->numParentDropV6RoutesInc(2);
  EXPECT_EQ(l3.numUnprogrammedRoutes(), 7u);
  EXPECT_EQ(l3.numParentDropV6Routes(), 2u);
  EXPECT_TRUE(l3.unprogrammedV4RoutesInAnyVrf());
  EXPECT_FALSE(l3.unprogrammedV6RoutesInAnyVrf());
  // The last VRF whose IPv4 sync is pending goes: nothing is pending any more.
  l3.vrfL3StatusDel(VrfName("default"));
  EXPECT_FALSE(l3.v4SyncPendingInAnyVrf());
  EXPECT_TRUE(l3.v6SyncPendingInAnyVrf());  // still pending in "a"
  EXPECT_EQ(l3.numUnprogrammedRoutes(), 4u);
}

TEST(L3StatusTest, VrfNameAndIdAreWrittenAndRemovedAsAPair) {
  Kor::L3Status l3("l3");
  l3.vrfIdPairIs(VrfName("a"), Kor::VrfId(1));
  l3.vrfIdPairIs(VrfName("a"), Kor::VrfId(2));  // a moves: id 1 is free again
  EXPECT_FALSE(l3.vrfNameHas(Kor::VrfId(1)));
  EXPECT_EQ(l3.vrfName(Kor::VrfId(2)), VrfName("a"));
  l3.vrfIdPairIs(VrfName("b"), Kor::VrfId(2));  // b takes a's id: a loses it
  EXPECT_FALSE(l3.vrfIdHas(VrfName("a")));
  EXPECT_EQ(l3.vrfId(VrfName("b")).value(), 2u);
  l3.vrfIdPairDel(VrfName("b"));
  EXPECT_TRUE(l3.vrfNameMap().empty());
  EXPECT_TRUE(l3.vrfIdMap().empty());
}

TEST(L3StatusTest, VrfNamesOver100BytesAreRefusedAsKeys) {
  Kor::L3Status l3("l3");
  EXPECT_THROW(l3.newVrfL3Status(std::string(101, 'v')), Vix::RangeError);
  EXPECT_THROW(l3.vrfIdPairIs(std::string(101, 'v'), Kor::VrfId(1)), Vix::RangeError);
  EXPECT_EQ(l3.vrfL3StatusSize(), 0u);
  EXPECT_TRUE(l3.vrfIdMap().empty());
  EXPECT_NO_THROW(l3.newVrfL3Status(std::string(100, 'v')));
}

TEST(L3StatusDeathTest, InvalidFecIdIsNeverAKey) {
  Kor::VrfL3Status s(VrfName("a"));
  Quill::Fib::FecId invalid;
  EXPECT_DEATH(s.adjEntryListIs(invalid, Vix::makePtr<Kor::AdjEntry>(invalid)), "invalidFecId_ used as key of adjEntryList");
  setenv("KOR_NOOP_AGENT", "1", 1);
  s.adjEntryReviewListIs(invalid, Kor::AdjReviewType::adjReviewUpdate);
  s.adjEntryReviewCntIs(invalid, 1);
  unsetenv("KOR_NOOP_AGENT");
  EXPECT_EQ(s.adjEntryReviewListSize(), 0u);
  EXPECT_EQ(s.adjEntryReviewCntSize(), 0u);
  s.adjEntryListIs(Quill::Fib::FecId(0), Vix::makePtr<Kor::AdjEntry>(Quill::Fib::FecId(0)));
  EXPECT_TRUE(s.adjEntryListHas(Quill::Fib::FecId(0)));
}

TEST(L3StatusTest, HandOverListKeysAreVrfAndPrefix) {
  Kor::L3Status l3("l3");
  auto info = Vix::makePtr<Kor::AdjInfo>(Kor::RouteType::forwardRoute, 5, 9, true);
  Kor::VrfAndPrefix k1{Kor::VrfId(1), Nollo::IpPrefix("10.0.0.0/8")};
  Kor::VrfAndPrefix k2{Kor::VrfId(2), Nollo::IpPrefix("10.0.0.0/8")};
  l3.adjInfoListIs(k1, info);
  EXPECT_TRUE(l3.adjInfoListHas(k1));
  EXPECT_FALSE(l3.adjInfoListHas(k2));
  EXPECT_EQ(l3.adjInfoList(k1)->l2AdjIndex(), 9u);
  std::ostringstream os;
  os << k2 << " " << Kor::RouteType::nexthopGroupRoute << " " << static_cast<Kor::RouteType>(42);
  EXPECT_EQ(os.str(), "2:10.0.0.0/8 nexthopGroupRoute RouteType(42)");
}

}  // namespace
