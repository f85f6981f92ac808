// Who may take the FPM port's connection over, seen from outside a real
// kor-agent: a zebra stream of 2,000 routes is current; newcomers that send
// nothing, break the framing or send a frame that does not decode are held,
// closed, and change nothing. A zebra that restarts (its old connection
// closed, or left open) takes over with its first frame, and its replay
// removes what it no longer has. A port alone listens on loopback.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "AgentProcess.h"
#include "FpmPeer.h"
#include "feeds/NetlinkEncoder.h"

namespace {

using KorTest::AgentProcess;
using KorTest::FpmPeer;
using KorTest::jsonNumber;
using KorTest::count;

constexpr uint32_t kRoutes = 2000;
constexpr uint32_t kNexthopId = 7;

// Zebra's table from route `from` on, `count` routes: its blackhole
// next-hop object first, then /24s, every other one through the object and
// the rest blackhole routes of their own (no interface needed).
std::vector<uint8_t> zebraTable(uint32_t from, uint32_t count) {
  KorFeeds::NetlinkEncoder enc;
  std::vector<uint8_t> out;
  KorFeeds::NlNexthopObject o;
  o.id = kNexthopId;
  o.family = 2;
  o.blackhole = true;
  enc.encodeFrame(o, &out);
  for (uint32_t i = from; i < from + count; ++i) {
    KorFeeds::NlRoute r;
    r.prefix = Nollo::IpPrefix(Nollo::IpAddr4(0x0a000000u + (i << 8)), 24);
    if (i % 2) r.type = 6;
    else r.nhId = kNexthopId;
    enc.encodeFrame(r, &out);
  }
  return out;
}

// One route frame whose RTA_DST claims 3 bytes of payload: it frames
// well but does not decode.
std::vector<uint8_t> brokenRouteFrame() {
  KorFeeds::NetlinkEncoder enc;
  std::vector<uint8_t> out;
  KorFeeds::NlRoute r;
  r.prefix = Nollo::IpPrefix(Nollo::IpAddr4(0x0b000000u), 24);
  r.type = 6;
  enc.encodeFrame(r, &out);
  for (size_t at = 4 + 16 + 12; at + 4 <= out.size();) {  // FPM header, nlmsghdr, rtmsg: the attributes
    size_t len = size_t(out[at] | out[at + 1] << 8);
    if ((out[at + 2] | out[at + 3] << 8) == 1) {  // RTA_DST
      out[at] = 7;
      return out;
    }
    at += (len + 3) & ~size_t(3);
  }
  return {};
}

bool waitFor(std::function<bool()> const& done, double seconds = 20.0) {
  auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  while (!done()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

class FpmTakeoverTest : public ::testing::Test {
 protected:
  static constexpr char const* kProofTimeout = "1";
  static constexpr char const* kStaleQuiet = "0.5";

  void SetUp() override {
    port_ = agent_.fpmPort();
    ASSERT_NE(port_, 0) << agent_.stderrText();
  }

  std::string fpm() { return agent_.ask("show fpm json").value_or(""); }
  double fpmValue(std::string const& path) { return jsonNumber(fpm(), path).value_or(-1); }
  size_t chipRoutes() { return count(agent_.ask("show routes json").value_or(""), "\"prefix\": "); }
  bool peerConnected() { return fpm().find("\"peer\": null") == std::string::npos; }
  // The agent holds `routes` FPM routes and no sweep is pending.
  bool settledAt(size_t routes) {
    std::string f = fpm();
    return jsonNumber(f, "routes.ipv4Routes") == double(routes) && f.find("\"sweepPending\": false") != std::string::npos;
  }

  AgentProcess agent_{{"--socket", "{dir}/kor.sock", "--fpm", "127.0.0.1:0", "--fpm-proof-timeout", kProofTimeout,
                       "--fpm-stale-quiet", kStaleQuiet},
                      "kor-agent: fpm listening on"};
  uint16_t port_ = 0;
};

TEST_F(FpmTakeoverTest, NewcomersThatSendNoRouteAreClosedAndZebraAndItsTableStay) {
  FpmPeer zebra(port_);
  ASSERT_TRUE(zebra.connected());
  ASSERT_TRUE(zebra.send(zebraTable(0, kRoutes)));
  ASSERT_TRUE(waitFor([&] { return settledAt(kRoutes); })) << fpm();
  ASSERT_TRUE(waitFor([&] { return chipRoutes() == kRoutes; })) << chipRoutes();

  // A client that connects and sends nothing; one that breaks the framing
  // (FPM version 2); one whose first frame is a route with a 3-byte RTA_DST.
  FpmPeer silent(port_), badVersion(port_), badFrame(port_);
  ASSERT_TRUE(silent.connected() && badVersion.connected() && badFrame.connected());
  ASSERT_TRUE(badVersion.send({2, 1, 0, 8, 0, 0, 0, 0}));
  ASSERT_TRUE(badFrame.send(brokenRouteFrame()));

  EXPECT_TRUE(badVersion.closedByAgent(10));
  EXPECT_TRUE(badFrame.closedByAgent(10));
  EXPECT_TRUE(silent.closedByAgent(10)) << "a silent newcomer is kept; show fpm:\n" << fpm();
  EXPECT_TRUE(zebra.open()) << "zebra's connection was dropped";
  std::string f = fpm();
  EXPECT_EQ(jsonNumber(f, "server.accepted"), 4);
  EXPECT_EQ(jsonNumber(f, "server.replaced"), 0);
  EXPECT_EQ(jsonNumber(f, "candidateCounts.held"), 3);
  EXPECT_EQ(jsonNumber(f, "candidateCounts.silent"), 1);
  EXPECT_EQ(jsonNumber(f, "candidateCounts.garbage"), 2);
  EXPECT_EQ(jsonNumber(f, "candidateCounts.proven"), 0);
  EXPECT_EQ(jsonNumber(f, "routes.connections"), 1);
  EXPECT_EQ(jsonNumber(f, "routes.ipv4Routes"), kRoutes) << f;
  EXPECT_EQ(jsonNumber(f, "routes.stale"), 0);
  std::string text = agent_.ask("show fpm").value_or("");
  EXPECT_NE(text.find("candidates: held 3, proven 0, silent 1, garbage 2, left 0, refused 0"), std::string::npos)
      << text;
  EXPECT_EQ(chipRoutes(), kRoutes);

  // Zebra's stream goes on: its next route applies.
  ASSERT_TRUE(zebra.send(zebraTable(kRoutes, 1)));
  EXPECT_TRUE(waitFor([&] { return fpmValue("routes.ipv4Routes") == kRoutes + 1; })) << fpm();
  EXPECT_TRUE(waitFor([&] { return chipRoutes() == kRoutes + 1; }));
}

TEST_F(FpmTakeoverTest, ARestartedZebraTakesOverAndItsReplayRemovesWhatItNoLongerHas) {
  auto zebra = std::make_unique<FpmPeer>(port_);
  ASSERT_TRUE(zebra->send(zebraTable(0, kRoutes)));
  ASSERT_TRUE(waitFor([&] { return settledAt(kRoutes); })) << fpm();

  // Zebra dies; a silent client comes first and is current (none was), but
  // having replayed nothing it removes nothing.
  zebra.reset();
  ASSERT_TRUE(waitFor([&] { return !peerConnected(); })) << fpm();
  FpmPeer silent(port_);
  ASSERT_TRUE(waitFor([&] { return peerConnected(); })) << fpm();
  std::this_thread::sleep_for(std::chrono::seconds(2));  // four quiet periods
  EXPECT_EQ(fpmValue("routes.ipv4Routes"), kRoutes);
  EXPECT_TRUE(silent.open());

  // The restarted zebra has routes 0-1499 only: it replaces the silent
  // client with its first frame, and the 500 it did not re-send go.
  FpmPeer restarted(port_);
  ASSERT_TRUE(restarted.send(zebraTable(0, 1500)));
  EXPECT_TRUE(silent.closedByAgent(10));
  ASSERT_TRUE(waitFor([&] { return settledAt(1500); })) << fpm();
  EXPECT_EQ(fpmValue("routes.stale"), 500);
  EXPECT_TRUE(waitFor([&] { return chipRoutes() == 1500; })) << chipRoutes();

  // Zebra restarts again but its old connection stays open (a peer that
  // vanished): the new one takes over with routes 500-1499.
  FpmPeer again(port_);
  ASSERT_TRUE(again.send(zebraTable(500, 1000)));
  EXPECT_TRUE(restarted.closedByAgent(10));
  ASSERT_TRUE(waitFor([&] { return settledAt(1000); })) << fpm();
  std::string f = fpm();
  EXPECT_EQ(jsonNumber(f, "routes.stale"), 1000);
  EXPECT_EQ(jsonNumber(f, "server.replaced"), 2);
  EXPECT_EQ(jsonNumber(f, "candidateCounts.proven"), 2);
  EXPECT_EQ(jsonNumber(f, "routes.connections"), 4);
  EXPECT_TRUE(waitFor([&] { return chipRoutes() == 1000; })) << chipRoutes();
  EXPECT_TRUE(again.open());
}

// The kernel's listening TCP sockets of the agent's network namespace, as
// "ADDR:PORT" in /proc's hex form.
std::string listeners(pid_t pid) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/net/tcp");
  std::string line, out;
  while (std::getline(in, line))
    if (line.find(" 0A ") != std::string::npos) out += line.substr(line.find(':') + 2, 13) + " ";
  return out;
}

TEST(FpmListenTest, APortAloneListensOnLoopbackAndAnAddressIsTakenAsGiven) {
  char hexPort[8];
  {
    AgentProcess agent({"--socket", "{dir}/kor.sock", "--fpm", "0"}, "kor-agent: fpm listening on");
    uint16_t port = agent.fpmPort();
    ASSERT_NE(port, 0);
    EXPECT_NE(agent.stderrText().find("fpm listening on 127.0.0.1:" + std::to_string(port)), std::string::npos);
    std::snprintf(hexPort, sizeof hexPort, "%04X", port);
    EXPECT_NE(listeners(agent.pid()).find("0100007F:" + std::string(hexPort)), std::string::npos)
        << listeners(agent.pid());
    EXPECT_TRUE(FpmPeer(port).connected());
  }
  {
    AgentProcess agent({"--socket", "{dir}/kor.sock", "--fpm", "0.0.0.0:0"}, "kor-agent: fpm listening on");
    uint16_t port = agent.fpmPort();
    std::snprintf(hexPort, sizeof hexPort, "%04X", port);
    EXPECT_NE(listeners(agent.pid()).find("00000000:" + std::string(hexPort)), std::string::npos)
        << listeners(agent.pid());
  }
  AgentProcess bad({"--fpm", "zebra"}, "");
  EXPECT_TRUE(waitFor([&] { return !bad.alive(); }, 10));
  EXPECT_NE(bad.stderrText().find("kor-agent: --fpm: bad FPM address 'zebra': expected PORT or ADDR:PORT"),
            std::string::npos)
      << bad.stderrText();
}

}  // namespace
