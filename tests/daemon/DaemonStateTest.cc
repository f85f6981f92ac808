// The daemon's own state across requests: a change of the adjacency sharing
// mode restarts the library in process (the daemon and its socket stay),
// and what the library traces and logs between two answers is kept only up
// to a bound, the rest counted.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "AgentProcess.h"

namespace {

using KorTest::AgentProcess;
using KorTest::count;

// Waits until the agent has used no CPU for a while: its loop has nothing left
// to do (generous bound).
void waitIdle(AgentProcess const& agent) {
  auto const start = std::chrono::steady_clock::now();
  double last = agent.cpuSeconds();
  // Idle is the agent's CPU time standing still for 1.5 s: one still sample
  // is not enough on a loaded machine, where the agent may simply not have
  // been scheduled yet.
  int still = 0;
  while (std::chrono::steady_clock::now() - start < std::chrono::seconds(120)) {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    double const now = agent.cpuSeconds();
    still = now == last ? still + 1 : 0;
    if (still == 5) return;
    last = now;
  }
}

// The keys of the chip's L2 adjacency table in a `show chip json` answer
// (nullopt when the answer has no such table).
std::optional<std::set<std::string>> chipL2Adjs(std::string const& json) {
  size_t at = json.find("{\"name\": \"l2adj\"");
  if (at == std::string::npos) return std::nullopt;
  at = json.find("\"entries\": {", at);
  if (at == std::string::npos) return std::nullopt;
  at += 12;
  // A JSON string starting at `at` (its quote); returns it, `at` past it.
  auto string = [&]() -> std::optional<std::string> {
    if (at >= json.size() || json[at] != '"') return std::nullopt;
    std::string out;
    for (++at; at < json.size() && json[at] != '"'; ++at) {
      if (json[at] == '\\') ++at;
      if (at < json.size()) out += json[at];
    }
    ++at;
    return out;
  };
  std::set<std::string> keys;
  while (at < json.size() && json[at] != '}') {
    if (json[at] == ',' || json[at] == ' ') {
      ++at;
      continue;
    }
    auto key = string();
    if (!key || json.compare(at, 2, ": ") != 0) return std::nullopt;
    at += 2;
    if (!string()) return std::nullopt;
    keys.insert(*key);
  }
  return keys;
}

// Asks `show chip json` until the L2 adjacency table holds `n` entries, for
// up to five seconds; the last table seen.
std::set<std::string> waitForChipL2Adjs(AgentProcess const& agent, size_t n) {
  std::set<std::string> last;
  auto const start = std::chrono::steady_clock::now();
  while (std::chrono::steady_clock::now() - start < std::chrono::seconds(5)) {
    auto shown = agent.ask("show chip json");
    if (shown) {
      if (auto keys = chipL2Adjs(*shown)) last = *keys;
      if (last.size() == n) break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  return last;
}

TEST(DaemonStateTest, AChangeOfAdjacencySharingRestartsTheLibraryInProcess) {
  AgentProcess agent({"--socket", "{dir}/kor.sock"});
  auto shown = agent.ask("show l2adj");
  ASSERT_TRUE(shown.has_value());
  EXPECT_NE(shown->find("sharing on"), std::string::npos) << *shown;

  auto answer = agent.ask("set adjSharing off\nshow l2adj");
  ASSERT_TRUE(answer.has_value()) << "no complete answer; stderr:\n" << agent.stderrText();
  EXPECT_NE(answer->find("the daemon restarts it in process"), std::string::npos) << *answer;
  // The next line already sees the library restarted into the new mode.
  EXPECT_NE(answer->find("sharing off"), std::string::npos) << *answer;
  ASSERT_TRUE(agent.alive()) << "the daemon ended on a sharing mode change";
  struct stat st;
  EXPECT_EQ(::stat(agent.socketPath().c_str(), &st), 0);

  answer = agent.ask("set adjSharing on");
  ASSERT_TRUE(answer.has_value());
  shown = agent.ask("show l2adj");
  ASSERT_TRUE(shown.has_value());
  EXPECT_NE(shown->find("sharing on"), std::string::npos) << *shown;
  EXPECT_EQ(count(agent.stderrText(), "the library restarted in process"), 2u) << agent.stderrText();
}

TEST(DaemonStateTest, TracesAndLogsKeptBetweenAnswersAreBounded) {
  AgentProcess agent({"--socket", "{dir}/kor.sock"});
  // 10,500 FECs over more paths than the hardware's limit: each review of
  // one raises a log event, and its machine traces it.
  int const fecs = 10500;
  std::vector<std::string> lines{"routing default on", "set maxEcmp 1", "intf add Ethernet1 routed",
                                 "arp add default 10.1.0.2 00:1c:73:00:00:02 Ethernet1",
                                 "arp add default 10.1.0.3 00:1c:73:00:00:03 Ethernet1"};
  for (int i = 1; i <= fecs; ++i)
    lines.push_back("fec add " + std::to_string(i) + " via 10.1.0.2 Ethernet1 via 10.1.0.3 Ethernet1");
  for (auto const& line : lines) ASSERT_TRUE(agent.ask(line).has_value()) << line;
  waitIdle(agent);
  ASSERT_TRUE(agent.ask("echo settled", 30.0).has_value());

  // The restart reviews every FEC again after this answer is sent: the
  // events wait for the next one.
  ASSERT_TRUE(agent.ask("trace korAdjSm 0-9").has_value());
  auto answer = agent.ask("restart");
  ASSERT_TRUE(answer.has_value());
  waitIdle(agent);
  answer = agent.ask("echo next", 60.0);
  ASSERT_TRUE(answer.has_value());
  size_t const logs = count(*answer, "\nlog: ROUTING_MAX_PATHS_EXCEEDED");
  size_t const traces = count(*answer, "\ntrace: KorAdjSm");
  EXPECT_LE(logs, 10000u);
  EXPECT_LE(traces, 10000u);
  EXPECT_NE(answer->find("more log events dropped: at most 10000 are kept between answers"), std::string::npos)
      << answer->substr(0, 500);
  EXPECT_NE(answer->find("more trace lines dropped: at most 10000 are kept between answers"), std::string::npos);
  EXPECT_EQ(answer->rfind("next\n", 0), 0u);
}

// The daemon runs its loop itself: a library restarted over the command
// channel ends its own sync, and the L2 adjacency the chip kept for a FEC
// deleted while the library was down leaves the chip; the claimed one stays.
TEST(DaemonStateTest, ARestartedLibraryDeletesTheL2AdjacencyNobodyClaimed) {
  AgentProcess agent({"--socket", "{dir}/kor.sock"});
  auto answer = agent.ask(
      "routing default on\n"
      "intf add Vlan10 vlan 10\n"
      "arp add default 10.1.0.2 00:1c:73:00:00:02 Vlan10\n"
      "arp add default 10.1.0.3 00:1c:73:00:00:03 Vlan10\n"
      "mac add 10 00:1c:73:00:00:02 Ethernet1\n"
      "mac add 10 00:1c:73:00:00:03 Ethernet1\n"
      "fec add 1 via 10.1.0.2 Vlan10\n"
      "fec add 2 via 10.1.0.3 Vlan10");
  ASSERT_TRUE(answer.has_value()) << agent.stderrText();
  EXPECT_EQ(answer->find("line "), std::string::npos) << *answer;
  auto before = waitForChipL2Adjs(agent, 2);
  ASSERT_EQ(before.size(), 2u);

  answer = agent.ask("restart with fec del 2");
  ASSERT_TRUE(answer.has_value()) << agent.stderrText();
  EXPECT_EQ(answer->find("line "), std::string::npos) << *answer;
  auto after = waitForChipL2Adjs(agent, 1);
  ASSERT_EQ(after.size(), 1u) << "the unclaimed L2 adjacency stayed in the chip";
  EXPECT_EQ(before.count(*after.begin()), 1u);
  // The one left is the one the new run claimed for FEC 1.
  auto adj = agent.ask("show l2adj json");
  ASSERT_TRUE(adj.has_value());
  EXPECT_NE(adj->find("{\"index\": " + *after.begin() + ", \"state\": \"installed\""), std::string::npos) << *adj;
  EXPECT_NE(adj->find("\"users\": [\"1\"]"), std::string::npos) << *adj;
  EXPECT_TRUE(agent.alive());
}

}  // namespace
