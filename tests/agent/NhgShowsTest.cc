// A FEC is named alike in every show, dump, trace and verify report, even
// where a scenario FEC and a next-hop group's FEC share an index; `show
// route` lists the members of a route's group and whether each resolved;
// the configuration file's "nhg" section applies groups and routes over
// them, and refuses a bad one whole, naming its place.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include "agent/Agent.h"
#include "agent/ScenarioRunner.h"
#include "agent/config/ConfigFile.h"
#include "vix/Time.h"

namespace {

// A scenario FEC 5 and the group FEC of group id 5, a route over each.
constexpr char kTwoFives[] = R"(routing default on
set nexthopGroupSupported on
intf add Vlan10 vlan 10
intf add Ethernet1
arp add default 10.1.0.2 00:1c:73:00:00:02 Vlan10
mac add 10 00:1c:73:00:00:02 Ethernet1
fec add 5 via 10.1.0.2 Vlan10
route add default 10.5.0.0/16 fec 5
nhg add blue id 5 via 10.1.0.2 Vlan10 via 10.1.0.3 Vlan10 vlan 10 label 100,200
nhg route default 10.0.0.0/8 blue
trace korAdjSm 0-9
init
run until idle
)";

class NhgShowsTest : public ::testing::Test {
 protected:
  std::string run(std::string const& text) {
    std::ostringstream out;
    KorAgent::ScenarioRunner r(&agent_, &out);
    EXPECT_EQ(r.runText(text), 0u) << out.str();
    return out.str();
  }
  // Every match of the regex's first group in `text`.
  static std::set<std::string> all(std::string const& text, char const* re) {
    std::set<std::string> found;
    std::regex const r(re);
    for (auto it = std::sregex_iterator(text.begin(), text.end(), r); it != std::sregex_iterator(); ++it)
      found.insert((*it)[1]);
    return found;
  }

  KorAgent::Agent agent_{Vix::makePtr<Vix::ManualTimeSource>(0.0)};
};

