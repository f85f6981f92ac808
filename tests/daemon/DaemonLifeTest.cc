// The daemon's ordinary life, seen from outside: it serves its socket,
// answers a show, and on SIGTERM ends with status 0 and removes its socket.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "AgentProcess.h"

namespace {

using KorTest::AgentProcess;

TEST(DaemonLifeTest, ServesAShowAndStopsCleanlyOnSigterm) {
  AgentProcess agent({"--socket", "{dir}/kor.sock"});
  auto answer = agent.ask("show vrfs");
  ASSERT_TRUE(answer.has_value());
  EXPECT_NE(answer->find("default"), std::string::npos) << *answer;
  ASSERT_TRUE(agent.terminate());
  ASSERT_TRUE(agent.exitStatus().has_value());
  EXPECT_TRUE(WIFEXITED(*agent.exitStatus()));
  EXPECT_EQ(WEXITSTATUS(*agent.exitStatus()), 0);
  struct stat st;
  EXPECT_NE(::stat(agent.socketPath().c_str(), &st), 0) << "socket file left behind";
}

}  // namespace
