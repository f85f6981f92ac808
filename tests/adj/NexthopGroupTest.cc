// Next-hop groups: a FEC naming a group by id gets an adjacency built from
// the group's published members, resolved through the next-hop lists, and
// follows the group as it changes, goes and comes back; requests by name
// hold the group's adjacency as well. The adjacency machine runs over the
// software chip on a manual clock. A full nhg table and its retry are the
// nhg_routes scenario's.
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <sstream>
#include <string>

#include "AdjChipFixture.h"

namespace {

using namespace Kor;
using NexthopGroup::NexthopGroupEntry;
using Nollo::IntfId;
using Nollo::IpAddr4;
using Nollo::IpAddr6;
using Quill::Fib::FecId;
using Quill::Fib::FecType;

FecId groupFec(uint64_t id) { return FecId(NexthopGroupRouteSm::adjIndexFromNexthopGroupId(id)); }

class NexthopGroupTest : public KorTest::AdjChipFixture {
 protected:
  void SetUp() override {
    AdjChipFixture::SetUp();
    hw_->nexthopGroupSupportedIs(true);
    groups_ = Vix::makePtr<NexthopGroup::Status>("nhg");
    watched_ = Vix::makePtr<NexthopGroup::WatchedNexthopGroupConfig>("default");
    startAdj();
  }

