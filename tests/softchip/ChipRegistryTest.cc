// The chip's registry: every subsystem part registers its tables and
// helpers by name, a name is taken once, and a table found by name is the
// one its part writes - a capacity or a rule set through the name reaches
// the part's writes, and the shows' texts come from it.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "softchip/SoftChip.h"
#include "softchip/common/ChipRegistry.h"
#include "softchip/common/ChipTable.h"

namespace {

using SoftChip::ChipAnswer;
using SoftChip::ChipTableBase;

TEST(ChipRegistryTest, EveryPartRegistersItsTablesAndHelpersByName) {
  auto chip = Vix::makePtr<SoftChip::SoftChip>();
  std::vector<std::string> names;
  for (auto* t : chip->tables()) names.push_back(t->name());
  EXPECT_EQ(names, (std::vector<std::string>{"vrf", "sync", "route4", "route6", "route6em", "l2adj", "nhg", "lag", "vlan",
                                               "portvlan", "xlate-ingress", "xlate-egress", "vlan-fid", "topo",
                                               "stpstate", "mac"}));
  EXPECT_EQ(chip->table("route6em"), &chip->l3().route6EmTable());
  EXPECT_EQ(chip->table("l2adj"), &chip->adj().l2AdjTable());
  EXPECT_EQ(chip->table("route5"), nullptr);

  auto const& reg = chip->registry();
  EXPECT_EQ(reg.helper("VrfHelper"), chip->l3().vrfHelper().ptr());
  EXPECT_EQ(reg.helper("RoutingStatusSmHelper"), chip->l3().routingStatusSmHelper().ptr());
  EXPECT_EQ(reg.helper("RouteSmHelper"), chip->l3().routeSmHelper().ptr());
  EXPECT_EQ(reg.helper("Route6SmHelper"), chip->l3().route6SmHelper().ptr());
  EXPECT_EQ(reg.helper("AdjSmHelper"), chip->adj().adjSmHelper().ptr());
  EXPECT_EQ(reg.helper("VlanMappingSmHelper"), chip->xlate().vlanMappingSmHelper().ptr());
  EXPECT_EQ(reg.helper("VlanPhyIntfSmHelper"), chip->xlate().vlanPhyIntfSmHelper().ptr());
  EXPECT_EQ(reg.helper("KorHelperLagSm"), chip->lag().lagHelper().ptr());
  EXPECT_EQ(reg.helper("TopoHelper"), chip->stp().topoHelper().ptr());
  EXPECT_EQ(reg.helpers().size(), 9u);
  EXPECT_EQ(reg.helper("MacSmHelper"), nullptr);
}

TEST(ChipRegistryTest, ANameIsTakenOnce) {
  SoftChip::FaultInjector fi;
  SoftChip::ChipTable<int, int> a("t", &fi), b("t", &fi), c("u", &fi);
  SoftChip::ChipRegistry reg;
  reg.tableIs(&a);
  EXPECT_THROW(reg.tableIs(&b), std::invalid_argument);
  reg.tableIs(&c);
  EXPECT_EQ(reg.table("t"), &a);
  ASSERT_EQ(reg.tables().size(), 2u);
  EXPECT_EQ(reg.tables()[1], &c);
}

TEST(ChipRegistryTest, ATableFoundByNameIsTheOneItsPartWrites) {
  auto chip = Vix::makePtr<SoftChip::SoftChip>();
  Kor::VrfAndPrefix k1{Kor::VrfId(0), Nollo::IpPrefix("10.1.0.0/16")};
  Kor::VrfAndPrefix k2{Kor::VrfId(0), Nollo::IpPrefix("10.2.0.0/16")};
  SoftChip::ChipRoute r(Kor::RouteType::forwardRoute, 1, 1);
  auto& route4 = chip->l3().route4Table();

  // Capacity by name.
  chip->table("route4")->capacityIs(1);
  EXPECT_EQ(route4.write(k1, r), ChipAnswer::success);
  EXPECT_EQ(route4.write(k2, r), ChipAnswer::resourceFull);
  EXPECT_TRUE(chip->refusesNew(*chip->table("route4")));
  chip->table("route4")->capacityIs(ChipTableBase::kUnlimited);

  // A rule under the table's name, and one under a key as the show prints it.
  chip->injector().kindFaultIs(chip->table("l2adj")->name(), ChipAnswer::notReady);
  EXPECT_EQ(chip->adj().l2AdjTable().write(7, Kor::NextHopL2InfoCollection()), ChipAnswer::notReady);
  auto texts = chip->table("route4")->entryTexts();
  ASSERT_EQ(texts.size(), 1u);
  EXPECT_EQ(texts[0].first, "0:10.1.0.0/16");
  chip->injector().objectFaultIs("route4", texts[0].first, ChipAnswer::fail);
  EXPECT_EQ(route4.write(k1, SoftChip::ChipRoute(Kor::RouteType::forwardRoute, 2, 2)), ChipAnswer::fail);
  EXPECT_EQ(route4.write(k2, r), ChipAnswer::success);
  EXPECT_EQ(chip->table("route4")->size(), 2u);
  EXPECT_EQ(chip->table("route4")->counters().creates, 2u);
}

}  // namespace
