// NhgModule keeps its groups' ids by name and by id: an id taken by another
// group is refused, a group's own id is taken again by its republication, and
// a deleted group's id is free for another - also through the zebra source,
// whose groups publish and withdraw many times.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "agent/Agent.h"
#include "agent/nhg/NhgModule.h"
#include "vix/ManualTimeSource.h"

namespace {

using KorAgent::FibModule;

std::vector<FibModule::Via> via(char const* hop) {
  FibModule::Via v;
  v.hop = Nollo::IpGenAddr(hop);
  v.intf = Nollo::IntfId::vlan(10);
  return {v};
}

TEST(NhgGroupIdTest, AnIdBelongsToOneGroupUntilItIsDeleted) {
  KorAgent::Agent agent(Vix::makePtr<Vix::ManualTimeSource>(0.0));
  auto& nhg = agent.module<KorAgent::NhgModule>();
  for (int round = 0; round < 3; ++round) {
    nhg.groupAdd("a", 7, via("10.1.0.2"));
    nhg.groupAdd("a", 7, via("10.1.0.3"));  // new members, same id
    try {
      nhg.groupAdd("b", 7, via("10.1.0.2"));
      ADD_FAILURE() << "id 7 given twice";
    } catch (std::invalid_argument const& e) {
      EXPECT_EQ(std::string(e.what()), "nexthop group id 7 is taken by 'a'");
    }
    EXPECT_THROW(nhg.groupAdd("a", 8, via("10.1.0.2")), std::invalid_argument);
    nhg.groupDel("a");
    nhg.groupAdd("b", 7, via("10.1.0.2"));  // free again
    EXPECT_THROW(nhg.groupAdd("a", 7, via("10.1.0.2")), std::invalid_argument);
    nhg.groupDel("b");
  }
  EXPECT_TRUE(nhg.status()->groupMap().empty());
}

}  // namespace
