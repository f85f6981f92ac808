// What a request on the command socket means, seen from a client: every
// line runs in order with its own "line N:" place; `run` is refused (the
// daemon's time is real) instead of crashing the agent; NUL bytes, control
// characters and overlong lines are refused with the line shown escaped.
#include <gtest/gtest.h>

#include <string>

#include "AgentProcess.h"

namespace {

using KorTest::AgentProcess;
using KorTest::count;

TEST(CommandRequestTest, RunIsRefusedAndTheAgentLives) {
  AgentProcess agent({"--socket", "{dir}/kor.sock"});
  // An armed timer made `run until idle` recurse as well: a FEC arms the
  // library's reviews.
  ASSERT_TRUE(agent.ask("intf add Ethernet1 routed").has_value());
  ASSERT_TRUE(agent.ask("fec add 1 via 10.1.0.2 Ethernet1").has_value());
  for (char const* run : {"run 1ms", "run until idle", "run 2s"}) {
    auto answer = agent.ask(run);
    ASSERT_TRUE(answer.has_value()) << run << ": no complete answer; stderr:\n" << agent.stderrText();
    EXPECT_EQ(answer->rfind("line 1: run refused: the daemon's time is real", 0), 0u) << *answer;
  }
  ASSERT_TRUE(agent.alive()) << agent.stderrText();
  auto shown = agent.ask("show vrfs");
  ASSERT_TRUE(shown.has_value());
  EXPECT_NE(shown->find("default"), std::string::npos) << *shown;
}

TEST(CommandRequestTest, EveryLineOfARequestRunsInOrderWithItsNumber) {
  AgentProcess agent({"--socket", "{dir}/kor.sock"});
  auto answer = agent.ask("vrf add red\nshow vrfs\n\n# a comment\nbogus word\nvrf add blue\r\nshow vrfs\nrun 1s");
  ASSERT_TRUE(answer.has_value());
  size_t const firstShow = answer->find("vrfs:");
  size_t const bad = answer->find("line 5: unknown statement 'bogus'");
  size_t const secondShow = answer->find("vrfs:", firstShow + 1);
  ASSERT_NE(firstShow, std::string::npos) << *answer;
  ASSERT_NE(bad, std::string::npos) << *answer;
  ASSERT_NE(secondShow, std::string::npos) << *answer;
  EXPECT_LT(firstShow, bad);
  EXPECT_LT(bad, secondShow);
  EXPECT_NE(answer->find("red"), std::string::npos) << *answer;
  EXPECT_EQ(answer->find("blue"), answer->find("blue", secondShow)) << "blue shown before it was added:\n" << *answer;
  EXPECT_NE(answer->find("line 8: run refused"), std::string::npos) << *answer;
  EXPECT_EQ(count(*answer, "line "), 2u) << *answer;
}

TEST(CommandRequestTest, ControlCharactersAndOverlongLinesAreRefusedAndShownInFull) {
  AgentProcess agent({"--socket", "{dir}/kor.sock"});
  std::string const withNul("vrf add re\0d tail", 17);
  auto answer = agent.ask(withNul);
  ASSERT_TRUE(answer.has_value());
  EXPECT_EQ(*answer, "line 1: control character \\x00 at column 11 refused: 'vrf add re\\x00d tail'\n");

  answer = agent.ask("echo one\nvrf add x\x1b[2Jy\necho three");
  ASSERT_TRUE(answer.has_value());
  EXPECT_EQ(*answer, "one\nline 2: control character \\x1b at column 10 refused: 'vrf add x\\x1b[2Jy'\nthree\n");

  answer = agent.ask("echo " + std::string(5000, 'x') + "\necho after");
  ASSERT_TRUE(answer.has_value());
  EXPECT_EQ(*answer, "line 1: request line of 5005 bytes refused: a line holds at most 4096\nafter\n");

  // Nothing of the refused lines was applied.
  auto shown = agent.ask("show vrfs");
  ASSERT_TRUE(shown.has_value());
  EXPECT_EQ(shown->find("re"), std::string::npos) << *shown;
  EXPECT_EQ(shown->find(" x"), std::string::npos) << *shown;
}

}  // namespace
