// Resolution requests through the VRF root: served by the VRF's neighbour
// machine once the VRF has an ARP table, kept in "arpDefReqList" /
// "neighDefReqList" until then, and dropped with a withdrawn VRF.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/l3/VrfRootFixture.h"

namespace KorTest {

namespace {

using Nollo::IpGenAddr;

class VrfDeferredRequestTest : public VrfRootFixture {
 protected:
  void SetUp() override {
    VrfRootFixture::SetUp();
    announce("a");
    announce("b");
    start();
    sm_->resolutionRequestHandlerIs(
        [this](uint32_t id, IpGenAddr const& a) { served_.emplace_back(id, a.str()); });
  }
  void request(std::string const& vrf, char const* addr) {
    sm_->doRequestResolution(Kor::VrfName(vrf), IpGenAddr(addr));
  }
  // The deferred requests of both lists, as "vrf addr".
  std::set<std::string> deferred() const {
    std::set<std::string> out;
    for (auto const& [r, w] : sm_->arpDef()->requestMap()) out.insert(r.vrfName.str() + " " + r.addr.str());
    for (auto const& [r, w] : sm_->neighDef()->requestMap()) out.insert(r.vrfName.str() + " " + r.addr.str());
    return out;
  }
  std::set<std::string> asked(std::string const& vrf) const {
    std::set<std::string> out;
    auto r = root(vrf);
    for (auto const& a : r->korArpSm()->resolutionRequests()) out.insert(a.str());
    for (auto const& a : r->korIp6NeighSm()->resolutionRequests()) out.insert(a.str());
    return out;
  }

  std::vector<std::pair<uint32_t, std::string>> served_;
};

}  // namespace

TEST_F(VrfDeferredRequestTest, WaitForTheArpTableThenDrainPerVrf) {
  // No ARP-table id yet: both families wait, the same address once per VRF.
  request("a", "10.0.0.1");
  request("a", "10.0.0.1");
  request("a", "2001:db8::1");
  request("b", "10.0.0.1");
  EXPECT_EQ(deferred(), (std::set<std::string>{"a 10.0.0.1", "a 2001:db8::1", "b 10.0.0.1"}));
  EXPECT_TRUE(asked("a").empty());
  EXPECT_TRUE(served_.empty());

  // The ARP agent names VRF a: its requests drain, b's stay.
  arpVrfIdMap_->vrfNameIs(7, "a");
  EXPECT_EQ(deferred(), (std::set<std::string>{"b 10.0.0.1"}));
  EXPECT_EQ(asked("a"), (std::set<std::string>{"10.0.0.1", "2001:db8::1"}));
  EXPECT_EQ(served_, (std::vector<std::pair<uint32_t, std::string>>{{7, "10.0.0.1"}, {7, "2001:db8::1"}}));

  // Served at once from now on; asking again changes nothing.
  request("a", "10.0.0.2");
  request("a", "10.0.0.1");
  EXPECT_EQ(served_.size(), 3u);
  EXPECT_EQ(asked("a").count("10.0.0.2"), 1u);

  // The table has 10.0.0.1 resolved: that request is done.
  arpTable_->arpEntryIs(Quill::Arp::ArpKeyT<Nollo::Ipv4>(7, Nollo::IpAddr4("10.0.0.1"), Nollo::IntfId::ethernet(1)),
                        Quill::Arp::ArpEntry(Nollo::EthAddr::fromUint64(0x1c7300000001ull), Quill::Arp::ArpState::reachable));
  EXPECT_EQ(asked("a"), (std::set<std::string>{"10.0.0.2", "2001:db8::1"}));

  // The VRF loses its ARP table: what its machines were asked waits again,
  // and is asked of the next table.
  arpVrfIdMap_->vrfNameDel(7);
  EXPECT_TRUE(asked("a").empty());
  EXPECT_EQ(deferred(), (std::set<std::string>{"a 10.0.0.2", "a 2001:db8::1", "b 10.0.0.1"}));
  arpVrfIdMap_->vrfNameIs(9, "a");
  EXPECT_EQ(deferred(), (std::set<std::string>{"b 10.0.0.1"}));
  EXPECT_EQ(served_.back().first, 9u);
}

TEST_F(VrfDeferredRequestTest, WithdrawnOrUnknownVrfKeepsNothing) {
  request("a", "10.0.0.1");
  request("b", "2001:db8::2");
  // Never announced: ignored.
  request("zz", "10.0.0.3");
  EXPECT_EQ(deferred(), (std::set<std::string>{"a 10.0.0.1", "b 2001:db8::2"}));

  // VRF b is deleted while its request waits: the request goes with it.
  withdraw("b");
  EXPECT_FALSE(root("b"));
  EXPECT_EQ(deferred(), (std::set<std::string>{"a 10.0.0.1"}));
  // Back again with an ARP table: nothing of the old VRF is asked.
  announce("b");
  arpVrfIdMap_->vrfNameIs(8, "b");
  EXPECT_TRUE(asked("b").empty());
  EXPECT_TRUE(served_.empty());
}

TEST_F(VrfDeferredRequestTest, VrfWaitingForAnIdGetsItsRequestsWhenStarted) {
  // Ids 1..3: a and b hold two, c the third; d waits unstarted.
  announce("c");
  announce("d");
  ASSERT_FALSE(root("d"));
  arpVrfIdMap_->vrfNameIs(4, "d");  // the ARP agent knows d already
  request("d", "10.0.0.4");
  EXPECT_EQ(deferred(), (std::set<std::string>{"d 10.0.0.4"}));
  // An id frees: d starts, its ARP machine is populated and takes the request.
  withdraw("c");
  ASSERT_TRUE(root("d"));
  EXPECT_TRUE(deferred().empty());
  EXPECT_EQ(asked("d"), (std::set<std::string>{"10.0.0.4"}));
  EXPECT_EQ(served_, (std::vector<std::pair<uint32_t, std::string>>{{4, "10.0.0.4"}}));
}

}  // namespace KorTest
