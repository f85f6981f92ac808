// A VRF's machines as they really go: destroyed (not only let go by their
// root) in the root's deletion order, whatever they hold of each other.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "tests/l3/VrfRootFixture.h"

namespace KorTest {

namespace {

class VrfTeardownTest : public VrfRootFixture {
 protected:
  // Names the seven machines of VRF `vrf` and records their destruction.
  void watchDestruction(std::string const& vrf) {
    auto r = root(vrf);
    ASSERT_TRUE(r);
    names_ = {{r->korRoutingStatusSm().ptr(), "routingStatus"},
              {r->korAdjSm().ptr(), "adj"},
              {r->korNexthopGroupRouteSm().ptr(), "nexthopGroup"},
              {r->korRouteSm().ptr(), "route"},
              {r->korArpSm().ptr(), "arp"},
              {r->korIp6NeighSm().ptr(), "neigh"},
              {r->korRoute6Sm().ptr(), "route6"}};
    acsd_->smDestroyedHandlerIs([this](Kor::KorBaseSm const* sm) {
      // Each named machine once: a later machine may reuse its address.
      if (auto it = names_.find(sm); it != names_.end()) {
        destroyed_.push_back(it->second);
        names_.erase(it);
      }
    });
  }
  void TearDown() override {
    acsd_->smDestroyedHandlerIs(nullptr);
    VrfRootFixture::TearDown();
  }

  std::vector<std::string> const kOrder{"routingStatus", "adj", "nexthopGroup", "route", "arp", "neigh", "route6"};
  std::map<Kor::KorBaseSm const*, std::string> names_;
  std::vector<std::string> destroyed_;
};

}  // namespace

TEST_F(VrfTeardownTest, MachinesAreDestroyedInTheRootsOrder) {
  announce("a");
  start();
  watchDestruction("a");
  // A withdrawn VRF, and the whole root going (agent stop).
  withdraw("a");
  EXPECT_EQ(destroyed_, kOrder);
  EXPECT_FALSE(root("a"));

  destroyed_.clear();
  watchDestruction("default");
  sm_ = nullptr;
  EXPECT_EQ(destroyed_, kOrder);
}

TEST_F(VrfTeardownTest, ReplacedVrfGoesInOrderBeforeItsSuccessorStarts) {
  announce("a");
  start();
  watchDestruction("a");
  // New routing info entities: deleted and created again (once per
  // directory).
  announce("a");
  EXPECT_EQ(destroyed_, kOrder);
  ASSERT_TRUE(root("a"));
  EXPECT_TRUE(root("a")->korAdjSm());
}

}  // namespace KorTest
