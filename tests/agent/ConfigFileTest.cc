// The configuration file as an operator meets it: the first load applies
// it, a reload applies only what changed (and nothing for an unchanged
// file: no input change, no chip write), removals come before adds, and a
// file with any error is refused whole, naming the value, with nothing
// applied.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "agent/Agent.h"
#include "agent/ScenarioRunner.h"
#include "agent/config/ConfigFile.h"
#include "ConfigFileFixture.h"
#include "vix/Time.h"

namespace {

using KorAgent::ConfigFile;

// Two VRFs, interfaces, a LAG, FECs of both families and routes to them.
constexpr char kSwitch[] = R"({
  "hardware": { "maxEcmp": 16 },
  "knobs": { "totalTimeForRouteUpdates": "100ms" },
  "vrfs": { "default": { "ipv4": true, "ipv6": true }, "red": {}, "blue": { "ipv6": false } },
  "interfaces": {
    "Vlan10": { "vlan": 10 },
    "Ethernet1": {},
    "Ethernet4": { "vrf": "red", "routed": true },
    "Ethernet5": { "vrf": "blue", "routed": true, "link": "down" }
  },
  "lags": { "Port-Channel1": ["Ethernet2", "Ethernet3"] },
  "fecs": {
    "1": { "vias": [ { "nextHop": "10.1.0.2", "interface": "Vlan10" }, { "nextHop": "10.1.0.3", "interface": "Vlan10" } ] },
    "2": { "vias": [ { "nextHop": "10.1.0.4", "interface": "Vlan10" } ] },
    "3": { "vias": [ { "nextHop": "2001:db8::2", "interface": "Ethernet1" } ] },
    "4": { "vrf": "red", "vias": [ { "nextHop": "192.168.4.2", "interface": "Ethernet4" } ] }
  },
  "routes": {
    "default": { "10.0.0.0/8": { "fec": 1 }, "10.2.0.0/16": { "fec": 2 }, "2001:db8:1::/64": { "fec": 3 } },
    "red": { "0.0.0.0/0": { "fec": 4 } }
  }
})";

using KorTest::edit;

class ConfigFileTest : public KorTest::ConfigFileFixture {
 protected:
  // The switch configured with kSwitch, its library started and settled.
  void start() { startWith(kSwitch); }
  // Every chip table's write counters, by table.
  std::map<std::string, std::tuple<uint64_t, uint64_t, uint64_t, uint64_t>> chipWrites() const {
    std::map<std::string, std::tuple<uint64_t, uint64_t, uint64_t, uint64_t>> w;
    for (auto* t : agent_.chip()->tables()) {
      auto const& c = t->counters();
      w[t->name()] = {c.creates, c.updates, c.deletes, c.syncs};
    }
    return w;
  }
  std::string state() const {
    std::string s;
    for (char const* what : {"vrfs", "l3", "chip", "inputs"}) s += agent_.show(what, true);
    return s;
  }
};

TEST_F(ConfigFileTest, AnUnchangedFileChangesNoInputAndWritesNothingToTheChip) {
  start();
  auto const writes = chipWrites();
  auto const before = state();
  EXPECT_GT(std::get<0>(writes.at("route4")), 0u) << "the first load programmed nothing";
  for (int i = 0; i < 2; ++i) {
    auto r = reload(kSwitch);
    EXPECT_EQ(r.changes(), 0u) << r.text(path_);
    EXPECT_TRUE(r.refusals().empty()) << r.text(path_);
    ASSERT_TRUE(agent_.runUntilIdle());
    EXPECT_EQ(chipWrites(), writes);
    EXPECT_EQ(state(), before);
  }
  // The same configuration written otherwise (keys in another order,
  // defaults spelled out, a prefix with host bits) is the same configuration.
  std::string same = edit(kSwitch, R"("Ethernet1": {})", R"("Ethernet1": { "link": "up", "routed": false })");
  same = edit(same, R"("red": {},)", R"("red": { "ipv6": true, "ipv4": true },)");
  same = edit(same, R"("10.2.0.0/16")", R"("10.2.3.4/16")");
  EXPECT_EQ(reload(same).changes(), 0u);
  EXPECT_EQ(chipWrites(), writes);
}

