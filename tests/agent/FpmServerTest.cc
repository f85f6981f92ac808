// FpmServer over a real loopback TCP connection on the agent's loop (real
// time): good frames apply, a message with a bad attribute is skipped while
// the connection stays, lost framing closes the connection and the next one
// works, a newer connection replaces the older only with a route or next-hop
// message (candidates that close, chatter without routes or come past the
// cap are closed), and a burst larger than one turn's budget is applied whole
// over several loop turns.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <string>
#include <vector>

#include "agent/Agent.h"
#include "agent/fib/FibModule.h"
#include "agent/intf/IntfModule.h"
#include "agent/vrf/VrfModule.h"
#include "agent/fpm/FpmRouteSource.h"
#include "agent/fpm/FpmServer.h"
#include "feeds/NetlinkEncoder.h"
#include "vix/Time.h"

namespace {

using KorAgent::Agent;
using KorAgent::FpmRouteSource;
using KorAgent::FpmServer;
using KorFeeds::NlRoute;

NlRoute route4(uint32_t net, uint32_t nhId) {
  NlRoute r;
  r.prefix = Nollo::IpPrefix(Nollo::IpAddr4(0x0b000000u + (net << 8)), 24);
  r.nhId = nhId;
  return r;
}

class FpmServerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    agent_.module<KorAgent::VrfModule>().routingIs(Kor::VrfName("default"), true, true, true);
    agent_.module<KorAgent::IntfModule>().intfAdd(Nollo::IntfId::vlan(10), std::nullopt, Kor::VlanId(10));
    agent_.init();
    ASSERT_TRUE(server_.listenIs("127.0.0.1:0")) << server_.errorText();
    KorFeeds::NlNexthopObject o;
    o.id = 1;
    o.family = 2;  // AF_INET
    o.nexthop.gateway = Nollo::IpGenAddr("10.1.0.2");
    o.nexthop.oif = 10;
    enc_.encodeFrame(o, &nexthop_);
  }
  void TearDown() override {
    for (int fd : clients_) ::close(fd);
  }

  int connectClient() {
    int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(server_.port());
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(::connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a), 0);
    clients_.push_back(fd);
    return fd;
  }
  void send(int fd, std::vector<uint8_t> const& bytes) {
    size_t off = 0;
    while (off < bytes.size()) {
      // The agent reads only between sends: a big burst goes in pieces.
      ssize_t n = ::send(fd, bytes.data() + off, bytes.size() - off, MSG_DONTWAIT | MSG_NOSIGNAL);
      if (n > 0) off += size_t(n);
      else if (n < 0 && errno != EAGAIN) return;  // closed by the server
      else agent_.runFor(0.001);
    }
  }
  bool runUntil(std::function<bool()> const& done) {
    for (int i = 0; i < 2000 && !done(); ++i) agent_.runFor(0.005);
    return done();
  }
  std::vector<uint8_t> routeFrames(uint32_t from, uint32_t count) {
    std::vector<uint8_t> out;
    for (uint32_t i = from; i < from + count; ++i) enc_.encodeFrame(route4(i, 1), &out);
    return out;
  }

  Agent agent_{Vix::makePtr<Vix::MonotonicTimeSource>()};
  FpmRouteSource src_{&agent_,
                      [](uint32_t i) -> std::optional<Nollo::IntfId> {
                        if (i == 10) return Nollo::IntfId::vlan(10);
                        return std::nullopt;
                      },
                      nullptr};
  FpmServer server_{&agent_, &src_};
  KorFeeds::NetlinkEncoder enc_;
  std::vector<uint8_t> nexthop_;
  std::vector<int> clients_;
};

TEST_F(FpmServerTest, BadAttributeSkipsItsMessageAndTheConnectionStays) {
  int fd = connectClient();
  std::vector<uint8_t> bytes = nexthop_;
  auto first = routeFrames(0, 1);
  bytes.insert(bytes.end(), first.begin(), first.end());
  // A route whose RTA_NH_ID attribute claims 3 bytes of payload.
  size_t bad = bytes.size();
  auto broken = routeFrames(1, 1);
  bytes.insert(bytes.end(), broken.begin(), broken.end());
  size_t at = bad + 4 + 16 + 12;  // FPM header, nlmsghdr, rtmsg: the attributes
  for (;;) {
    ASSERT_LT(at + 4, bytes.size());
    uint16_t len = uint16_t(bytes[at] | bytes[at + 1] << 8), type = uint16_t(bytes[at + 2] | bytes[at + 3] << 8);
    if (type == 30) {  // RTA_NH_ID
      bytes[at] = 7;
      break;
    }
    at += (len + 3u) & ~3u;
  }
  auto last = routeFrames(2, 1);
  bytes.insert(bytes.end(), last.begin(), last.end());
  send(fd, bytes);
  ASSERT_TRUE(runUntil([&] { return server_.counters().frames == 4; }));
  EXPECT_EQ(src_.routes(), 2u) << agent_.show("fpm", false);
  EXPECT_EQ(server_.decoderCounters().badAttrSize, 1u);
  EXPECT_TRUE(server_.connected());
  auto fib = agent_.module<KorAgent::FibModule>().fibRoutes4("default");
  EXPECT_FALSE(fib->routeHas(std::get<Nollo::IpPrefix>(route4(1, 1).prefix)));
  EXPECT_TRUE(fib->routeHas(std::get<Nollo::IpPrefix>(route4(2, 1).prefix)));
  std::string shown = agent_.show("fpm", false);
  EXPECT_NE(shown.find("listening on 127.0.0.1:" + std::to_string(server_.port()) + ", connected to 127.0.0.1:"),
            std::string::npos)
      << shown;
  EXPECT_NE(shown.find("badAttrSize 1"), std::string::npos) << shown;
}

