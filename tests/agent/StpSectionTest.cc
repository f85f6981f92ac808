// Spanning tree in the configuration file: the "stp" section maps VLANs to
// topologies and sets the operational mode; a reload applies only its
// difference and a topology leaving the file is removed; a VLAN named by
// two topologies or a bad VLAN list refuses the file naming its place and
// changes nothing.
#include <gtest/gtest.h>

#include <string>

#include <nlohmann/json.hpp>

#include "ConfigFileFixture.h"
#include "agent/Agent.h"
#include "agent/stp/StpModule.h"

namespace {

using Json = nlohmann::json;
using KorTest::edit;

constexpr char kSwitch[] = R"({
  "stp": { "topologies": { "MST1": { "vlans": "10-12" }, "MST2": { "vlans": "20" } } }
})";

class StpSectionTest : public KorTest::ConfigFileFixture {
 protected:
  Json show() { return Json::parse(agent_.show("stp", true)); }
  std::string vlansOf(std::string const& topo) {
    Json const s = show();
    for (auto const& t : s["topologies"])
      if (t["name"] == topo) return t["vlans"];
    return "absent";
  }
};

TEST_F(StpSectionTest, TheSectionAppliesItsDifference) {
  startWith(kSwitch);
  EXPECT_EQ(vlansOf("MST1"), "10-12");
  EXPECT_EQ(vlansOf("MST2"), "20");
  EXPECT_EQ(reload(kSwitch).changes(), 0u);

  // VLAN 12 moves to MST2: both topologies are written again, nothing is lost.
  std::string next = edit(edit(kSwitch, R"("10-12")", R"("10-11")"), R"("20")", R"("12,20")");
  EXPECT_GT(reload(next).changes(), 0u);
  ASSERT_TRUE(agent_.runUntilIdle());
  EXPECT_EQ(vlansOf("MST1"), "10-11");
  EXPECT_EQ(vlansOf("MST2"), "12,20");

  EXPECT_GT(reload(edit(next, R"("12,20" } } })", R"("12,20" } }, "mode": "tap-aggregation" })")).changes(), 0u);
  ASSERT_TRUE(agent_.runUntilIdle());
  EXPECT_EQ(show()["mode"], "tap-aggregation");
  EXPECT_EQ(vlansOf("TapAggTopo"), "1-4094");
}

TEST_F(StpSectionTest, BadEntriesRefuseTheFileWhole) {
  startWith(kSwitch);
  std::string const before = agent_.show("stp", true);
  expectRefused(edit(kSwitch, R"("20")", R"("11,20")"),
                "/stp/topologies/MST2/vlans: VLAN 11 is in topology MST1 already");
  expectRefused(edit(kSwitch, R"("20")", R"("20-4095")"), "/stp/topologies/MST2/vlans: VlanId::value < 1 or > 4094 not allowed");
  expectRefused(edit(kSwitch, R"("20")", R"("30-20")"),
                "/stp/topologies/MST2/vlans: VLAN range 30-20 runs backwards");
  ASSERT_TRUE(agent_.runUntilIdle());
  EXPECT_EQ(agent_.show("stp", true), before);
}

}  // namespace
