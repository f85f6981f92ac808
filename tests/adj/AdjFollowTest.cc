// Adjacencies follow what their L2 adjacencies are built from: the next-hop
// lists of their next hops, the links of their via interfaces and layer-2
// egress ports, port-channel membership, interface VLANs, and a FEC id moving
// between the IP versions' FEC tables. The adjacency machine runs over the
// software chip on a manual clock.
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "AdjChipFixture.h"

namespace {

using namespace Kor;
using Nollo::IntfId;
using Nollo::IpAddr4;
using Nollo::IpAddr6;
using Quill::Fib::FecId;
using Quill::Fib::FecType;

AdjForReviewInfo queued(AdjSm::ReviewQueue const& q, uint64_t i) {
  AdjForReviewInfo out(0, AdjUpdateType::regularAdjUpdate);
  q.forEach([&](FecId const& f, AdjForReviewInfo const& info) {
    if (f == FecId::make(Quill::Fib::nexthopAdj(), i)) out = info;
  });
  return out;
}

class AdjFollowTest : public KorTest::AdjChipFixture {
 protected:
  void SetUp() override {
    AdjChipFixture::SetUp();
    for (auto i : {IntfId::vlan(20), IntfId::ethernet(1), IntfId::ethernet(2), IntfId::ethernet(3),
                   IntfId::ethernet(4)})
      link(i, true);
    intfVlan_->vlanIdIs(IntfId::vlan(20), 20);
    vrfIs("red", 1);
    startAdj();
  }

  // The FEC's programmed paths: next hop -> "type egress" (or "drop").
  std::map<std::string, std::string> paths(uint64_t i) const {
    std::map<std::string, std::string> out;
    auto e = vrf_->adjEntryList(fecId(i));
    if (!e || !e->l2Adj()) return out;
    for (auto const& [nh, info] : e->l2Adj()->via().nextHop()) {
      std::ostringstream os;
      os << info.type() << " " << info.intfId();
      out[info.type() == NextHopEntryType::nextHopDrop ? "drop" : nh.str()] = os.str();
    }
    return out;
  }

