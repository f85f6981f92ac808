// Self-verification against the chip: a clean run reports nothing, and each
// entry changed behind the library's back (a chip route's L2 adjacency, an L2
// adjacency's data, an L2 adjacency nobody programmed, a route nobody handed
// over, a route gone) is reported once, naming the object and what differs -
// through the `verify` statement (text and JSON) and the "VER" command.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "AgentChipFixture.h"
#include "kor/records/VrfAndPrefixT.h"
#include "softchip/l3/ChipRoute.h"

namespace {

using KorAgent::Agent;

class VerifyChipTest : public KorTest::AgentChipFixture {
 protected:
  void SetUp() override {
    AgentChipFixture::SetUp();
    run(R"(routing default on
intf add Vlan10 vlan 10
arp add default 10.1.0.2 00:1c:73:00:00:02 Vlan10
arp add default 10.1.0.3 00:1c:73:00:00:03 Vlan10
fec add 1 via 10.1.0.2 Vlan10
fec add 2 via 10.1.0.3 Vlan10
route add default 10.0.1.0/24 fec 1
route add default 10.0.2.0/24 fec 2
init
run until idle
)");
    ASSERT_EQ(l2adj().size(), 2u);
    ASSERT_EQ(routes().size(), 2u);
  }

  // The output without the library's log records (a pass whose weightiest
  // report changed logs it as KOR_VERIFY_OUTPUT).
  std::string run(std::string const& text) {
    std::istringstream in(AgentChipFixture::run(text));
    std::string kept, line;
    while (std::getline(in, line))
      if (line.rfind("log: ", 0) != 0) kept += line + "\n";
    return kept;
  }
  SoftChip::ChipRouteTable<Nollo::Ipv4>& routes() { return agent_->chip()->l3().route4Table(); }
  static Kor::VrfAndPrefixT<Nollo::Ipv4> key(char const* p) {
    return {Kor::VrfId(0), *Nollo::IpPrefixT<Nollo::Ipv4>::parse(p)};
  }
};

TEST_F(VerifyChipTest, CleanStateReportsNothing) {
  EXPECT_EQ(run("verify\n"), "verify: all agree\n");
  EXPECT_EQ(run("verify json\n"), "{\"agree\": true, \"faults\": []}\n");
  EXPECT_EQ(agent_->command(-1, "VER"), "verify: all agree\n");
}

TEST_F(VerifyChipTest, EachChipCorruptionIsReportedOnce) {
  auto r1 = *routes().find(key("10.0.1.0/24"));
  auto r2 = *routes().find(key("10.0.2.0/24"));
  ASSERT_NE(r1.l2AdjIndex(), r2.l2AdjIndex());
  // The route to fec 1 now leaves by fec 2's L2 adjacency.
  routes().write(key("10.0.1.0/24"), SoftChip::ChipRoute(r1.routeType(), r1.fibAdjIndex(), r2.l2AdjIndex()));
  EXPECT_EQ(run("verify\n"), "verify: 1 disagree\n  KorRoutingSm: vrf id 0 route 10.0.1.0/24 differs: chip l2adj " +
                                 std::to_string(r2.l2AdjIndex()) + ", hand-over l2adj " +
                                 std::to_string(r1.l2AdjIndex()) + "\n");
  routes().write(key("10.0.1.0/24"), r1);
  EXPECT_EQ(run("verify\n"), "verify: all agree\n");

  // An L2 adjacency's rewrite data replaced by another one's.
  auto d1 = *l2adj().find(r1.l2AdjIndex());
  auto d2 = *l2adj().find(r2.l2AdjIndex());
  l2adj().write(r1.l2AdjIndex(), d2);
  std::string out = run("verify\n");
  EXPECT_EQ(out.rfind("verify: 1 disagree\n  KorL2AdjHelper: l2adj " + std::to_string(r1.l2AdjIndex()) + " differs: chip ",
                      0),
            0u)
      << out;
  EXPECT_NE(out.find("00:1c:73:00:00:03"), std::string::npos) << out;
  l2adj().write(r1.l2AdjIndex(), d1);

  // An L2 adjacency and a route nobody programmed; a programmed route gone.
  l2adj().write(77, d1);
  routes().write(key("10.9.0.0/16"), r1);
  routes().erase(key("10.0.2.0/24"));
  out = run("verify\n");
  EXPECT_NE(out.find("verify: 3 disagree\n"), std::string::npos) << out;
  EXPECT_NE(out.find("  KorL2AdjHelper: l2adj 77 in the chip but unknown: "), std::string::npos) << out;
  EXPECT_NE(out.find("  KorRoutingSm: vrf id 0 route 10.9.0.0/16 in the chip but unknown (l2adj " +
                     std::to_string(r1.l2AdjIndex()) + ")\n"),
            std::string::npos)
      << out;
  EXPECT_NE(out.find("  KorRoutingSm: vrf id 0 route 10.0.2.0/24 missing in the chip (hand-over l2adj " +
                     std::to_string(r2.l2AdjIndex()) + ")\n"),
            std::string::npos)
      << out;
  std::string json = run("verify json\n");
  EXPECT_EQ(json.rfind("{\"agree\": false, \"faults\": [{\"machine\": ", 0), 0u) << json;
  EXPECT_NE(json.find("\"description\": \"l2adj 77 in the chip but unknown: "), std::string::npos) << json;
  EXPECT_EQ(agent_->command(-1, "VER"), out);
}

TEST_F(VerifyChipTest, MissingL2AdjacencyIsReported) {
  auto r1 = *routes().find(key("10.0.1.0/24"));
  l2adj().erase(r1.l2AdjIndex());
  std::string out = run("verify\n");
  EXPECT_EQ(out.rfind("verify: 1 disagree\n  KorL2AdjHelper: l2adj " + std::to_string(r1.l2AdjIndex()) +
                          " missing in the chip: ",
                      0),
            0u)
      << out;
}

TEST_F(VerifyChipTest, RefusedBeforeInit) {
  Agent fresh(Vix::makePtr<Vix::ManualTimeSource>(0.0));
  std::ostringstream out;
  KorAgent::ScenarioRunner r(&fresh, &out);
  EXPECT_EQ(r.runText("verify\n"), 1u);
  EXPECT_EQ(out.str(), "line 1: verify: the library is not initialized (init first)\n");
}

}  // namespace