TEST_F(ConfigFileTest, AChangeIsAppliedAsItsDifferenceOnly) {
  start();
  auto const writes = chipWrites();
  // One route moves to another FEC, one goes, a link comes up.
  std::string next = edit(kSwitch, R"("10.0.0.0/8": { "fec": 1 }, "10.2.0.0/16": { "fec": 2 },)",
                          R"("10.0.0.0/8": { "fec": 2 },)");
  next = edit(next, R"("link": "down")", R"("link": "up")");
  auto r = reload(next);
  EXPECT_EQ(r.changes(), 3u) << r.text(path_);
  EXPECT_TRUE(r.refusals().empty()) << r.text(path_);
  ASSERT_TRUE(agent_.runUntilIdle());
  auto after = chipWrites();
  auto [c, u, d, s] = after.at("route4");
  auto [c0, u0, d0, s0] = writes.at("route4");
  EXPECT_EQ(c, c0);
  EXPECT_EQ(u, u0 + 1) << "10.0.0.0/8 to FEC 2";
  EXPECT_EQ(d, d0 + 1) << "10.2.0.0/16 gone";
  after.erase("route4");
  auto others = writes;
  others.erase("route4");
  EXPECT_EQ(after, others) << "a table the change does not concern was written";
  std::string const inputs = agent_.show("inputs", false);
  EXPECT_NE(inputs.find("Ethernet5 vrf blue routed\n"), std::string::npos) << inputs;
  EXPECT_EQ(inputs.find("10.2.0.0/16"), std::string::npos) << inputs;
  // And back: the same three changes the other way.
  EXPECT_EQ(reload(kSwitch).changes(), 3u);
}

TEST_F(ConfigFileTest, RemovalsComeBeforeAdds) {
  start();
  // Each of these removes a name and adds it again elsewhere: added first,
  // the agent would refuse it as already there.
  std::string next = edit(kSwitch, R"("Port-Channel1": ["Ethernet2", "Ethernet3"])",
                          R"("Port-Channel1": ["Ethernet2"], "Port-Channel2": ["Ethernet3"])");
  // FEC 4 and its route move from red to blue; Ethernet4 moves with them
  // and red goes.
  next = edit(next, R"("red": {}, )", "");
  next = edit(next, R"("Ethernet4": { "vrf": "red", "routed": true })", R"("Ethernet4": { "vrf": "blue", "routed": true })");
  next = edit(next, R"("4": { "vrf": "red")", R"("4": { "vrf": "blue")");
  next = edit(next, R"("red": { "0.0.0.0/0": { "fec": 4 } })", R"("blue": { "0.0.0.0/0": { "fec": 4 } })");
  auto r = reload(next);
  EXPECT_TRUE(r.refusals().empty()) << r.text(path_);
  ASSERT_TRUE(agent_.runUntilIdle());
  std::string const inputs = agent_.show("inputs", false);
  EXPECT_NE(inputs.find("Port-Channel2: Ethernet3"), std::string::npos) << inputs;
  EXPECT_NE(inputs.find("Ethernet4 vrf blue routed"), std::string::npos) << inputs;
  EXPECT_NE(inputs.find("blue 0.0.0.0/0"), std::string::npos) << inputs;
  EXPECT_EQ(inputs.find("red"), std::string::npos) << inputs;
  EXPECT_EQ(reload(next).changes(), 0u);
}

