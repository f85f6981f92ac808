// A restart of the agent over a chip that keeps its L2 adjacencies: the new
// run claims back what is already right through syncAdj and writes nothing
// else for it; what changed across the restart is made before the old entry
// is broken, and nothing the new run does not use stays in the chip.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "AgentChipFixture.h"
#include "softchip/adj/SoftAdjSmHelper.h"

namespace {

class RestartAdjTest : public KorTest::AgentChipFixture {
 protected:
  void SetUp() override {
    AgentChipFixture::SetUp();
    run(R"(routing default on
vrf add red
intf add Vlan10 vlan 10
intf add Ethernet5 routed vlan 1006 vrf red
arp add default 10.1.0.2 00:1c:73:00:00:02 Vlan10
arp add default 10.1.0.3 00:1c:73:00:00:03 Vlan10
arp add default 2001:db8::2 00:1c:73:00:00:06 Vlan10
arp add red 10.5.0.2 00:1c:73:00:00:05 Ethernet5
mac add 10 00:1c:73:00:00:02 Ethernet1
fec add 1 via 10.1.0.2 Vlan10
fec add 2 via 10.1.0.2 Vlan10 via 10.1.0.3 Vlan10
fec add 3 via 2001:db8::2 Vlan10
fec add 4 vrf red via 10.5.0.2 Ethernet5
init
run until idle
)");
    ASSERT_EQ(table().size(), 4u);
  }

  L2AdjTable& table() { return l2adj(); }
  uint64_t writes() { return l2AdjWrites(); }
};

TEST_F(RestartAdjTest, UnchangedAdjacenciesAreClaimedBackWithoutWrites) {
  auto before = table().entries();
  auto c0 = table().counters();
  run("restart\nrun until idle\n");
  auto const& c = table().counters();
  EXPECT_EQ(c.syncs - c0.syncs, 4u);
  EXPECT_EQ(c.creates, c0.creates);
  EXPECT_EQ(c.updates, c0.updates);
  EXPECT_EQ(c.deletes, c0.deletes);
  EXPECT_EQ(table().entries(), before);
  // The new run programs on from where the old one left: no index is reused.
  run("fec add 5 via 10.1.0.3 Vlan10\nrun until idle\n");
  EXPECT_EQ(table().size(), 5u);
  EXPECT_EQ(table().counters().creates, c0.creates + 1);
}

// After a restart the library cannot tell which chip entry a changed FEC used
// to have: chip entries are claimed by equal data, and the old data of FEC 2
// matches no FEC any more. So the changed FEC is made before it is broken: one
// create for its new data, and the old entry - unclaimed, like that of the
// deleted FEC 3 - is deleted only once every FEC has been reviewed (end of
// sync), when traffic already has its replacement. Unchanged adjacencies are
// claimed through syncAdj with no write at all.
TEST_F(RestartAdjTest, AFecChangedAcrossTheRestartIsMadeBeforeItsOldEntryIsBroken) {
  auto c0 = table().counters();
  uint64_t old2 = l2AdjIndex(2), old3 = l2AdjIndex(3), kept1 = l2AdjIndex(1), kept4 = 0;
  for (auto const& [index, coll] : table().entries())
    if (index != old2 && index != old3 && index != kept1) kept4 = index;
  ASSERT_TRUE(old2 && old3 && kept1 && kept4);
  auto& helper = agent_->chip()->adj().softAdjSmHelper();
  helper.callsDelAll();
  run("restart\nfec update 2 via 10.1.0.2 Vlan10 via 10.1.0.9 Vlan10\nfec del 3\nrun until idle\n");
  auto const& c = table().counters();
  EXPECT_EQ(c.syncs - c0.syncs, 2u);  // FECs 1 and 4
  EXPECT_EQ(c.creates - c0.creates, 1u);
  EXPECT_EQ(c.updates - c0.updates, 0u);
  EXPECT_EQ(c.deletes - c0.deletes, 2u);
  uint64_t new2 = l2AdjIndex(2);
  ASSERT_NE(new2, 0u);
  EXPECT_NE(new2, old2);
  EXPECT_EQ(l2AdjIndex(1), kept1);
  std::vector<std::string> expected = {"syncAdj " + std::to_string(kept1), "syncAdj " + std::to_string(kept4),
                                       "createAdj " + std::to_string(new2)};
  std::vector<std::string> calls = helper.calls();
  ASSERT_EQ(calls.size(), 5u) << ::testing::PrintToString(calls);
  // Every claim and the replacement come first, in whatever order the FECs
  // were reviewed; the two unclaimed entries go last.
  std::vector<std::string> head(calls.begin(), calls.begin() + 3), tail(calls.begin() + 3, calls.end());
  std::sort(head.begin(), head.end());
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(head, expected);
  std::sort(tail.begin(), tail.end());
  std::vector<std::string> deletes = {"deleteAdj " + std::to_string(old2), "deleteAdj " + std::to_string(old3)};
  std::sort(deletes.begin(), deletes.end());
  EXPECT_EQ(tail, deletes);
  EXPECT_EQ(table().size(), 3u);
  EXPECT_TRUE(table().has(new2) && table().has(kept1) && table().has(kept4));
}

// The library ends its own sync: whoever runs its loop - here the loop's own
// runFor, never the agent's - an L2 adjacency the chip kept from the earlier
// run and that no FEC claims on the new one leaves the chip once every FEC
// has been reviewed, while what is claimed stays untouched.
using RestartAdjOwnLoopTest = KorTest::AgentChipFixture;
TEST_F(RestartAdjOwnLoopTest, AnUnclaimedL2AdjacencyLeavesTheChipOnTheLibrarysOwnEvents) {
  // No `run` statement: the scenario only writes inputs and starts the library.
  run(R"(routing default on
intf add Vlan10 vlan 10
arp add default 10.1.0.2 00:1c:73:00:00:02 Vlan10
arp add default 10.1.0.3 00:1c:73:00:00:03 Vlan10
mac add 10 00:1c:73:00:00:02 Ethernet1
mac add 10 00:1c:73:00:00:03 Ethernet1
fec add 1 via 10.1.0.2 Vlan10
fec add 2 via 10.1.0.3 Vlan10
init
)");
  auto& table = l2adj();
  auto& agent = *agent_;
  agent.loop()->runFor(5.0);
  ASSERT_EQ(table.size(), 2u);
  auto before = table.entries();
  auto c0 = table.counters();

  // FEC 2 goes while the library is down: nothing claims its L2 adjacency.
  agent.restart([&] { agent.module<KorAgent::FibModule>().fecDel(2); });
  agent.loop()->runFor(5.0);
  auto const c = table.counters();
  EXPECT_EQ(table.size(), 1u);
  EXPECT_EQ(c.deletes - c0.deletes, 1u);
  EXPECT_EQ(c.creates, c0.creates);
  EXPECT_EQ(c.updates, c0.updates);
  for (auto const& [index, coll] : table.entries()) EXPECT_EQ(before.at(index), coll);

  // A second restart finds nothing left to delete.
  agent.restart();
  agent.loop()->runFor(5.0);
  EXPECT_EQ(table.size(), 1u);
  EXPECT_EQ(table.counters().deletes, c.deletes);
}

}  // namespace
