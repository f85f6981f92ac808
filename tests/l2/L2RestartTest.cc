// A restart over the kept chip: the new library life claims the chip's
// VLAN, port-VLAN and LAG rows back, writes only what changed while it was
// down, and removes what nobody claims at the end of its first pass. Every
// table's write counters (creates, updates, deletes and syncs) prove it.
#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>

#include "agent/Agent.h"
#include "agent/ScenarioRunner.h"
#include "agent/lag/LagModule.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/common/VerifySm.h"
#include "agent/vlan/VlanModule.h"
#include "softchip/SoftChip.h"
#include "softchip/l2/SoftVlanHelper.h"
#include "vix/ManualTimeSource.h"

namespace KorTest {

namespace {
using Counters = SoftChip::ChipTableBase::WriteCounters;

// What changed in a table's counters.
Counters since(Counters const& now, Counters const& before) {
  return {now.creates - before.creates, now.updates - before.updates, now.deletes - before.deletes,
          now.syncs - before.syncs};
}
}  // namespace

class L2RestartTest : public ::testing::Test {
 protected:
  L2RestartTest() : agent_(Vix::makePtr<Vix::ManualTimeSource>(0.0)) {
    run("intf add Ethernet1\nintf add Ethernet2\nintf add Ethernet3\nintf add Ethernet4\n"
        "vlan add 10,20,30\n"
        "switchport Ethernet1 mode trunk\nswitchport Ethernet1 trunk allowed vlan 10,20,30\n"
        "switchport Ethernet1 trunk native vlan 10\n"
        "switchport Ethernet2 access vlan 20\n"
        "lag add Port-Channel1 Ethernet3 Ethernet4\n"
        "switchport Port-Channel1 mode trunk\nswitchport Port-Channel1 trunk allowed vlan 20,30\n"
        "vlan recirc 30 Ethernet2 on\n"
        "init\nrun until idle\n");
    before_ = chipText();
    for (auto const* t : tables()) counters_[t->name()] = t->counters();
  }

  std::string run(std::string const& text) {
    std::ostringstream out;
    KorAgent::ScenarioRunner r(&agent_, &out);
    EXPECT_EQ(r.runText(text), 0u) << out.str();
    return out.str();
  }
  std::vector<SoftChip::ChipTableBase const*> tables() {
    auto& c = *agent_.chip();
    return {&c.vlan().vlanTable(), &c.vlan().portVlanTable(), &c.lag().lagTable()};
  }
  // Every row of the three tables as text.
  std::map<std::string, std::string> chipText() {
    std::map<std::string, std::string> out;
    for (auto const* t : tables())
      for (auto const& [k, v] : t->entryTexts()) out[t->name() + " " + k] = v;
    return out;
  }
  Counters writes(std::string const& table) {
    for (auto const* t : tables())
      if (t->name() == table) return since(t->counters(), counters_[table]);
    return {};
  }
  void restartWith(std::function<void()> const& whileDown) {
    agent_.restart(whileDown);
    ASSERT_TRUE(agent_.runUntilIdle());
  }
  // The rows that differ from those before the restart: key -> new text
  // ("" when the row went).
  std::map<std::string, std::string> changedRows() {
    auto now = chipText();
    std::map<std::string, std::string> out;
    for (auto const& [k, v] : before_)
      if (!now.count(k) || now[k] != v) out[k] = now.count(k) ? now[k] : "";
    for (auto const& [k, v] : now)
      if (!before_.count(k)) out[k] = v;
    return out;
  }
  std::vector<std::string> verifyFaults() {
    std::vector<std::string> out;
    for (auto const& f : agent_.commonData()->verifySm()->doVerify()) out.push_back(f.description());
    return out;
  }