  NexthopGroupEntry member(char const* nh, uint32_t weight = 1) {
    return NexthopGroupEntry(Nollo::IpGenAddr(nh), IntfId::vlan(10), 0, weight);
  }
  void group(std::string const& name, uint64_t id, std::vector<NexthopGroupEntry> members) {
    groups_->groupIs(name, NexthopGroup::Group(id, std::move(members)));
  }
  void fec(uint64_t id) { fwd_->fecIs(Quill::Fib::Fec(groupFec(id), FecType::nexthopGroup, {})); }
  void resolve(IpAddr4 const& nh, uint64_t m) { AdjChipFixture::resolve(nh, IntfId::ethernet(1), m); }
  Vix::Ptr<AdjEntry> entry(uint64_t id) const { return vrf_->adjEntryList(groupFec(id)); }
  // The group adjacency's programmed members as the chip holds them:
  // "next hop type weight" per member; empty without an L2 adjacency.
  std::map<std::string, std::string> chipMembers(uint64_t id) const {
    std::map<std::string, std::string> out;
    auto e = entry(id);
    if (!e || !e->l2Adj()) return out;
    auto const* held = chip_->adj().nhgTable().find(e->l2Adj()->index());
    if (!held) return out;
    EXPECT_EQ(held->type(), L2AdjType::nexthopAdj);
    for (auto const& [nh, info] : held->nextHop()) {
      std::ostringstream os;
      os << info.type() << " " << info.weight();
      out[nh.str()] = os.str();
    }
    return out;
  }
};

// Ids and adjacency indexes convert both ways; the name maps hold the groups
// in use only, and the last user removes them.
TEST_F(NexthopGroupTest, IdsNamesAndReferenceCounts) {
  EXPECT_EQ(NexthopGroupRouteSm::nexthopGroupIdFromAdjIndex(NexthopGroupRouteSm::adjIndexFromNexthopGroupId(77)), 77u);
  EXPECT_EQ(groupFec(77).adjType(), Quill::Fib::AdjType::nextHopGroupAdj);
  group("blue", 7, {member("10.0.0.1")});
  group("green", 8, {member("10.0.0.2")});
  EXPECT_EQ(nhgSm_->handleWatchedNexthopGroup("blue"), 7u);
  EXPECT_FALSE(nhgSm_->handleWatchedNexthopGroup("nosuch"));
  EXPECT_TRUE(nhgSm_->nexthopGroupNameToId().empty());

  fec(7);
  loop_->runUntilIdle();
  EXPECT_EQ(nhgSm_->nexthopGroupNameToId(), (std::map<std::string, uint64_t>{{"blue", 7}}));
  EXPECT_EQ(nhgSm_->nexthopGroupIdToName().at(7), "blue");
  ASSERT_TRUE(nhgSm_->nexthopGroupSm(7));
  EXPECT_EQ(nhgSm_->nexthopGroupSm(7)->refCnt(), 1u);
  // Reviews and prefixes do not add users: the adjacency holds its group once.
  sm_->addPrefixToAdjEntry(groupFec(7).value(), Nollo::IpPrefix("1.1.1.0/24"));
  vrf_->adjEntryReviewListIs(groupFec(7), AdjReviewType::adjReviewUpdate);
  loop_->runUntilIdle();
  EXPECT_EQ(nhgSm_->nexthopGroupSm(7)->refCnt(), 1u);

  sm_->deletePrefixFromAdjEntry(groupFec(7).value(), Nollo::IpPrefix("1.1.1.0/24"));
  fwd_->fecDel(groupFec(7));
  loop_->runUntilIdle();
  EXPECT_FALSE(entry(7));
  EXPECT_FALSE(nhgSm_->nexthopGroupSm(7));
  EXPECT_TRUE(nhgSm_->nexthopGroupNameToId().empty());
  EXPECT_TRUE(nhgSm_->nexthopGroupIdToName().empty());
}

// A group FEC is built from the members (weights as path counts), which
// resolve like any via; a member change rebuilds it in place.
TEST_F(NexthopGroupTest, MembersResolveAndChange) {
  group("blue", 7, {member("10.0.0.1", 2), member("10.0.0.2")});
  fec(7);
  loop_->runUntilIdle();
  ASSERT_TRUE(entry(7));
  EXPECT_EQ(entry(7)->routeType(), RouteType::nexthopGroupRoute);
  EXPECT_EQ(entry(7)->adjVia()->nextHopGroupSize(), 2u);
  EXPECT_FALSE(sm_->isAdjCreationDeferred(groupFec(7).value()));
  EXPECT_EQ(chipMembers(7), (std::map<std::string, std::string>{{"10.0.0.1", "nextHopArpRequired 2"},
                                                                 {"10.0.0.2", "nextHopArpRequired 1"}}));
  // A member's neighbour resolves later.
  resolve(IpAddr4(0x0a000001u), 1);
  loop_->runUntilIdle();
  EXPECT_EQ(chipMembers(7).at("10.0.0.1"), "nextHopArpResolved 2");

  uint64_t l2 = entry(7)->l2Adj()->index();
  group("blue", 7, {member("10.0.0.1", 2), member("10.0.0.3")});
  loop_->runUntilIdle();
  EXPECT_EQ(chipMembers(7), (std::map<std::string, std::string>{{"10.0.0.1", "nextHopArpResolved 2"},
                                                                 {"10.0.0.3", "nextHopArpRequired 1"}}));
  EXPECT_EQ(entry(7)->l2Adj()->index(), l2);
  // The member that left no longer reviews the group.
  uint64_t before = vrf_->adjEntryReviewCnt(groupFec(7));
  resolve(IpAddr4(0x0a000002u), 2);
  loop_->runUntilIdle();
  EXPECT_EQ(vrf_->adjEntryReviewCnt(groupFec(7)), before);
}

// IPv6 members make IPv6 vias on the group adjacency.
TEST_F(NexthopGroupTest, Ipv6Group) {
  group("six", 9, {member("2001:db8::1"), member("2001:db8::2")});
  fec(9);
  loop_->runUntilIdle();
  ASSERT_TRUE(entry(9));
  EXPECT_FALSE(entry(9)->adjVia());
  ASSERT_TRUE(entry(9)->adjVia6());
  EXPECT_EQ(entry(9)->adjVia6()->vias(), 2u);
  EXPECT_EQ(chipMembers(9).size(), 2u);
}

// An unknown group defers the adjacency (no L2 adjacency); publishing it
// builds the adjacency; deleting it while used takes the L2 adjacency away
// and defers again; republishing rebuilds it.
TEST_F(NexthopGroupTest, UnknownGroupDefersAndDeletedGroupReleases) {
  fec(7);
  loop_->runUntilIdle();
  ASSERT_TRUE(entry(7));
  EXPECT_TRUE(sm_->isAdjCreationDeferred(groupFec(7).value()));
  EXPECT_FALSE(entry(7)->l2Adj());
  sm_->addPrefixToAdjEntry(groupFec(7).value(), Nollo::IpPrefix("1.1.1.0/24"));

  group("blue", 7, {member("10.0.0.1")});
  loop_->runUntilIdle();
  EXPECT_FALSE(sm_->isAdjCreationDeferred(groupFec(7).value()));
  EXPECT_EQ(chipMembers(7).size(), 1u);
  EXPECT_TRUE(vrf_->adjEntryPrefixWalkList(groupFec(7)));
  vrf_->adjEntryPrefixWalkListDel(groupFec(7));
  uint64_t l2 = entry(7)->l2Adj()->index();

  groups_->groupDel("blue");
  loop_->runUntilIdle();
  ASSERT_TRUE(entry(7));
  EXPECT_TRUE(sm_->isAdjCreationDeferred(groupFec(7).value()));
  EXPECT_FALSE(entry(7)->l2Adj());
  EXPECT_FALSE(chip_->adj().nhgTable().has(l2));
  EXPECT_TRUE(vrf_->adjEntryPrefixWalkList(groupFec(7)));
  EXPECT_TRUE(nhgSm_->nexthopGroupNameToId().empty());

  // The id comes back under another name.
  group("red", 7, {member("10.0.0.2")});
  loop_->runUntilIdle();
  EXPECT_EQ(chipMembers(7).count("10.0.0.2"), 1u);
  EXPECT_EQ(nhgSm_->nexthopGroupIdToName().at(7), "red");
}

// Without the hardware capability no adjacency is made for a group FEC.
TEST_F(NexthopGroupTest, UnsupportedHardwareMakesNoAdjacency) {
  hw_->nexthopGroupSupportedIs(false);
  group("blue", 7, {member("10.0.0.1")});
  fec(7);
  loop_->runUntilIdle();
  EXPECT_FALSE(entry(7));
  EXPECT_EQ(chip_->adj().nhgTable().size(), 0u);
}

// A request by name holds the group's adjacency without any FEC; the
// request going takes it away. A request for an unknown name waits for it.
TEST_F(NexthopGroupTest, RequestByNameHoldsTheAdjacency) {
  watched_->groupIs("blue", true);
  loop_->runUntilIdle();
  EXPECT_FALSE(entry(7));
  group("blue", 7, {member("10.0.0.1")});
  loop_->runUntilIdle();
  ASSERT_TRUE(entry(7));
  EXPECT_EQ(entry(7)->pbr(), 1u);
  EXPECT_EQ(chipMembers(7).size(), 1u);

  // A FEC over the same group shares the adjacency; the request leaving keeps it.
  fec(7);
  loop_->runUntilIdle();
  EXPECT_EQ(nhgSm_->nexthopGroupSm(7)->refCnt(), 2u);
  watched_->groupDel("blue");
  loop_->runUntilIdle();
  ASSERT_TRUE(entry(7));
  EXPECT_EQ(entry(7)->pbr(), 0u);
  fwd_->fecDel(groupFec(7));
  loop_->runUntilIdle();
  EXPECT_FALSE(entry(7));
  EXPECT_FALSE(nhgSm_->nexthopGroupSm(7));
  EXPECT_EQ(chip_->adj().nhgTable().size(), 0u);
}

// A restart over the kept chip finds the group adjacencies it left and
// rewrites nothing that was right.
TEST_F(NexthopGroupTest, RestartOverTheKeptChipRewritesNothing) {
  group("blue", 7, {member("10.0.0.1"), member("10.0.0.2")});
  group("green", 8, {member("10.0.0.3")});
  fec(7);
  fec(8);
  loop_->runUntilIdle();
  ASSERT_EQ(chip_->adj().nhgTable().size(), 2u);
  stopAdj();
  for (auto const& f : {groupFec(7), groupFec(8)}) vrf_->adjEntryListDel(f);
  auto& h = chip_->adj().softAdjSmHelper();
  uint64_t creates = h.opCount("createAdj"), updates = h.opCount("updateAdj"), deletes = h.opCount("deleteAdj");
  startAdj();
  loop_->runUntilIdle();
  EXPECT_EQ(chipMembers(7).size(), 2u);
  EXPECT_EQ(chipMembers(8).size(), 1u);
  EXPECT_EQ(h.opCount("createAdj"), creates);
  EXPECT_EQ(h.opCount("updateAdj"), updates);
  EXPECT_EQ(h.opCount("deleteAdj"), deletes);
}

}  // namespace