TEST_F(NhgShowsTest, EveryShowDumpAndTraceNamesAFecAlike) {
  std::string const traces = run(kTwoFives);
  std::set<std::string> const both{"5", "nextHopGroupAdj:5"};
  // Two FECs, two names: the shows keep them apart.
  EXPECT_EQ(all(agent_.show("adj", true), R"re("fec": "([^"]+)")re"), both) << agent_.show("adj", false);
  EXPECT_EQ(all(agent_.show("routes", true), R"re("fec": "([^"]+)")re"), both);
  EXPECT_EQ(all(agent_.show("routes", false), R"( fec (\S+) l2adj)"), both);
  EXPECT_EQ(all(agent_.show("chip", false), R"(Route fec (\S+) l2adj)"), both);
  std::string const inputs = agent_.show("inputs", false);
  EXPECT_EQ(all(inputs, R"(-> fec (\S+))"), both) << inputs;
  EXPECT_EQ(all(inputs, R"(\n    fec (\S+) )"), std::set<std::string>{"5"}) << inputs;
  EXPECT_EQ(all(traces, R"(handleFec vrf: default, fecId: (\S+))"), both) << traces;
  EXPECT_EQ(all(traces, R"(Create adj entry: (\S+))"), both);
  EXPECT_EQ(all(agent_.show("l2adj", false), R"( fecs (\S+): )"), (std::set<std::string>{"5", "nextHopGroupAdj:5"}));
  std::string const ff = run("cmd FF4 a\n");
  EXPECT_EQ(all(ff, R"(\n +(\S+) +(?:forward|nexthopGroup) )"), both) << ff;
  // The command channel takes a FEC by the same name.
  EXPECT_NE(run("cmd FF4 nextHopGroupAdj:5\n").find("nexthopGroup"), std::string::npos);
  std::string const one = run("cmd FF4 5\n");
  EXPECT_NE(one.find("forward"), std::string::npos) << one;
  EXPECT_EQ(one.find("nexthopGroup"), std::string::npos) << one;
  EXPECT_EQ(run("cmd FF4 tunnel:5\n"), "Invalid index: tunnel:5\n");
}

TEST_F(NhgShowsTest, ShowRouteListsTheGroupsMembersAndWhetherEachResolved) {
  run(kTwoFives);
  std::string const text = run("show route default 10.0.0.1\n");
  EXPECT_NE(text.find("fec nextHopGroupAdj:5 l2adj"), std::string::npos) << text;
  EXPECT_NE(text.find("\n  group blue id 5\n    10.1.0.2 Vlan10 weight 1 resolved\n"
                      "    10.1.0.3 Vlan10 vlan 10 weight 1 labels 100,200 unresolved\n"),
            std::string::npos)
      << text;
  std::string const json = run("show route default 10.0.0.1 json\n");
  EXPECT_NE(json.find(R"("group": {"name": "blue", "id": 5, "members": [{"nextHop": "10.1.0.2", "intf": "Vlan10", )"
                      R"("vlan": null, "weight": 1, "labels": [], "resolved": true}, {"nextHop": "10.1.0.3", )"
                      R"("intf": "Vlan10", "vlan": 10, "weight": 1, "labels": [100, 200], "resolved": false}]})"),
            std::string::npos)
      << json;
  // The neighbour comes: the member resolves.
  run("arp add default 10.1.0.3 00:1c:73:00:00:03 Vlan10\nmac add 10 00:1c:73:00:00:03 Ethernet1\nrun until idle\n");
  EXPECT_NE(run("show route default 10.0.0.1\n").find("labels 100,200 resolved"), std::string::npos);
  // A route over a plain FEC has no group; one over an unpublished group
  // says so.
  EXPECT_NE(run("show route default 10.5.0.1 json\n").find(R"("group": null)"), std::string::npos);
  std::string const gone = run("nhg del blue\nrun until idle\nshow route default 10.0.0.1\n");
  EXPECT_NE(gone.find("group (not published) id 5"), std::string::npos) << gone;
}

class NhgSectionTest : public NhgShowsTest {
 protected:
  NhgSectionTest() {
    char tmpl[] = "/tmp/kor-nhg-XXXXXX";
    dir_ = ::mkdtemp(tmpl);
    path_ = dir_ + "/switch.json";
    file_ = std::make_unique<KorAgent::ConfigFile>(path_, agent_);
  }
  ~NhgSectionTest() override { std::filesystem::remove_all(dir_); }
  KorAgent::ConfigReport reload(std::string const& text) {
    std::ofstream(path_, std::ios::trunc) << text;
    return file_->reload(agent_);
  }
  std::string state() const { return agent_.show("nhg", true) + agent_.show("inputs", true) + agent_.show("routes", true); }

  std::string dir_, path_;
  std::unique_ptr<KorAgent::ConfigFile> file_;
};

std::string nhgFile(std::string const& groups, std::string const& routes) {
  return R"({ "vrfs": { "default": { "ipv4": true, "ipv6": true } }, "interfaces": { "Vlan10": { "vlan": 10 } },
  "nhg": { "supported": true, "groups": { )" +
         groups + R"( }, "routes": { "default": { )" + routes + " } } } }";
}

constexpr char kBlue[] = R"("blue": { "id": 5, "members": [ { "nextHop": "10.1.0.2", "interface": "Vlan10" } ] })";
constexpr char kGreen[] =
    R"("green": { "id": 6, "members": [ { "nextHop": "10.1.0.4", "interface": "Vlan10", "weight": 2, "labels": [7] } ] })";

TEST_F(NhgSectionTest, GroupsAndRoutesAreAppliedAsTheirDifference) {
  auto r = reload(nhgFile(std::string(kBlue) + ", " + kGreen,
                          R"("10.0.0.0/8": { "group": "blue" }, "2001:db8::/32": { "group": "green" })"));
  ASSERT_TRUE(r.refusals().empty()) << r.text(path_);
  agent_.init();
  ASSERT_TRUE(agent_.runUntilIdle());
  std::string const nhg = agent_.show("nhg", false);
  EXPECT_NE(nhg.find("green id 6 members {10.1.0.4 Vlan10 weight 2 labels 7}"), std::string::npos) << nhg;
  EXPECT_NE(agent_.show("routes", false).find("10.0.0.0/8 nexthopGroupRoute fec nextHopGroupAdj:5"), std::string::npos);
  EXPECT_EQ(reload(nhgFile(std::string(kBlue) + ", " + kGreen,
                           R"("2001:db8::/32": { "group": "green" }, "10.0.0.0/8": { "group": "blue" })"))
                .changes(),
            0u);
  // The route moves to green, blue goes, green changes its id.
  std::string green7 = kGreen;
  green7.replace(green7.find("6"), 1, "7");
  r = reload(nhgFile(green7, R"("10.0.0.0/8": { "group": "green" })"));
  ASSERT_TRUE(r.refusals().empty()) << r.text(path_);
  ASSERT_TRUE(agent_.runUntilIdle());
  std::string const after = agent_.show("nhg", false) + agent_.show("routes", false);
  EXPECT_EQ(after.find("blue"), std::string::npos) << after;
  EXPECT_NE(after.find("green id 7"), std::string::npos) << after;
  EXPECT_NE(after.find("10.0.0.0/8 nexthopGroupRoute fec nextHopGroupAdj:7"), std::string::npos) << after;
  EXPECT_EQ(after.find("2001:db8::/32"), std::string::npos) << after;
}

TEST_F(NhgSectionTest, ABadGroupOrRouteIsRefusedWholeNamingItsPlace) {
  std::string const good = nhgFile(kBlue, R"("10.0.0.0/8": { "group": "blue" })");
  ASSERT_TRUE(reload(good).refusals().empty());
  agent_.init();
  ASSERT_TRUE(agent_.runUntilIdle());
  std::string const before = state();
  std::string const blue6 = R"("blue6": { "id": 5, "members": [ { "nextHop": "10.1.0.9", "interface": "Vlan10" } ] })";
  struct Bad {
    std::string text, message;
  };
  std::vector<Bad> const bad = {
      {nhgFile(kBlue, R"("10.0.0.0/8": { "group": "nosuch" })"),
       "/nhg/routes/default/10.0.0.0~18/group: no group 'nosuch' in /nhg/groups"},
      {nhgFile(std::string(kBlue) + ", " + blue6, ""), "/nhg/groups/blue6/id: group id 5 is taken by group 'blue'"},
      {nhgFile(R"("blue": { "id": 5, "members": [ { "nextHop": "10.1.0.300", "interface": "Vlan10" } ] })", ""),
       "/nhg/groups/blue/members/0/nextHop: "},
      {nhgFile(R"("blue": { "id": 72057594037927935, "members": [ { "nextHop": "10.1.0.2", "interface": "Vlan10" } ] })",
               ""),
       "/nhg/groups/blue/id: 72057594037927935 is out of range 0..72057594037927934"},
      {nhgFile(R"("blue": { "id": 5, "members": [ { "nextHop": "10.1.0.2", "interface": "Vlan10" },
                                                  { "nextHop": "2001:db8::2", "interface": "Vlan10" } ] })",
               ""),
       "/nhg/groups/blue/members/1/nextHop: an IPv6 next hop in an IPv4 group"},
      {nhgFile(R"("blue": { "id": 5, "members": [] })", ""), "/nhg/groups/blue/members: a group has one member or more"},
  };
  for (auto const& b : bad) {
    std::ofstream(path_, std::ios::trunc) << b.text;
    try {
      file_->reload(agent_);
      ADD_FAILURE() << "not refused: " << b.message;
    } catch (std::invalid_argument const& e) {
      EXPECT_EQ(std::string(e.what()).rfind(path_ + ": " + b.message, 0), 0u) << e.what();
    }
    ASSERT_TRUE(agent_.runUntilIdle());
    EXPECT_EQ(state(), before) << b.message;
  }
  EXPECT_EQ(reload(good).changes(), 0u);
}

}  // namespace