TEST_F(ConfigFileTest, ABadFileIsRefusedWholeNamingTheValueAndNothingIsApplied) {
  start();
  auto const writes = chipWrites();
  auto const before = state();
  // Each bad file also holds a good change (Ethernet9) that must not be
  // applied either.
  std::string const good = edit(kSwitch, R"("Ethernet1": {},)", R"("Ethernet1": {}, "Ethernet9": {},)");
  struct Bad {
    std::string text;
    std::string message;  // after "FILE: "
  };
  std::vector<Bad> const bad = {
      {edit(good, R"("Vlan10": { "vlan": 10 },)", R"("Vlan10": { "vlan": 10 }
        "Vlan20": {},)"),
       "line 7, column 16: syntax error while parsing object - unexpected string literal; expected '}'"},
      {edit(good, R"("vlan": 10)", R"("vlan": "10")"),
       "/interfaces/Vlan10/vlan: expected an integer 1..4094, got a string"},
      {edit(good, R"("hardware")", R"("hardwear")"),
       "/hardwear: unknown key 'hardwear' (known here: hardware, knobs, routing, vrfs, resilient, interfaces, vlans, switchports, vlanTranslations, lags, tunnels, macs, fecs, routes, nhg, stp)"},
      {edit(good, R"("Ethernet1": {},)", R"("Ethernet1": {}, "Ethernet1": {},)"),
       "/interfaces/Ethernet1: duplicate key 'Ethernet1'"},
      {edit(good, R"("0.0.0.0/0": { "fec": 4 })", R"("0.0.0.0/0": { "fec": 7 })"),
       "/routes/red/0.0.0.0~10/fec: no FEC 7 in /fecs"},
      {edit(good, R"("0.0.0.0/0": { "fec": 4 })", R"("0.0.0.0/0": { "fec": 2 })"),
       "/routes/red/0.0.0.0~10/fec: FEC 2 is in vrf 'default', not in 'red'"},
      {edit(good, R"("2001:db8:1::/64": { "fec": 3 })", R"("2001:db8:1::/64": { "fec": 1 })"),
       "/routes/default/2001:db8:1::~164/fec: FEC 1 is IPv4, the prefix IPv6"},
      {edit(good, R"("vrf": "blue")", R"("vrf": "green")"), "/interfaces/Ethernet5/vrf: no VRF 'green' in /vrfs"},
      {edit(good, R"("Ethernet3"])", R"("Ethernet3"], "Port-Channel2": ["Ethernet3"])"),
       "/lags/Port-Channel2/0: Ethernet3 is already a member of Port-Channel1"},
      {edit(good, R"("nextHop": "10.1.0.3")", R"("nextHop": "2001:db8::3")"),
       "/fecs/1/vias/1: an IPv6 next hop in an IPv4 FEC"},
      {edit(good, R"("100ms")", R"("forever")"), "/knobs/totalTimeForRouteUpdates: bad duration 'forever'"},
      {edit(good, R"("Vlan10": { "vlan": 10 })", R"("Vlan10": { "routed": true })"),
       "/interfaces/Vlan10/routed: a VLAN interface cannot be a routed port"},
      {"[1, 2]", "/: the configuration is one JSON object"},
  };
  for (auto const& b : bad) {
    expectRefused(b.text, b.message);
    ASSERT_TRUE(agent_.runUntilIdle());
    EXPECT_EQ(state(), before) << b.message;
    EXPECT_EQ(chipWrites(), writes) << b.message;
  }
  // What is applied did not move: the good file is one change away.
  EXPECT_EQ(reload(good).changes(), 1u);
}

TEST_F(ConfigFileTest, AnItemTheAgentRefusesIsTriedAgainAtTheNextReload) {
  KorAgent::ScenarioRunner runner(&agent_, &std::cout);
  ASSERT_EQ(runner.runText("intf add Ethernet1 vlan 20\n"), 0u);
  auto r = reload(kSwitch);
  ASSERT_EQ(r.refusals().size(), 1u) << r.text(path_);
  EXPECT_EQ(r.refusals()[0], "/interfaces/Ethernet1: not applied: interface Ethernet1 already added");
  ASSERT_EQ(runner.runText("intf del Ethernet1\n"), 0u);
  r = reload(kSwitch);
  EXPECT_EQ(r.changes(), 1u) << r.text(path_);
  EXPECT_TRUE(r.refusals().empty()) << r.text(path_);
  EXPECT_EQ(reload(kSwitch).changes(), 0u);
}

TEST_F(ConfigFileTest, ASettingThatLeavesTheFileReturnsToItsStartValue) {
  start();
  // maxEcmp back to 0, the knob to its default, default's routing off.
  std::string next = edit(kSwitch, R"("hardware": { "maxEcmp": 16 },)", "");
  next = edit(next, R"("knobs": { "totalTimeForRouteUpdates": "100ms" },)", "");
  next = edit(next, R"("default": { "ipv4": true, "ipv6": true }, )", "");
  next = edit(next, R"("2001:db8:1::/64": { "fec": 3 })", R"("2001:db8:1::/64": { "fec": 3 }, "2001:db8:2::/64": { "fec": 3 })");
  auto r = reload(next);
  EXPECT_EQ(r.changes(), 4u) << r.text(path_);
  // A setting the file never named is never touched: 0 changes now.
  EXPECT_EQ(reload(next).changes(), 0u);
  EXPECT_EQ(reload(kSwitch).changes(), 4u);
}

