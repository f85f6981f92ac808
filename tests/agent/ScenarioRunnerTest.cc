// The scenario language as an operator meets it: every bad statement is
// reported with its line and leaves the whole agent state as it was; the agent
// keeps going; restarts and socket lines run through the same checks.
#include <gtest/gtest.h>

#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "agent/Agent.h"
#include "agent/ScenarioRunner.h"
#include "vix/Time.h"

namespace {

class ScenarioRunnerTest : public ::testing::Test {
 protected:
  ScenarioRunnerTest()
      : agent_(Vix::makePtr<Vix::ManualTimeSource>(0.0)), runner_(&agent_, &out_) {}

  std::string state() const {
    std::string s;
    for (char const* what : {"vrfs", "l3", "chip", "inputs"}) s += agent_.show(what, true);
    return s;
  }
  size_t run(std::string const& text) { return runner_.runText(text); }

  KorAgent::Agent agent_;
  std::ostringstream out_;
  KorAgent::ScenarioRunner runner_;
};

TEST_F(ScenarioRunnerTest, BadStatementsAreReportedAndChangeNothing) {
  ASSERT_EQ(run("maxvrfs 4\n"
                "vrf add red\n"
                "intf add Ethernet1 vrf red vlan 10\n"
                "arp add red 10.0.0.2 00:11:22:33:44:55 Ethernet1\n"
                "fec add 1 vrf red via 10.0.0.2 Ethernet1\n"
                "route add red 10.1.0.0/16 fec 1\n"
                "fec add 7 via 10.0.0.2 Ethernet1\n"
                "init\n"
                "run until idle\n"),
            0u)
      << out_.str();
  std::string const before = state();
  struct Bad {
    char const* line;
    char const* message;  // must appear in the report
  };
  // The bad_lines scenario states most refusals; these are the ones it
  // does not.
  std::vector<Bad> const bad = {
      {"route add red 2001:db8::/129 fec 1", "2001:db8::/129"},
      // A statement whose last word is bad applies none of its first words.
      {"fec add 2 via 10.0.0.9 Ethernet1 via 10.0.0.10 Ethernrt1", "Ethernrt1"},
      // Durations that would carry the clock to infinity, or where a retry
      // timer can no longer be told from now.
      {"run 1e308", "longer than 2592000s"},
      {"set totalTimeForRouteUpdates infs", "bad duration 'infs'"},
      {"intf add Ethernet1.4096 vrf red", "is not a VLAN id (1-4094)"},
      // Its route machine reads only its own VRF's FEC table.
      {"route add red 10.2.0.0/16 fec 7", "IPv4 FEC 7 is in vrf 'default', not in 'red'"},
      {"fec add 3 via 10.0.0.9 Ethernet1 vlan 10 vlan 11", "option 'vlan' given twice in one via"},
      {"show route nowhere 10.1.2.9", "vrf 'nowhere' has no id"},
  };
  size_t lineNo = 100;
  for (auto const& b : bad) {
    if (!b.line) continue;
    out_.str("");
    EXPECT_FALSE(runner_.runLine(b.line, lineNo)) << b.line;
    std::string const report = out_.str();
    EXPECT_EQ(report.rfind("line " + std::to_string(lineNo) + ": ", 0), 0u) << report;
    EXPECT_NE(report.find(b.message), std::string::npos) << report;
    EXPECT_EQ(state(), before) << "state changed by: " << b.line;
    ++lineNo;
  }
  // Bytes that are not text: named by their column, never cut at a NUL.
  struct BadBytes {
    std::string line;
    char const* message;
  };
  std::vector<BadBytes> const badBytes = {
      {std::string("vrf add gr\0een", 14), "control character U+0000 at column 11"},
      {"vrf add gr\x1b[2Jeen", "control character U+001B at column 11"},
      {"vrf add gr\xff" "een", "invalid UTF-8 at column 11"},
      {"vrf add gr\xc3", "invalid UTF-8 at column 11"},
      {"vrf add gr\xed\xa0\x80" "en", "invalid UTF-8 at column 11"},
  };
  for (auto const& b : badBytes) {
    out_.str("");
    EXPECT_FALSE(runner_.runLine(b.line, 9));
    EXPECT_EQ(out_.str(), std::string("line 9: ") + b.message + "\n");
    EXPECT_EQ(state(), before);
  }
  // A name in UTF-8 is one like any other, and stays UTF-8 in JSON.
  EXPECT_TRUE(runner_.runLine("vrf add gr\xc3\xbcn", 9)) << out_.str();
  EXPECT_NE(agent_.show("vrfs", true).find("\"gr\xc3\xbcn\""), std::string::npos);
  out_.str("");
  // A name of exactly 100 bytes is a VRF like any other.
  EXPECT_TRUE(runner_.runLine("vrf add " + std::string(100, 'v'), 8)) << out_.str();
  EXPECT_NE(state(), before);
}

TEST_F(ScenarioRunnerTest, DurationsAndWords) {
  EXPECT_DOUBLE_EQ(KorAgent::ScenarioRunner::parseDuration("250ms"), 0.25);
  EXPECT_DOUBLE_EQ(KorAgent::ScenarioRunner::parseDuration("2s"), 2.0);
  EXPECT_DOUBLE_EQ(KorAgent::ScenarioRunner::parseDuration("0.2"), 0.2);
  for (char const* t : {"", "ms", "-1s", "1h", "2 s", "nan"})
    EXPECT_ANY_THROW(KorAgent::ScenarioRunner::parseDuration(t)) << t;
  EXPECT_EQ(KorAgent::ScenarioRunner::words("  vrf  add red # a comment"),
            (std::vector<std::string>{"vrf", "add", "red"}));
  EXPECT_TRUE(KorAgent::ScenarioRunner::words("# only a comment").empty());
}

TEST(ScenarioClockTest, ARunPastTheClocksHorizonIsRefusedAndTimeStays) {
  // Near the horizon: a run that would cross it changes nothing.
  double const start = KorAgent::Agent::kClockHorizon - 10.0;
  KorAgent::Agent agent(Vix::makePtr<Vix::ManualTimeSource>(start));
  std::ostringstream out;
  KorAgent::ScenarioRunner runner(&agent, &out);
  EXPECT_EQ(runner.runText("init\nrun 5s\nrun 20s\nrun until idle\n"), 2u);
  EXPECT_NE(out.str().find("line 3: the loop's clock would pass its horizon of 1000000000s"), std::string::npos)
      << out.str();
  EXPECT_NE(out.str().find("line 4: the loop's clock would pass its horizon"), std::string::npos) << out.str();
  EXPECT_DOUBLE_EQ(agent.loop()->now(), start + 5.0);
}

TEST_F(ScenarioRunnerTest, TimeAdvancesOnlyThroughRun) {
  ASSERT_EQ(run("vrf add red\ninit\n"), 0u);
  double t0 = agent_.loop()->now();
  ASSERT_EQ(run("run 250ms\n"), 0u);
  EXPECT_DOUBLE_EQ(agent_.loop()->now() - t0, 0.25);
  ASSERT_EQ(run("run until idle\n"), 0u);
  EXPECT_EQ(agent_.loop()->nextDue(), Vix::kNever);
}

TEST_F(ScenarioRunnerTest, RestartKeepsIdsAndWritesNothingToTheChip) {
  ASSERT_EQ(run("maxvrfs 8\nvrf add red\nvrf add blue\nvrf del red\nvrf add green\ninit\nrun until idle\n"), 0u);
  std::string const vrfs = agent_.show("vrfs", true);
  std::string const chip = agent_.show("chip", true);
  ASSERT_EQ(run("restart\nrun until idle\n"), 0u) << out_.str();
  EXPECT_EQ(agent_.show("vrfs", true), vrfs);
  // Same entries and no create, update or delete: the restart only claimed
  // back (synced) what the chip already held.
  auto writes = [](std::string s) {
    s = std::regex_replace(s, std::regex(R"("syncs": \d+)"), "");
    return s.substr(0, s.find("\"calls\""));
  };
  EXPECT_EQ(writes(agent_.show("chip", true)), writes(chip));
  EXPECT_NE(agent_.show("chip", true).find(R"("syncs": 3)"), std::string::npos);
}

TEST_F(ScenarioRunnerTest, SocketLinesRunTheSameChecks) {
  ASSERT_EQ(run("vrf add red\ninit\nrun until idle\n"), 0u);
  std::string const before = state();
  std::string answer = agent_.channel(5, "intf add Ethernet9 vlan 4095");
  EXPECT_NE(answer.find("VlanId::value < 1 or > 4094 not allowed"), std::string::npos) << answer;
  EXPECT_EQ(state(), before);
  answer = agent_.channel(5, "SR4u a");
  EXPECT_NE(answer.find("Vrf: red"), std::string::npos) << answer;
  EXPECT_NE(answer.find("No unprogrammed routes"), std::string::npos) << answer;
}

}  // namespace
