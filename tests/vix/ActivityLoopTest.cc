// Timers on the manual clock, and notification delivery of entities.
#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "vix/ActivityLoop.h"
#include "vix/Entity.h"
#include "vix/Log.h"

namespace {

TEST(ActivityLoopTest, TimersFireInDueThenArmingOrder) {
  auto ts = Vix::makePtr<Vix::ManualTimeSource>(0.0);
  Vix::ActivityLoop loop(ts);
  std::vector<std::string> fired;
  Vix::Clock a(&loop, [&] { fired.push_back("a@" + std::to_string(int(loop.now()))); });
  Vix::Clock b(&loop, [&] { fired.push_back("b@" + std::to_string(int(loop.now()))); });
  Vix::Clock c(&loop, [&] { fired.push_back("c"); });
  EXPECT_EQ(a.timeMin(), Vix::kNever);
  b.timeMinIs(5);
  a.timeMinIs(5);
  c.timeMinIs(3);
  c.timeMinIs(Vix::kNever);  // disarmed: never fires
  EXPECT_TRUE(loop.runUntilIdle());
  EXPECT_EQ(fired, (std::vector<std::string>{"b@5", "a@5"}));
  EXPECT_FALSE(a.armed());
}

TEST(ActivityLoopTest, EarlierOnlyAndRunForBound) {
  auto ts = Vix::makePtr<Vix::ManualTimeSource>(0.0);
  Vix::ActivityLoop loop(ts);
  int n = 0;
  Vix::Clock periodic(&loop, [&] { ++n; });
  periodic.timeMinIs(10);
  periodic.timeMinEarlierIs(20);  // later: ignored
  EXPECT_EQ(periodic.timeMin(), 10);
  periodic.timeMinEarlierIs(4);
  EXPECT_EQ(periodic.timeMin(), 4);
  loop.runFor(3.9);
  EXPECT_EQ(n, 0);
  loop.runFor(0.2);
  EXPECT_EQ(n, 1);
  EXPECT_DOUBLE_EQ(loop.now(), 4.1);
  // A run to infinity is refused before time moves: a manual clock there
  // would fire a re-arming timer forever.
  periodic.timeMinIs(5);
  for (double d : {Vix::kNever, std::nan(""), -1.0, 1e308 * 10}) EXPECT_THROW(loop.runFor(d), std::invalid_argument);
  EXPECT_DOUBLE_EQ(loop.now(), 4.1);
  EXPECT_EQ(n, 1);
}

TEST(ActivityLoopTest, DestroyedClockIsCancelled) {
  auto ts = Vix::makePtr<Vix::ManualTimeSource>(0.0);
  Vix::ActivityLoop loop(ts);
  int n = 0;
  {
    Vix::Clock c(&loop, [&] { ++n; });
    c.timeMinIs(1);
  }
  EXPECT_TRUE(loop.runUntilIdle());
  EXPECT_EQ(n, 0);
}

// A handler that runs its own loop would call itself again (its descriptor
// stays readable) without end: the loop refuses, and stays usable.
TEST(ActivityLoopTest, RunningTheLoopFromItsOwnHandlersIsRefused) {
  auto ts = Vix::makePtr<Vix::ManualTimeSource>(0.0);
  Vix::ActivityLoop loop(ts);
  int refused = 0;
  Vix::Clock nested(&loop, [&] {
    EXPECT_TRUE(loop.inHandler());
    for (auto run : {std::function<void()>([&] { loop.runFor(1); }), std::function<void()>([&] { loop.runUntilIdle(); }),
                     std::function<void()>([&] { loop.runDue(); }), std::function<void()>([&] { loop.run(); })}) {
      try {
        run();
      } catch (std::logic_error const& e) {
        EXPECT_NE(std::string(e.what()).find("called from inside one of the loop's own handlers"), std::string::npos);
        ++refused;
      }
    }
  });
  nested.timeMinIs(1);
  EXPECT_TRUE(loop.runUntilIdle());
  EXPECT_EQ(refused, 4);
  EXPECT_FALSE(loop.inHandler());

  // The same from a descriptor handler, on real time.
  Vix::ActivityLoop real(Vix::makePtr<Vix::MonotonicTimeSource>());
  int fds[2];
  ASSERT_EQ(::pipe(fds), 0);
  ASSERT_EQ(::write(fds[1], "x", 1), 1);
  int calls = 0;
  real.fdIs(fds[0], [&] {
    ++calls;
    EXPECT_THROW(real.runFor(0.01), std::logic_error);
    real.fdDel(fds[0]);
  });
  real.runFor(0.05);
  EXPECT_EQ(calls, 1);
  ::close(fds[0]);
  ::close(fds[1]);
}

// Write readiness: the write watcher runs when the peer makes room, apart from
// the read watcher of the same descriptor; a descriptor closed while watched
// is dropped instead of being polled again and again.
TEST(ActivityLoopTest, WriteWatchersAndClosedDescriptors) {
  Vix::ActivityLoop loop(Vix::makePtr<Vix::MonotonicTimeSource>());
  int sv[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, sv), 0);
  std::string chunk(65536, 'x');
  while (::send(sv[0], chunk.data(), chunk.size(), MSG_DONTWAIT) > 0) {
  }
  int writable = 0, readable = 0;
  loop.fdWriteIs(sv[0], [&] { ++writable; });
  loop.fdIs(sv[0], [&] { ++readable; });
  loop.runFor(0.02);
  EXPECT_EQ(writable, 0) << "full socket reported writable";
  char buf[65536];
  while (::read(sv[1], buf, sizeof buf) > 0) {
  }
  loop.runFor(0.02);
  EXPECT_GT(writable, 0);
  EXPECT_EQ(readable, 0);
  loop.fdWriteDel(sv[0]);
  writable = 0;
  loop.runFor(0.02);
  EXPECT_EQ(writable, 0);
  EXPECT_EQ(loop.fdWatched(), 1u);  // the read watcher is still there
  ::close(sv[0]);
  loop.runFor(0.02);
  EXPECT_EQ(loop.fdWatched(), 0u);
  ::close(sv[1]);
}

