// The configuration file of a real daemon: applied before it serves,
// re-read on SIGHUP and on a `reload` line, applied as its difference, and
// a bad version refused whole while the daemon keeps running on the last
// good one.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>

#include "AgentProcess.h"

namespace {

using KorTest::AgentProcess;

constexpr char kFirst[] = R"({
  "vrfs": { "default": { "ipv4": true } },
  "interfaces": { "Ethernet1": { "vlan": 10 } },
  "fecs": { "1": { "vias": [ { "nextHop": "10.1.0.2", "interface": "Ethernet1" } ] } },
  "routes": { "default": { "10.0.0.0/8": { "fec": 1 }, "10.9.0.0/16": { "fec": 1 } } }
})";
// Ethernet2 comes, 10.9.0.0/16 goes.
constexpr char kSecond[] = R"({
  "vrfs": { "default": { "ipv4": true } },
  "interfaces": { "Ethernet1": { "vlan": 10 }, "Ethernet2": {} },
  "fecs": { "1": { "vias": [ { "nextHop": "10.1.0.2", "interface": "Ethernet1" } ] } },
  "routes": { "default": { "10.0.0.0/8": { "fec": 1 } } }
})";

class ConfigReloadTest : public ::testing::Test {
 protected:
  ConfigReloadTest() {
    char tmpl[] = "/tmp/kor-config-daemon-XXXXXX";
    dir_ = ::mkdtemp(tmpl);
    path_ = dir_ + "/switch.json";
  }
  ~ConfigReloadTest() override { std::filesystem::remove_all(dir_); }
  void write(std::string const& text) const { std::ofstream(path_, std::ios::trunc) << text; }

  std::string dir_, path_;
};

TEST_F(ConfigReloadTest, SighupAppliesTheDifferenceAndABadFileChangesNothing) {
  write(kFirst);
  AgentProcess agent({"--config", path_, "--socket", "{dir}/kor.sock"});
  EXPECT_NE(agent.stderrText().find("kor-agent: " + path_ + ": 5 input changes applied\n"), std::string::npos)
      << agent.stderrText();
  auto inputs = agent.ask("show inputs");
  ASSERT_TRUE(inputs.has_value());
  EXPECT_NE(inputs->find("default 10.9.0.0/16"), std::string::npos) << *inputs;

  write(kSecond);
  ASSERT_EQ(::kill(agent.pid(), SIGHUP), 0);
  ASSERT_TRUE(agent.waitForStderr("kor-agent: reload: " + path_ + ": 2 input changes applied\n"))
      << agent.stderrText();
  inputs = agent.ask("show inputs");
  ASSERT_TRUE(inputs.has_value());
  EXPECT_NE(inputs->find("Ethernet2"), std::string::npos) << *inputs;
  EXPECT_EQ(inputs->find("10.9.0.0/16"), std::string::npos) << *inputs;

  // A bad version (and a good change with it) is refused whole.
  std::string bad = kSecond;
  bad.replace(bad.find(R"("Ethernet2": {})"), 15, R"("Ethernet2": {}, "Ethernet3": { "vlan": 0 })");
  write(bad);
  ASSERT_EQ(::kill(agent.pid(), SIGHUP), 0);
  ASSERT_TRUE(agent.waitForStderr("kor-agent: reload: " + path_ +
                                  ": /interfaces/Ethernet3/vlan: 0 is out of range 1..4094 (nothing applied)\n"))
      << agent.stderrText();
  auto const after = agent.ask("show inputs");
  EXPECT_EQ(after, inputs);

  // The reload line does the same; the good file again is no change.
  write(kSecond);
  EXPECT_EQ(agent.ask("reload"), path_ + ": 0 input changes applied\n");
  ASSERT_TRUE(agent.terminate());
  ASSERT_TRUE(agent.exitStatus() && WIFEXITED(*agent.exitStatus()));
  EXPECT_EQ(WEXITSTATUS(*agent.exitStatus()), 0);
}

TEST_F(ConfigReloadTest, ADaemonDoesNotStartOnABadFile) {
  write(R"({ "vrfs": { "red": { "ipv4": "yes" } } })");
  AgentProcess agent({"--config", path_, "--socket", "{dir}/kor.sock"}, "");
  ASSERT_TRUE(agent.waitForExit());
  ASSERT_TRUE(agent.exitStatus() && WIFEXITED(*agent.exitStatus()));
  EXPECT_EQ(WEXITSTATUS(*agent.exitStatus()), 1);
  EXPECT_EQ(agent.stderrText(), "kor-agent: " + path_ + ": /vrfs/red/ipv4: expected true or false, got a string\n");
}

}  // namespace
