// Resilient ECMP in the configuration file and in the JSON shows: the
// "resilient" section sets the hardware's flag and the prefixes, a reload
// applies only its difference and a section that leaves the file takes it
// all back; a bad entry refuses the file naming its place and changes
// nothing; `show resilient json` and `show chip json` carry the tables,
// members' weights and bucket counts, and the chip's bucket writes.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent/Agent.h"
#include "agent/chip/ChipModule.h"
#include "agent/config/ConfigFile.h"
#include "agent/resil/ResilientModule.h"
#include "ConfigFileFixture.h"

namespace {

using Json = nlohmann::json;

// A FEC of two next hops, the first of weight 2, and a resilient route on
// it in a table of 3 x 2 buckets; an IPv6 resilient prefix in red.
constexpr char kSwitch[] = R"({
  "vrfs": { "default": { "ipv4": true, "ipv6": true }, "red": {} },
  "interfaces": { "Vlan10": { "vlan": 10 } },
  "fecs": { "1": { "vias": [ { "nextHop": "10.1.0.1", "interface": "Vlan10", "weight": 2 },
                             { "nextHop": "10.1.0.2", "interface": "Vlan10" } ] } },
  "routes": { "default": { "10.9.0.0/16": { "fec": 1 } } },
  "resilient": { "supported": true,
                 "prefixes": { "default": { "10.9.0.0/16": { "capacity": 3, "redundancy": 2 } },
                               "red": { "2001:db8:9::/48": { "capacity": 8, "redundancy": 1 } } } }
})";

using KorTest::edit;

class ResilientSectionTest : public KorTest::ConfigFileFixture {
 protected:
  void start() { startWith(kSwitch); }
  Json show(char const* what) { return Json::parse(agent_.show(what, true)); }
  bool supported() { return agent_.module<KorAgent::ChipModule>().hwStatus()->resilientEcmpSupported(); }
  auto const& config() { return *agent_.module<KorAgent::ResilientModule>().config(); }
};

TEST_F(ResilientSectionTest, TheSectionAppliesItsDifferenceAndLeavingTakesItBack) {
  start();
  EXPECT_TRUE(supported());
  EXPECT_EQ(config().prefixSize(), 1u);
  EXPECT_EQ(config().prefix6Size(), 1u);
  EXPECT_EQ(show("resilient")["tables"].size(), 1u);
  EXPECT_EQ(reload(kSwitch).changes(), 0u);

  // A new size in place, red's prefix gone: two changes.
  std::string next = edit(kSwitch, R"("capacity": 3, "redundancy": 2)", R"("capacity": 4, "redundancy": 2)");
  next = edit(next, R"(,
                               "red": { "2001:db8:9::/48": { "capacity": 8, "redundancy": 1 } })", "");
  EXPECT_EQ(reload(next).changes(), 2u);
  ASSERT_TRUE(agent_.runUntilIdle());
  EXPECT_EQ(config().prefix6Size(), 0u);
  EXPECT_EQ(show("resilient")["tables"][0]["buckets"], 8);

  // The section leaves the file: the flag off, the prefix plain ECMP again.
  std::string plain = kSwitch;
  plain = plain.substr(0, plain.find(",\n  \"resilient\"")) + "\n}";
  EXPECT_EQ(reload(plain).changes(), 2u);
  ASSERT_TRUE(agent_.runUntilIdle());
  EXPECT_FALSE(supported());
  EXPECT_EQ(config().prefixSize(), 0u);
  EXPECT_TRUE(show("resilient")["tables"].empty());
}