TEST_F(FpmServerTest, LostFramingClosesTheConnectionAndTheNextOneWorks) {
  int fd = connectClient();
  send(fd, nexthop_);
  send(fd, {2, 1, 0, 8, 0, 0, 0, 0});  // version 2
  ASSERT_TRUE(runUntil([&] { return server_.counters().framingLost == 1; }));
  EXPECT_FALSE(server_.connected());
  char c;
  EXPECT_EQ(::recv(fd, &c, 1, 0), 0);  // closed by the server

  int second = connectClient();
  send(second, routeFrames(0, 3));
  ASSERT_TRUE(runUntil([&] { return src_.routes() == 3; }));
  // A newer connection replaces it with its first route; its frames apply.
  int third = connectClient();
  send(third, routeFrames(3, 1));
  ASSERT_TRUE(runUntil([&] { return src_.routes() == 4; }));
  EXPECT_EQ(server_.counters().accepted, 3u);
  EXPECT_EQ(server_.counters().replaced, 1u);
  EXPECT_EQ(src_.counters().connections, 3u);
  EXPECT_EQ(::recv(second, &c, 1, 0), 0);
}

TEST_F(FpmServerTest, ABurstBeyondOneTurnIsAppliedWholeOverSeveralTurns) {
  int fd = connectClient();
  uint32_t const n = 3 * FpmServer::kFramesPerTurn + 17;
  auto bytes = nexthop_;
  auto routes = routeFrames(0, n);
  bytes.insert(bytes.end(), routes.begin(), routes.end());
  send(fd, bytes);
  ASSERT_TRUE(runUntil([&] { return src_.routes() == n; })) << src_.routes();
  EXPECT_GE(server_.counters().pauses, 1u);
  EXPECT_EQ(server_.counters().frames, n + 1);
  EXPECT_EQ(src_.counters().routeWrites, n);
}

TEST_F(FpmServerTest, CandidatesAreClosedUnlessTheySendARouteAndTheProvenOneReplaysWhatItHeld) {
  server_.proofTimeoutIs(0.3);
  src_.staleQuietIs(0.2);
  int zebra = connectClient();
  auto table = nexthop_;
  auto routes = routeFrames(0, 2);
  table.insert(table.end(), routes.begin(), routes.end());
  send(zebra, table);
  ASSERT_TRUE(runUntil([&] { return src_.routes() == 2; }));

  // One closes at once; one sends links (no route) past the hold limit.
  ::close(connectClient());
  clients_.pop_back();
  int chatty = connectClient();
  std::vector<uint8_t> link;
  KorFeeds::NlLink l;
  l.ifindex = 3;
  l.name = "eth3";
  enc_.encodeFrame(l, &link);
  std::vector<uint8_t> links;
  while (links.size() <= FpmServer::kCandidateHold) links.insert(links.end(), link.begin(), link.end());
  send(chatty, links);
  ASSERT_TRUE(runUntil([&] { return server_.counters().candidatesGarbage == 1; }));
  EXPECT_EQ(server_.counters().candidatesLeft, 1u);
  // Past the cap a newcomer is closed at once; the held ones time out.
  std::vector<int> silent;
  for (size_t i = 0; i <= FpmServer::kMaxCandidates; ++i) {
    silent.push_back(connectClient());
    ASSERT_TRUE(runUntil([&] { return server_.counters().accepted == 4 + i; }));
  }
  EXPECT_EQ(server_.counters().candidatesRefused, 1u);
  EXPECT_EQ(server_.candidates(), FpmServer::kMaxCandidates);
  ASSERT_TRUE(runUntil([&] { return server_.counters().candidatesSilent == FpmServer::kMaxCandidates; }));
  char c;
  for (int fd : silent) EXPECT_EQ(::recv(fd, &c, 1, 0), 0);
  EXPECT_TRUE(server_.connected());
  EXPECT_EQ(server_.counters().replaced, 0u);
  EXPECT_EQ(src_.counters().connections, 1u);
  EXPECT_EQ(server_.counters().otherMessages, 0u);

  // A link, then the table: the route proves it; the link applies first.
  int restarted = connectClient();
  auto replay = link;
  replay.insert(replay.end(), table.begin(), table.end() - routes.size() / 2);
  send(restarted, replay);
  ASSERT_TRUE(runUntil([&] { return server_.counters().replaced == 1; }));
  EXPECT_EQ(::recv(zebra, &c, 1, 0), 0);
  EXPECT_EQ(server_.counters().candidatesProven, 1u);
  EXPECT_EQ(server_.counters().otherMessages, 1u);
  EXPECT_EQ(src_.counters().connections, 2u);
  ASSERT_TRUE(runUntil([&] { return src_.routes() == 1; })) << agent_.show("fpm", false);
  EXPECT_EQ(src_.counters().routeStale, 1u);
}

}  // namespace
