// Interface ids: names of every kind, rejects, predicates, order, packing.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "nollo/IntfId.h"
#include "nollo/ParseError.h"
#include "nollo/PortChannelIntfId.h"
#include "vix/RangeError.h"

namespace {

using Nollo::IntfId;
using Kind = Nollo::IntfId::Kind;

static_assert(sizeof(IntfId) == 8);

TEST(IntfIdTest, NamesRoundTrip) {
  for (char const* n : {"Ethernet1", "Ethernet3/1", "Ethernet3/1/2", "Ethernet65535", "Ethernet1.100",
                        "Ethernet3/1/4.16383", "Port-Channel10", "Port-Channel10.5", "Vlan1", "Vlan4094", "Cpu",
                        "Loopback0", "Management1", "Management1/1", "Vxlan1", "Tunnel5", "Tunnel0", "Null0", ""}) {
    auto i = IntfId::parse(n);
    ASSERT_TRUE(i) << n;
    EXPECT_EQ(i->str(), n);
    EXPECT_EQ(IntfId(n), *i);
  }
  EXPECT_EQ(IntfId("Ethernet3/1/2").number(0), 3u);
  EXPECT_EQ(IntfId("Ethernet3/1/2").number(2), 2u);
  EXPECT_EQ(IntfId("Ethernet3/1/2").numberCount(), 3u);
  EXPECT_EQ(IntfId::ethernet(3, 1), IntfId("Ethernet3/1"));
  EXPECT_EQ(IntfId::make(Kind::ethernet, {7}, 20), IntfId("Ethernet7.20"));
}

TEST(IntfIdTest, RejectsBadNames) {
  for (char const* n : {"Vlan0", "Vlan4095", "Vlan", "Vlan1/1", "Ethernet", "Ethernet0", "Ethernet1/0", "Ethernet01",
                        "Ethernet1/2/3/4", "Ethernet1/", "Ethernet1.0", "Ethernet1.16384", "Ethernet1.", "ethernet1",
                        "Ethernet 1", "Ethernet1x", "Cpu1", "Null1", "Vlan10.1", "Port-Channel0", "Port-Channel1/1",
                        "Eth1", "Ethernet65536", "Management1/1/1", "Loopback"})
    EXPECT_FALSE(IntfId::parse(n)) << n;
  try {
    IntfId i("Vlan4095");
    FAIL();
  } catch (Nollo::ParseError const& e) {
    EXPECT_STREQ(e.what(), "malformed interface name 'Vlan4095'");
  }
  try {
    IntfId::vlan(0);
    FAIL();
  } catch (Vix::RangeError const& e) {
    EXPECT_STREQ(e.what(), "IntfId::vlanId < 1 or > 4094 not allowed");
  }
  EXPECT_THROW(IntfId::make(Kind::vlan, {10}, 1), Vix::RangeError);
  EXPECT_THROW(IntfId::make(Kind::cpu, {1}), Vix::RangeError);
}

TEST(IntfIdTest, KindPredicatesAndSubInterfaces) {
  IntfId eth("Ethernet1"), sub("Ethernet1.100"), po("Port-Channel10"), vlan("Vlan100");
  EXPECT_TRUE(eth.isEthernet());
  EXPECT_FALSE(sub.isEthernet());
  EXPECT_TRUE(sub.isSubIntf());
  EXPECT_EQ(sub.subIntfId(), 100u);
  EXPECT_EQ(sub.parentIntf(), eth);
  EXPECT_EQ(sub.kind(), Kind::ethernet);
  EXPECT_TRUE(po.isPortChannel());
  EXPECT_TRUE(Nollo::PortChannelIntfId::isPortChannelIntfId(po));
  EXPECT_FALSE(Nollo::PortChannelIntfId::isPortChannelIntfId(eth));
  EXPECT_FALSE(Nollo::PortChannelIntfId::isPortChannelIntfId(IntfId("Port-Channel10.5")));
  EXPECT_TRUE(vlan.isVlan());
  EXPECT_EQ(vlan.vlanId(), 100);
  EXPECT_EQ(eth.vlanId(), 0);
  EXPECT_TRUE(IntfId("Cpu").isCpu());
  EXPECT_TRUE(IntfId("Loopback0").isLoopback());
  EXPECT_TRUE(IntfId("Management1").isManagement());
  EXPECT_TRUE(IntfId("Vxlan1").isVxlan());
  EXPECT_TRUE(IntfId("Tunnel5").isTunnel());
  EXPECT_TRUE(IntfId("Null0").isNull());
  EXPECT_TRUE(IntfId().isNone());
  EXPECT_EQ(IntfId().str(), "");
  EXPECT_FALSE(eth.isNone());
}

TEST(IntfIdTest, OrdersByKindThenNumbers) {
  std::set<IntfId> s;
  for (char const* n : {"Ethernet10", "Vlan2", "Ethernet2", "Ethernet10/1", "Ethernet2.5", "Port-Channel1",
                        "Ethernet10/1/1", "Vlan10", ""})
    s.insert(IntfId(n));
  std::vector<std::string> order;
  for (auto const& i : s) order.push_back(i.str());
  EXPECT_EQ(order, (std::vector<std::string>{"", "Ethernet2", "Ethernet2.5", "Ethernet10", "Ethernet10/1",
                                             "Ethernet10/1/1", "Port-Channel1", "Vlan2", "Vlan10"}));
  EXPECT_NE(std::hash<IntfId>()(IntfId("Ethernet1")), std::hash<IntfId>()(IntfId("Ethernet1/1")));
  EXPECT_NE(IntfId("Ethernet1"), IntfId("Ethernet1.1"));
}

}  // namespace
