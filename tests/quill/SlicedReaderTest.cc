// The sliced table reader: initial contents and later changes reach the
// consumer in passes bounded by the yield time, coalesced per key, resumed on
// the next turn of the loop until drained.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "quill/ForwardingStatus.h"
#include "quill/RouteStatus.h"
#include "quill/SlicedReader.h"
#include "vix/ActivityLoop.h"

namespace {

using Nollo::IpAddr4;
using Nollo::IpPrefix;
using Quill::Fib::FecId;
using Quill::Fib::Route;
using Quill::Fib::RouteStatus;

// Every delivered key costs `cost` seconds of (manual) loop time.
struct Fixture : ::testing::Test {
  Vix::Ptr<Vix::ManualTimeSource> ts = Vix::makePtr<Vix::ManualTimeSource>(0.0);
  Vix::ActivityLoop loop{ts};
  Vix::Ptr<RouteStatus> routes = Vix::makePtr<RouteStatus>("default");
  std::vector<std::string> seen;
  double cost = 0.125;

  Quill::SlicedReader<RouteStatus>::Consumer consumer() {
    return [this](IpPrefix const& p) {
      auto const& m = routes->routeMap();
      auto it = m.find(p);
      seen.push_back(p.str() + (it == m.end() ? " deleted" : " fec " + it->second.fecId().str()));
      ts->advance(cost);
    };
  }
  void addRoutes(int n, int fec = 1) {
    for (int i = 0; i < n; ++i)
      routes->routeIs(Route(IpPrefix(IpAddr4(0x0a000000u + (uint32_t(i) << 8)), 24), FecId(uint64_t(fec))));
  }
};

TEST_F(Fixture, InitialContentsArriveInTimeSlices) {
  addRoutes(12);
  Quill::SlicedReader<RouteStatus> reader(routes, &loop, consumer(), 0.5);
  int drainedCalls = 0;
  reader.drainedHandlerIs([&] { ++drainedCalls; });
  EXPECT_EQ(reader.pending(), 12u);
  EXPECT_TRUE(reader.clock().armed());
  EXPECT_TRUE(seen.empty());  // nothing is read inside the constructor

  // 0.5 s per pass at 0.125 s per key: the fifth key passes the deadline.
  EXPECT_EQ(loop.runDue(), 1u);
  EXPECT_EQ(seen.size(), 5u);
  EXPECT_FALSE(reader.drained());
  EXPECT_TRUE(reader.clock().armed());
  EXPECT_DOUBLE_EQ(reader.clock().timeMin(), loop.now());  // resumes on the next turn
  EXPECT_EQ(reader.yields(), 1u);

  loop.runDue();
  EXPECT_EQ(seen.size(), 10u);
  loop.runDue();
  EXPECT_EQ(seen.size(), 12u);
  EXPECT_TRUE(reader.drained());
  EXPECT_FALSE(reader.clock().armed());
  EXPECT_EQ(reader.passes(), 3u);
  EXPECT_EQ(drainedCalls, 1);
  EXPECT_EQ(std::set<std::string>(seen.begin(), seen.end()).size(), 12u);  // each key once
}

TEST_F(Fixture, ChangesAreCoalescedPerKeyAndDeletionsDelivered) {
  Quill::SlicedReader<RouteStatus> reader(routes, &loop, consumer());
  EXPECT_TRUE(reader.drained());
  EXPECT_FALSE(reader.clock().armed());
  IpPrefix p("10.0.0.0/8"), q("20.0.0.0/8");
  routes->routeIs(Route(p, FecId(1)));
  EXPECT_TRUE(reader.clock().armed());
  routes->routeIs(Route(p, FecId(2)));
  routes->routeIs(Route(q, FecId(3)));
  routes->routeIs(Route(p, FecId(4)));
  routes->routeDel(q);
  EXPECT_EQ(reader.pending(), 2u);
  EXPECT_TRUE(loop.runUntilIdle());
  EXPECT_EQ(seen, (std::vector<std::string>{"10.0.0.0/8 fec 4", "20.0.0.0/8 deleted"}));
}

TEST_F(Fixture, YieldTimeChangesTheSliceAndWritesDuringAPassWaitForTheNext) {
  addRoutes(6);
  IpPrefix late("99.0.0.0/8");
  auto base = consumer();
  Quill::SlicedReader<RouteStatus> reader(
      routes, &loop,
      [&](IpPrefix const& p) {
        base(p);
        // The first delivery writes a new route and rewrites itself.
        if (seen.size() == 1) {
          routes->routeIs(Route(late, FecId(7)));
          routes->routeIs(Route(p, FecId(8)));
        }
      },
      0.5);
  reader.yieldTimeIs(0.25);  // three keys per pass now
  loop.runDue();
  EXPECT_EQ(seen.size(), 3u);
  EXPECT_EQ(reader.pending(), 5u);  // 3 original keys + the new one + the rewritten one
  EXPECT_TRUE(reader.queued(late));
  EXPECT_TRUE(loop.runUntilIdle());
  ASSERT_EQ(seen.size(), 8u);
  EXPECT_EQ(seen[6], "99.0.0.0/8 fec 7");
  EXPECT_EQ(seen[7], seen[0].substr(0, seen[0].find(' ')) + " fec 8");
}

TEST_F(Fixture, ReadsAnyQuillTable) {
  auto fecs = Vix::makePtr<Quill::Fib::ForwardingStatus>("fib");
  fecs->fecIs(Quill::Fib::Fec(FecId(1), Quill::Fib::FecType::drop));
  std::vector<uint64_t> got;
  Quill::SlicedReader<Quill::Fib::ForwardingStatus> reader(fecs, &loop, [&](FecId const& f) { got.push_back(f.value()); });
  fecs->fecIs(Quill::Fib::Fec(FecId(2), Quill::Fib::FecType::receive));
  fecs->fecDel(FecId(1));
  EXPECT_TRUE(loop.runUntilIdle());
  EXPECT_EQ(got, (std::vector<uint64_t>{1, 2}));
  EXPECT_EQ(reader.delivered(), 2u);
}

}  // namespace