  KorAgent::Agent agent_;
  std::map<std::string, std::string> before_;
  std::map<std::string, Counters> counters_;
};

TEST_F(L2RestartTest, NothingChangedMeansNoWriteAtAllAndTheLibraryKnowsWhatTheChipHolds) {
  ASSERT_EQ(before_.count("vlan 20"), 1u);
  restartWith({});
  for (char const* t : {"vlan", "portvlan", "lag"}) {
    auto w = writes(t);
    EXPECT_EQ(w.changes() + w.syncs, 0u) << t << ": " << w.creates << " creates, " << w.updates << " updates, "
                                         << w.deletes << " deletes, " << w.syncs << " syncs";
  }
  EXPECT_TRUE(changedRows().empty());
  auto* vh = agent_.module<KorAgent::VlanModule>().vlanHelper();
  EXPECT_TRUE(vh->unclaimedVlan().empty());
  EXPECT_TRUE(vh->portVlanMembership(Nollo::IntfId("Ethernet2"))->untaggedVlanHas(Kor::VlanId(20)));
  EXPECT_TRUE(vh->portVlanMembership(Nollo::IntfId("Ethernet1"))->taggedVlanHas(Kor::VlanId(30)));
  EXPECT_TRUE(verifyFaults().empty());
  // The claimed state is live: a change after the restart is programmed.
  run("switchport Ethernet2 access vlan 10\nrun until idle\n");
  EXPECT_EQ(agent_.chip()->vlan().vlanTable().find(Kor::VlanId(20))->members.count(Nollo::IntfId("Ethernet2")), 0u);
  EXPECT_EQ(agent_.chip()->vlan().vlanTable().find(Kor::VlanId(10))->members.count(Nollo::IntfId("Ethernet2")), 1u);
}

TEST_F(L2RestartTest, AVlanRemovedWhileDownIsTheOnlyRowRemoved) {
  restartWith([&] { agent_.module<KorAgent::VlanModule>().vlanDel(Kor::VlanId(30)); });
  EXPECT_EQ(changedRows(), (std::map<std::string, std::string>{{"vlan 30", ""}}));
  auto w = writes("vlan");
  EXPECT_EQ(w.deletes, 1u);
  EXPECT_EQ(w.creates + w.updates + w.syncs, 0u);
  EXPECT_EQ(writes("portvlan").changes() + writes("portvlan").syncs, 0u);
  auto* vh = agent_.module<KorAgent::VlanModule>().vlanHelper();
  EXPECT_FALSE(vh->vlanCache(Kor::VlanId(30)));
  EXPECT_FALSE(vh->portVlanMembership(Nollo::IntfId("Ethernet1"))->taggedVlanHas(Kor::VlanId(30)));
  EXPECT_TRUE(verifyFaults().empty());
}

TEST_F(L2RestartTest, APortUnconfiguredWhileDownLeavesItsVlanAndItsPortRowOnly) {
  // Ethernet2 stays in VLAN 30 for the recirculation feature.
  restartWith([&] { agent_.module<KorAgent::VlanModule>().switchportDel(Nollo::IntfId("Ethernet2")); });
  auto changed = changedRows();
  ASSERT_EQ(changed.size(), 2u) << testing::PrintToString(changed);
  EXPECT_EQ(changed.count("portvlan Ethernet2"), 1u);
  EXPECT_EQ(changed["portvlan Ethernet2"], "");
  ASSERT_EQ(changed.count("vlan 20"), 1u);
  EXPECT_EQ(changed["vlan 20"].find("Ethernet2"), std::string::npos);
  EXPECT_EQ(writes("vlan").updates, 1u);
  EXPECT_EQ(writes("vlan").creates + writes("vlan").deletes + writes("vlan").syncs, 0u);
  EXPECT_EQ(writes("portvlan").deletes, 1u);
  EXPECT_TRUE(verifyFaults().empty());
}

TEST_F(L2RestartTest, ALagRemovedWhileDownIsTheOnlyLagRemovedAndItsMembersLeaveTheirVlans) {
  restartWith([&] {
    agent_.module<KorAgent::LagModule>().lagDel(Nollo::IntfId("Port-Channel1"),
                                                {Nollo::IntfId("Ethernet3"), Nollo::IntfId("Ethernet4")});
  });
  auto changed = changedRows();
  EXPECT_EQ(changed.count("lag Port-Channel1"), 1u);
  EXPECT_EQ(changed["lag Port-Channel1"], "");
  EXPECT_EQ(writes("lag").deletes, 1u);
  EXPECT_EQ(writes("lag").creates + writes("lag").updates + writes("lag").syncs, 0u);
  // The members have no configuration of their own: out of VLANs 20 and 30.
  for (uint16_t v : {20, 30}) {
    auto const* row = agent_.chip()->vlan().vlanTable().find(Kor::VlanId(v));
    ASSERT_TRUE(row);
    EXPECT_EQ(row->members.count(Nollo::IntfId("Ethernet3")) + row->members.count(Nollo::IntfId("Ethernet4")), 0u);
  }
  EXPECT_EQ(writes("vlan").updates, 2u);
  EXPECT_EQ(changed.count("vlan 10"), 0u);
  EXPECT_TRUE(verifyFaults().empty());
}

TEST_F(L2RestartTest, SpanningTreeStatesAndTopologiesHeldAsConfiguredAreNotRewritten) {
  run("stp topology add mst1 vlan 20,30\nstp port Ethernet1 topology mst1 state forwarding\n"
      "stp port Ethernet2 topology mst1 state discarding\nrun until idle\n");
  auto& stp = agent_.chip()->stp();
  ASSERT_EQ(stp.stpStateTable().size(), 2u);
  auto states = stp.stpStateTable().counters();
  auto topos = stp.topoTable().counters();
  restartWith({});
  auto s = since(stp.stpStateTable().counters(), states);
  auto t = since(stp.topoTable().counters(), topos);
  EXPECT_EQ(s.changes() + s.syncs, 0u) << s.syncs << " syncs";
  EXPECT_EQ(t.changes() + t.syncs, 0u) << t.syncs << " syncs";
  EXPECT_EQ(stp.stpStateTable().size(), 2u);
}

}  // namespace KorTest