class Thing : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<Thing> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_HANDLER(Up)
    VIX_KEY_HANDLER(int, Member)
  };
  VIX_ATTR(bool, up, Up)
  VIX_HASH_MAP(int, std::string, member, Member)
};

class Watcher : public Thing::Notifiee {
 public:
  using Notifiee::Notifiee;
  void handleUp() override { log.push_back(std::string("up=") + (notifier()->up() ? "1" : "0")); }
  void handleMember(int const& k) override {
    log.push_back("member " + std::to_string(k) + "=" + notifier()->member(k));
  }
  std::vector<std::string> log;
};

TEST(EntityTest, NotifiesPerAttributeAndKeyAfterStoring) {
  auto t = Vix::makePtr<Thing>();
  Watcher w(t);
  t->upIs(true);
  t->upIs(true);  // unchanged: no notification
  t->memberIs(1, "a");
  t->memberIs(1, "a");
  t->memberIs(2, "b");
  t->memberDel(1);
  t->memberDelAll();
  EXPECT_EQ(w.log, (std::vector<std::string>{"up=1", "member 1=a", "member 2=b", "member 1=", "member 2="}));
  w.notificationActiveIs(false);
  t->upIs(false);
  EXPECT_EQ(w.log.size(), 5u);
}

TEST(EntityTest, ReactorDetachingDuringDeliveryIsSafe) {
  auto t = Vix::makePtr<Thing>();
  auto* second = new Watcher(t);
  struct Killer : Thing::Notifiee {
    using Notifiee::Notifiee;
    Watcher** victim;
    void handleUp() override { delete *victim; *victim = nullptr; }
  } killer(t);
  killer.victim = &second;
  t->upIs(true);
  EXPECT_EQ(second, nullptr);
  EXPECT_EQ(t->notifieeCount(), 1u);
}

VIX_LOG_EVENT(TEST_EVENT, 3, "paths %d adj %s", "explanation", "action", 10.0);

TEST(LogTest, FormatsAndRateLimits) {
  auto sink = Vix::makePtr<Vix::MemoryLogSink>();
  auto old = Vix::logSink();
  Vix::logSinkIs(sink);
  EXPECT_TRUE(TEST_EVENT.raise(100.0, 3, "x"));
  EXPECT_FALSE(TEST_EVENT.raise(105.0, 4, "y"));
  EXPECT_TRUE(TEST_EVENT.raise(110.0, 5, "z"));
  Vix::logSinkIs(old);
  ASSERT_EQ(sink->records().size(), 2u);
  EXPECT_EQ(sink->records()[0].text, "paths 3 adj x");
  EXPECT_EQ(sink->records()[1].text, "paths 5 adj z");
  EXPECT_EQ(TEST_EVENT.suppressed(), 1u);
}

}  // namespace
