// The adjacency statements of the scenario language: a bad statement changes
// nothing, whatever part of it is wrong (more paths than a FEC can hold
// among them).
#include <gtest/gtest.h>

#include <memory>
#include <sstream>

#include "agent/Agent.h"
#include "agent/ScenarioRunner.h"
#include "kor/adj/AdjSm.h"
#include "softchip/SoftChip.h"
#include "vix/Time.h"

namespace {

using KorAgent::Agent;

class AdjStatementsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    agent_ = std::make_unique<Agent>(Vix::makePtr<Vix::ManualTimeSource>(0.0));
    EXPECT_EQ(run("routing default on\nintf add Vlan10 vlan 10\nintf add Ethernet1\n"
                  "lag add Port-Channel1 Ethernet2 Ethernet3\n"
                  "arp add default 10.1.0.2 00:1c:73:00:00:02 Vlan10\n"
                  "mac add 10 00:1c:73:00:00:02 Ethernet1\n"
                  "fec add 1 via 10.1.0.2 Vlan10\ninit\nrun until idle\n"),
              0u);
  }
  size_t run(std::string const& text) {
    out_.str("");
    KorAgent::ScenarioRunner r(agent_.get(), &out_);
    return r.runText(text);
  }
  std::string state() { return agent_->show("inputs", false) + agent_->show("l2adj", false); }

  std::unique_ptr<Agent> agent_;
  std::ostringstream out_;
};

TEST_F(AdjStatementsTest, BadStatementsChangeNothing) {
  std::string before = state();
  char const* bad[] = {
      "fec add 2 via 10.1.0.3 Vlan10 via 10.1.0.4 Vlan10 vlan 4095",  // last via's VLAN
      "fec add 2 via 10.1.0.3 Vlan10 label 5,1048576",                 // label range
      "fec add 2 via 10.1.0.3 Vlan10 weight 2",                        // unknown via option
      "fec add 2 vrf nowhere via 10.1.0.3 Vlan10",
      "fec add 1 via 10.1.0.3 Vlan10",                                 // id taken
      "fec update 1 via 2001:db8::1 Vlan10",                           // family change
      "fec update 7 via 10.1.0.3 Vlan10",
      "mac move 10 00:1c:73:00:00:09 Ethernet1",
      "mac add 10 00:1c:73:00:00:02 Ethernet2",
      "mac del 4095 00:1c:73:00:00:02",
      "lag add Port-Channel2 Ethernet1 Ethernet2",                     // Ethernet2 taken
      "lag add Port-Channel2 Ethernet4 Vlan10",
      "lag del Port-Channel1 Ethernet2 Ethernet9",
      "intf vlan Vlan10 0",
      "intf down Ethernet9",
      "intf add Vlan20 routed",
      "set maxEcmp -1",
      "set adjSharing maybe",
      "routing nowhere on",
      "env A=B 1",
  };
  for (char const* line : bad) {
    EXPECT_EQ(run(line), 1u) << line;
    EXPECT_EQ(out_.str().rfind("line 1: ", 0), 0u) << line << ": " << out_.str();
    EXPECT_EQ(state(), before) << line;
  }
}

// A FEC holds at most kMaxPaths paths, a via written n times counting n:
// one more is refused at the door, with the counts, and changes nothing.
TEST_F(AdjStatementsTest, AFecOfMorePathsThanItCanHoldIsRefused) {
  auto vias = [](size_t n) {
    std::string s;
    for (size_t i = 0; i < n; ++i)
      s += " via 10." + std::to_string(2 + i / 250) + "." + std::to_string(i % 250 / 50) + "." +
           std::to_string(i % 50 + 1) + " Vlan10";
    return s;
  };
  size_t const max = Kor::AdjSm::kMaxPaths;
  std::string before = state();
  std::string const over = " has " + std::to_string(max + 1) + " paths, more than the " + std::to_string(max) +
                           " one FEC can hold";
  for (std::string line : {"fec add 2" + vias(max + 1), "fec update 1" + vias(max + 1),
                           "fec add 2" + vias(max) + " via 10.1.0.2 Vlan10"}) {
    EXPECT_EQ(run(line), 1u);
    EXPECT_EQ(out_.str().rfind("line 1: FEC ", 0), 0u) << out_.str();
    EXPECT_NE(out_.str().find(over), std::string::npos) << out_.str();
    EXPECT_EQ(state(), before);
  }
  EXPECT_EQ(run("fec add 2" + vias(max) + "\nrun until idle\n"), 0u) << out_.str();
  EXPECT_NE(agent_->show("l2adj", false).find("fecs 2:"), std::string::npos);
}

}  // namespace
