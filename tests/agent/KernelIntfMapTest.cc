// The naming of kernel links: ids, VRF devices and tables, VLAN links on a
// bridge and on a port, clashes, parents that come late, refused links.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "agent/KernelIntfMap.h"

namespace {

using KorAgent::KernelIntfMap;
using KorFeeds::NlLink;
using Nollo::IntfId;
using Role = KernelIntfMap::Role;

NlLink link(uint32_t ifindex, std::string name, std::string kind = "", uint32_t master = 0) {
  NlLink l;
  l.ifindex = ifindex;
  l.name = std::move(name);
  l.kind = std::move(kind);
  l.master = master;
  l.up = true;
  return l;
}

NlLink vlanLink(uint32_t ifindex, std::string name, uint32_t parent, uint16_t vlan) {
  NlLink l = link(ifindex, std::move(name), "vlan");
  l.parent = parent;
  l.vlanId = vlan;
  return l;
}

NlLink vrfLink(uint32_t ifindex, std::string name, uint32_t table) {
  NlLink l = link(ifindex, std::move(name), "vrf");
  l.vrfTable = table;
  return l;
}

TEST(KernelIntfMapTest, NamingRule) {
  KernelIntfMap m;
  m.linkIs(link(1, "lo"));
  m.linkIs(link(2, "eth0", "veth", 10));
  m.linkIs(link(3, "Ethernet7"));
  m.linkIs(link(4, "br0", "bridge"));
  m.linkIs(vlanLink(5, "br0.10", 4, 10));
  m.linkIs(vlanLink(6, "eth0.100", 2, 100));
  m.linkIs(vlanLink(7, "e7.20", 3, 20));
  m.linkIs(link(8, "Port-Channel3"));
  m.linkIs(vlanLink(9, "pc3.30", 8, 30));
  m.linkIs(vrfLink(10, "red", 1001));
  m.doName();

  EXPECT_EQ(m.link(1)->role, Role::skipped);
  EXPECT_EQ(m.intfOf(1), std::nullopt);
  EXPECT_EQ(m.intfOf(2), IntfId("Ethernet2"));
  EXPECT_EQ(m.intfOf(3), IntfId("Ethernet7"));
  EXPECT_EQ(m.intfOf(4), IntfId("Ethernet4"));
  EXPECT_EQ(m.intfOf(5), IntfId("Vlan10"));
  EXPECT_EQ(m.intfOf(6), IntfId("Ethernet2.100"));
  EXPECT_EQ(m.intfOf(7), IntfId("Ethernet7.20"));
  EXPECT_EQ(m.intfOf(9), IntfId("Port-Channel3.30"));
  EXPECT_EQ(m.link(10)->role, Role::vrf);
  EXPECT_EQ(m.intfOf(10), std::nullopt);

  // Reverse lookups, kernel names, an ifindex never seen.
  EXPECT_EQ(m.ifindexOf(IntfId("Vlan10")), 5u);
  EXPECT_EQ(m.ifindexOf(IntfId("Ethernet3")), std::nullopt);
  ASSERT_NE(m.nameOf(6), nullptr);
  EXPECT_EQ(*m.nameOf(6), "eth0.100");
  EXPECT_EQ(m.nameOf(77), nullptr);
  EXPECT_EQ(m.intfOf(77), IntfId("Ethernet77"));
  EXPECT_EQ(m.intfOf(0), std::nullopt);
  EXPECT_EQ(m.intfOf(70000), std::nullopt);

  // Tables and VRFs of links.
  EXPECT_EQ(m.vrfOfTable(1001), Kor::VrfName("red"));
  EXPECT_EQ(m.vrfOfTable(254), Kor::VrfName("default"));
  EXPECT_EQ(m.vrfOfTable(255), Kor::VrfName("default"));
  EXPECT_EQ(m.vrfOfTable(1002), std::nullopt);
  EXPECT_EQ(m.vrfOf(2), Kor::VrfName("red"));
  EXPECT_EQ(m.vrfOf(3), std::nullopt);
  EXPECT_FALSE(m.isPortOfMaster(2));
  m.linkIs(link(2, "eth0", "veth", 4));
  m.doName();
  EXPECT_TRUE(m.isPortOfMaster(2));
  EXPECT_EQ(m.vrfOf(2), std::nullopt);

  // A VRF device going takes its table with it.
  EXPECT_TRUE(m.linkDel(10));
  m.doName();
  EXPECT_EQ(m.vrfOfTable(1001), std::nullopt);
  EXPECT_FALSE(m.linkDel(10));
}

TEST(KernelIntfMapTest, ParentsAndClashes) {
  KernelIntfMap m;
  // The VLAN link waits for a parent it has not seen, and follows its renames.
  m.linkIs(vlanLink(6, "x.100", 3, 100));
  m.doName();
  EXPECT_EQ(m.link(6)->role, Role::waiting);
  EXPECT_EQ(m.link(6)->other, 3u);
  m.linkIs(link(3, "x"));
  m.doName();
  EXPECT_EQ(m.intfOf(6), IntfId("Ethernet3.100"));
  m.linkIs(link(3, "Ethernet12"));
  m.doName();
  EXPECT_EQ(m.intfOf(6), IntfId("Ethernet12.100"));
  EXPECT_EQ(m.ifindexOf(IntfId("Ethernet3.100")), std::nullopt);
  // A parent that cannot carry sub-interfaces.
  m.linkIs(link(20, "Vlan20"));
  m.linkIs(vlanLink(21, "v20.5", 20, 5));
  m.doName();
  EXPECT_EQ(m.link(21)->role, Role::unnamed);

  // Two links deriving one id: the holder keeps it, the other takes it once
  // it is free.
  m.linkIs(link(5, "veth5"));
  m.doName();
  m.linkIs(link(9, "Ethernet5"));
  m.linkIs(link(1, "Ethernet5"));
  m.doName();
  EXPECT_EQ(m.ifindexOf(IntfId("Ethernet5")), 5u);
  EXPECT_EQ(m.link(1)->role, Role::clash);
  EXPECT_EQ(m.link(9)->role, Role::clash);
  EXPECT_EQ(m.link(9)->other, 5u);
  m.linkDel(5);
  m.doName();
  EXPECT_EQ(m.ifindexOf(IntfId("Ethernet5")), 1u);
  EXPECT_EQ(m.link(9)->role, Role::clash);
  // A rename frees the id in the same pass.
  m.linkIs(link(1, "eth1"));
  m.doName();
  EXPECT_EQ(m.intfOf(1), IntfId("Ethernet1"));
  EXPECT_EQ(m.intfOf(9), IntfId("Ethernet5"));
  // Two VRF devices on one table: the lower ifindex owns it.
  m.linkIs(vrfLink(31, "blue", 7));
  m.linkIs(vrfLink(30, "green", 7));
  m.doName();
  EXPECT_EQ(m.vrfOfTable(7), Kor::VrfName("green"));
}

TEST(KernelIntfMapTest, ChangesAndRefusals) {
  KernelIntfMap m;
  NlLink eth = link(2, "eth0");
  EXPECT_EQ(m.linkIs(eth), KernelIntfMap::Change::naming);
  m.doName();
  EXPECT_EQ(m.linkIs(eth), KernelIntfMap::Change::none);
  eth.up = false;
  EXPECT_EQ(m.linkIs(eth), KernelIntfMap::Change::state);
  EXPECT_FALSE(m.link(2)->up);
  eth.master = 3;
  EXPECT_EQ(m.linkIs(eth), KernelIntfMap::Change::naming);

  NlLink bad[] = {vlanLink(8, "eth0.4095", 2, 4095), vlanLink(8, "eth0.0", 2, 0), vlanLink(8, "eth0.7", 0, 7),
                  vrfLink(8, "red", 0),              vrfLink(8, "red", 254),      vrfLink(8, "default", 9),
                  link(8, ""),                       link(0, "eth9"),             link(8, "eth8", "", 8)};
  for (auto const& b : bad) {
    try {
      m.linkIs(b);
      ADD_FAILURE() << "accepted " << b.name;
    } catch (std::invalid_argument const& e) {
      // The message names the link.
      std::string what = e.what();
      EXPECT_TRUE(what.find(b.ifindex ? std::to_string(b.ifindex) : b.name) != std::string::npos) << what;
    }
  }
  EXPECT_EQ(m.links().size(), 1u);
  EXPECT_EQ(m.ifindexes().size(), 1u);
  // A bad update leaves the link as it was.
  EXPECT_THROW(m.linkIs(vlanLink(2, "eth0", 1, 4095)), std::invalid_argument);
  EXPECT_EQ(m.link(2)->kind, "");
  EXPECT_EQ(m.link(2)->master, 3u);
}

}  // namespace