// The routing inputs: a bad router MAC refuses the file naming it; good
// values reach the routing layer (the chip's router MAC, the route limit,
// deferred routing), and leaving the file returns them to the agent's start
// values.
TEST_F(ConfigFileTest, RoutingInputsReachTheChipAndReturnToTheirDefaults) {
  start();
  std::string const with = edit(kSwitch, R"("knobs")",
                                R"("routing": { "routerMac": "00:1c:73:00:00:99", "maxNumRoutes": 1,
                                                "mlagPeerMac": "00:1c:73:00:00:42", "mpls": true,
                                                "deferredRouting": true }, "knobs")");
  for (auto const& [bad, message] : std::vector<std::pair<std::string, std::string>>{
           {edit(with, "00:1c:73:00:00:99", "00:00:00:00:00:00"),
            "/routing/routerMac: router mac 00:00:00:00:00:00 is not a unicast address"},
           {edit(with, R"("mpls": true)", R"("mpls": true, "urpfInterfaces": { "Vlan10": { "ipv4": "tight" } })"),
            "/routing/urpfInterfaces/Vlan10/ipv4: expected one of loose, strict, off, got 'tight'"}}) {
    write(bad);
    try {
      file_->reload(agent_);
      ADD_FAILURE() << "not refused: " << message;
    } catch (std::invalid_argument const& e) {
      EXPECT_EQ(e.what(), path_ + ": " + message);
    }
  }
  auto r = reload(with);
  EXPECT_TRUE(r.refusals().empty()) << r.text(path_);
  ASSERT_TRUE(agent_.runUntilIdle());
  std::string shown = agent_.show("routing", false);
  EXPECT_NE(shown.find("router mac 00:1c:73:00:00:99, programmed yes, chip 00:1c:73:00:00:99"), std::string::npos)
      << shown;
  EXPECT_NE(shown.find("chip peer mac 00:1c:73:00:00:42"), std::string::npos) << shown;
  EXPECT_NE(shown.find("mpls on, deferred routing on"), std::string::npos) << shown;
  EXPECT_NE(shown.find("maxNumRoutes 1"), std::string::npos) << shown;
  EXPECT_EQ(reload(with).changes(), 0u);
  reload(kSwitch);
  ASSERT_TRUE(agent_.runUntilIdle());
  shown = agent_.show("routing", false);
  EXPECT_NE(shown.find("router mac 02:00:00:00:00:01, programmed yes"), std::string::npos) << shown;
  EXPECT_NE(shown.find("mlag inactive, chip peer mac none"), std::string::npos) << shown;
  EXPECT_NE(shown.find("maxNumRoutes 0"), std::string::npos) << shown;
  EXPECT_NE(shown.find("deferred routing off"), std::string::npos) << shown;
}

TEST_F(ConfigFileTest, TheReloadStatementNeedsAFileAndAnswersWhatItApplied) {
  std::ostringstream out;
  KorAgent::ScenarioRunner runner(&agent_, &out);
  EXPECT_EQ(runner.runText("reload\n"), 1u);
  EXPECT_EQ(out.str(), "line 1: no configuration file to reload (kor-agent --config FILE)\n");
  write(kSwitch);
  agent_.reloadFnIs([this] { return file_->reload(agent_).text(path_); });
  out.str("");
  EXPECT_EQ(runner.runText("reload\nreload now\n"), 1u);
  EXPECT_EQ(out.str(), path_ + ": 19 input changes applied\nline 2: unexpected 'now'\n");
  write("{");
  EXPECT_EQ(agent_.channel(-1, "reload", 3),
            "line 3: " + path_ + ": line 1, column 2: syntax error while parsing object key - unexpected end of input; "
            "expected string literal\n");
}

TEST_F(ConfigFileTest, TheExampleConfigurationIsGood) {
  auto sections = ConfigFile(KOR_DOCS_DIR "/examples/switch.json", agent_).read();
  EXPECT_EQ(sections.size(), 13u);
}

}  // namespace
