// kor-agent's command line judged by its exit status and message.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <chrono>
#include <thread>

#include "AgentProcess.h"

namespace {

using KorTest::AgentProcess;

int waitExit(AgentProcess& agent) {
  for (int i = 0; i < 1000 && agent.alive(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  EXPECT_TRUE(agent.exitStatus().has_value());
  return agent.exitStatus() && WIFEXITED(*agent.exitStatus()) ? WEXITSTATUS(*agent.exitStatus()) : -1;
}

TEST(CommandLineTest, ADirectoryIsNotAScenarioFile) {
  AgentProcess agent({"{dir}"}, "");
  EXPECT_EQ(waitExit(agent), 2);
  EXPECT_NE(agent.stderrText().find("is a directory, not a scenario file"), std::string::npos) << agent.stderrText();
}

}  // namespace