TEST_F(ResilientSectionTest, ABadEntryIsRefusedWithItsPlaceAndChangesNothing) {
  start();
  std::string const before = agent_.show("resilient", true);
  struct Bad {
    std::string from, to, message;  // message after "FILE: "
  };
  std::vector<Bad> const bad = {
      {"10.9.0.0/16\": { \"capacity\"", "10.9.0.0/33\": { \"capacity\"",
       "/resilient/prefixes/default/10.9.0.0~133: malformed IPv4 prefix '10.9.0.0/33': length 33 out of range"},
      {R"("capacity": 3)", R"("capacity": 0)",
       "/resilient/prefixes/default/10.9.0.0~116/capacity: 0 is out of range 1..1056"},
      {R"("capacity": 3)", R"("capacity": 2000)",
       "/resilient/prefixes/default/10.9.0.0~116/capacity: 2000 is out of range 1..1056"},
      {R"("capacity": 3)", R"("capacity": 600)",
       "/resilient/prefixes/default/10.9.0.0~116: bad bucket table 600 x 2: capacity and redundancy at least 1, "
       "their product at most 1056"},
      {R"("redundancy": 2)", R"("redundancy": 2, "size": 6)",
       "/resilient/prefixes/default/10.9.0.0~116/size: unknown key 'size' (known here: capacity, redundancy)"},
      {R"("capacity": 3, )", "", "/resilient/prefixes/default/10.9.0.0~116: missing 'capacity'"},
      {R"("red": { "2001)", R"("blue": { "2001)", "/resilient/prefixes/blue: unknown VRF 'blue'"},
      {R"("supported": true)", R"("supported": "yes")", "/resilient/supported: expected true or false, got a string"},
  };
  for (auto const& b : bad) {
    expectRefused(edit(kSwitch, b.from, b.to), b.message);
    ASSERT_TRUE(agent_.runUntilIdle());
    EXPECT_EQ(agent_.show("resilient", true), before) << b.message;
  }
  EXPECT_EQ(reload(kSwitch).changes(), 0u);
}

// The JSON says what the text says, plus the weights and the bucket table:
// the next hop of weight 2 holds twice the buckets of the other.
TEST_F(ResilientSectionTest, ShowsInJsonCarryTheTablesAndTheBucketWrites) {
  start();
  Json const r = show("resilient");
  EXPECT_EQ(r["supported"], true);
  ASSERT_EQ(r["config"].size(), 2u);
  EXPECT_EQ(r["config"][0], Json::parse(R"({"vrf": "default", "prefix": "10.9.0.0/16", "capacity": 3, "redundancy": 2})"));
  ASSERT_EQ(r["tables"].size(), 1u);
  Json const& t = r["tables"][0];
  EXPECT_EQ(t["vrf"], "default");
  EXPECT_EQ(t["prefix"], "10.9.0.0/16");
  EXPECT_EQ(t["buckets"], 6);
  ASSERT_EQ(t["members"].size(), 2u);
  EXPECT_EQ(t["members"][0]["nextHop"], "10.1.0.1");
  EXPECT_EQ(t["members"][0]["weight"], 2);
  EXPECT_EQ(t["members"][0]["bucketCount"], 4);
  EXPECT_EQ(t["members"][1]["weight"], 1);
  EXPECT_EQ(t["members"][1]["bucketCount"], 2);
  // The bucket table agrees with each member's bucket list.
  ASSERT_EQ(t["bucketTable"].size(), 6u);
  for (auto const& m : t["members"])
    for (auto const& b : m["buckets"]) EXPECT_EQ(t["bucketTable"][b.get<size_t>()], m["nextHop"]);
  // The text names the VRF above its table and each member's buckets.
  std::string const text = agent_.show("resilient", false);
  EXPECT_NE(text.find("vrf default:\nPrefix: 10.9.0.0/16, fec: "), std::string::npos) << text;
  EXPECT_NE(text.find("\n  10.1.0.1 4 "), std::string::npos) << text;

  Json const chip = show("chip");
  uint64_t const l2Adj = t["l2Adj"];
  EXPECT_EQ(chip["bucketWrites"]["total"], 6);
  EXPECT_EQ(chip["bucketWrites"]["perL2Adj"][std::to_string(l2Adj)], 6);
}

}  // namespace