  IpAddr4 const a_ = IpAddr4(0x0a000102u), b_ = IpAddr4(0x0a000103u), c_ = IpAddr4(0x0a000104u);
};

// A next-hop list change is queued, not reviewed in the notification; every
// adjacency over that next hop is reviewed once per pass, whatever number of
// its next hops changed, and adjacencies over other next hops not at all.
TEST_F(AdjFollowTest, NextHopListChangesQueueOneRegularReviewPerFec) {
  fec(1, {{a_, IntfId::vlan(10)}, {b_, IntfId::vlan(10)}});
  fec(2, {{a_, IntfId::vlan(10)}});
  fec(3, {{c_, IntfId::vlan(10)}});
  fec6(4, IpAddr6("2001:db8::2"), IntfId::vlan(10));
  loop_->runUntilIdle();
  EXPECT_EQ(paths(1).at(a_.str()), "nextHopArpRequired Vlan10");
  uint64_t r1 = reviewCnt(1), r2 = reviewCnt(2), r3 = reviewCnt(3);

  resolve(a_, IntfId::ethernet(1));
  resolve(b_, IntfId::ethernet(2));
  EXPECT_EQ(sm_->adjForReview().size(), 2u);
  EXPECT_EQ(reviewCnt(1), r1);
  loop_->runUntilIdle();
  EXPECT_EQ(reviewCnt(1), r1 + 1);
  EXPECT_EQ(reviewCnt(2), r2 + 1);
  EXPECT_EQ(reviewCnt(3), r3);
  EXPECT_EQ(paths(1).at(a_.str()), "nextHopArpResolved Ethernet1");
  EXPECT_EQ(paths(1).at(b_.str()), "nextHopArpResolved Ethernet2");

  // A MAC move; then the entry goes.
  resolve(a_, IntfId::ethernet(3));
  loop_->runUntilIdle();
  EXPECT_EQ(paths(2).at(a_.str()), "nextHopArpResolved Ethernet3");
  vrf_->nextHopListDel(a_);
  loop_->runUntilIdle();
  EXPECT_EQ(paths(2).at(a_.str()), "nextHopArpRequired Vlan10");

  resolve(IpAddr6("2001:db8::2"), IntfId::ethernet(4));
  EXPECT_EQ(queued(sm_->adjForReview(), 4).ipVersion(), 6);
  loop_->runUntilIdle();
  EXPECT_EQ(paths(4).at("2001:db8::2"), "nextHopArpResolved Ethernet4");
}

// A next-hop change leaves a queued link-down review where it is (link-down
// reviews run first).
TEST_F(AdjFollowTest, NextHopChangeKeepsAQueuedLinkDownReview) {
  fec(1, {{a_, IntfId::vlan(10)}});
  loop_->runUntilIdle();
  link(IntfId::vlan(10), false);
  EXPECT_TRUE(sm_->linkDownAdjForReview().contains(fecId(1)));
  resolve(a_, IntfId::ethernet(1));
  intfVlan_->vlanIdIs(IntfId::vlan(10), 10);  // unchanged: nothing
  EXPECT_TRUE(sm_->linkDownAdjForReview().contains(fecId(1)));
  EXPECT_FALSE(sm_->adjForReview().contains(fecId(1)));
  loop_->runUntilIdle();
  EXPECT_EQ(paths(1).size(), 1u);
  EXPECT_EQ(paths(1).count("drop"), 1u);
  link(IntfId::vlan(10), true);
  EXPECT_TRUE(sm_->adjForReview().contains(fecId(1)));
  loop_->runUntilIdle();
  EXPECT_EQ(paths(1).at(a_.str()), "nextHopArpResolved Ethernet1");
}

// A down layer-2 egress leaves its path out; a port channel is down only
// when all its members are; membership changes review its adjacencies.
TEST_F(AdjFollowTest, LayerTwoEgressLinksAndPortChannelMembers) {
  fec(1, {{a_, IntfId::vlan(10)}, {b_, IntfId::vlan(10)}});
  fec(2, {{b_, IntfId::vlan(10)}});
  resolve(a_, IntfId::ethernet(1));
  resolve(b_, IntfId::portChannel(1));
  acsd_->lagToPortIs(IntfId::portChannel(1), KorPortList({IntfId::ethernet(3), IntfId::ethernet(4)}));
  acsd_->portToLagIs(IntfId::ethernet(3), IntfId::portChannel(1));
  acsd_->portToLagIs(IntfId::ethernet(4), IntfId::portChannel(1));
  loop_->runUntilIdle();
  EXPECT_EQ(paths(1).size(), 2u);

  link(IntfId::ethernet(1), false);
  EXPECT_EQ(sm_->linkDownAdjForReview().size(), 1u);  // FEC 1 only
  loop_->runUntilIdle();
  EXPECT_EQ(paths(1), (std::map<std::string, std::string>{{b_.str(), "nextHopArpResolved Port-Channel1"}}));
  link(IntfId::ethernet(1), true);
  loop_->runUntilIdle();
  EXPECT_EQ(paths(1).size(), 2u);

  link(IntfId::ethernet(3), false);
  loop_->runUntilIdle();
  EXPECT_EQ(paths(2).count(b_.str()), 1u);
  link(IntfId::ethernet(4), false);
  EXPECT_TRUE(sm_->linkDownAdjForReview().contains(fecId(2)));
  loop_->runUntilIdle();
  EXPECT_EQ(paths(2).count("drop"), 1u);
  EXPECT_EQ(paths(1).count(b_.str()), 0u);
  // Ethernet1 (up) joins the port channel: it forwards again.
  acsd_->lagToPortIs(IntfId::portChannel(1),
                     KorPortList({IntfId::ethernet(1), IntfId::ethernet(3), IntfId::ethernet(4)}));
  acsd_->portToLagIs(IntfId::ethernet(1), IntfId::portChannel(1));
  EXPECT_TRUE(sm_->adjForReview().contains(fecId(2)));
  loop_->runUntilIdle();
  EXPECT_EQ(paths(2).at(b_.str()), "nextHopArpResolved Port-Channel1");
}

// Only this VRF's adjacencies are queued for an interface shared with another
// VRF; a VLAN change of a via interface is a regular review.
TEST_F(AdjFollowTest, InterfaceEventsStayInTheirVrf) {
  fec(1, {{a_, IntfId::vlan(10)}});
  loop_->runUntilIdle();
  auto other = Vix::makePtr<AdjEntry>(fecId(9));
  other->vrfIdIs(VrfId(1));
  l3Status_->vrfL3Status(VrfName("red"))->adjEntryListIs(fecId(9), other);
  l3Status_->intfToAdjEntry(IntfId::vlan(10))->adjEntryIs(other, true);
  intfVlan_->vlanIdIs(IntfId::vlan(10), 11);
  EXPECT_EQ(sm_->adjForReview().size(), 1u);
  EXPECT_EQ(queued(sm_->adjForReview(), 1).adjUpdateType(), AdjUpdateType::regularAdjUpdate);
  link(IntfId::vlan(10), false);
  EXPECT_EQ(sm_->linkDownAdjForReview().size(), 1u);
  EXPECT_TRUE(sm_->adjForReview().empty());
}

// A FEC id deleted in one version's table and added in the other before its
// review: the old adjacency goes (unused) or sheds its vias (used), the new
// one is built, and no next-hop mapping of the old version is left.
TEST_F(AdjFollowTest, AFecIdChangingIpVersionIsRebuilt) {
  fec(1, {{a_, IntfId::vlan(10)}});
  fec(2, {{b_, IntfId::vlan(10)}});
  loop_->runUntilIdle();
  sm_->addPrefixToAdjEntry(fecId(2).value(), Nollo::IpPrefix("10.9.0.0/16"));
  for (uint64_t i : {1, 2}) {
    fwd_->fecDel(fecId(i));
    fec6(i, IpAddr6("2001:db8::" + std::to_string(i)), IntfId::vlan(10));
  }
  loop_->runUntilIdle();
  for (uint64_t i : {1, 2}) {
    auto e = vrf_->adjEntryList(fecId(i));
    ASSERT_TRUE(e);
    EXPECT_EQ(e->ipVersion(), 6);
    EXPECT_FALSE(e->adjVia());
    EXPECT_EQ(paths(i).count("2001:db8::" + std::to_string(i)), 1u);
  }
  EXPECT_EQ(vrf_->adjEntryList(fecId(2))->prefixs(), 1u);
  EXPECT_FALSE(vrf_->nextHopToAdjEntryHas(a_));
  EXPECT_FALSE(vrf_->nextHopToAdjEntryHas(b_));

  // Back to IPv4; a stale IPv6 review of the id does not remove it.
  fwd6_->fecDel(fecId(1));
  fec(1, {{c_, IntfId::vlan(10)}});
  sm_->reviewAdj6(fecId(1), fecId(1).value(), AdjUpdateType::regularAdjUpdate);
  loop_->runUntilIdle();
  auto e = vrf_->adjEntryList(fecId(1));
  ASSERT_TRUE(e);
  EXPECT_EQ(e->ipVersion(), 4);
  EXPECT_EQ(paths(1).count(c_.str()), 1u);
  EXPECT_FALSE(vrf_->nextHopToAdj6EntryHas(IpAddr6("2001:db8::1")));
}

}  // namespace
