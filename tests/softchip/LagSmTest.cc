// The LAG machine over the software chip: the common data's LAG maps follow
// the LAG statuses (managed members only, one LAG per port), a removed LAG
// leaves nothing behind, device names of an earlier run are cleaned up, a
// LAG the chip refuses is a software LAG until room comes back, and the
// chip's choice of member per flow is stable and spread.
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <stdexcept>
#include <string>

#include "kor/common/KorCommonSmData.h"
#include "kor/l2/LagSm.h"
#include "softchip/SoftChip.h"
#include "vix/ActivityLoop.h"
#include "vix/ManualTimeSource.h"
#include "vix/MemoryTraceSink.h"
#include "vix/Trace.h"

namespace {

using Kor::KorPortList;
using Nollo::IntfId;
using SoftChip::ChipAnswer;

IntfId eth(uint32_t n) { return IntfId::ethernet(n); }
IntfId po(uint32_t n) { return IntfId::portChannel(n); }

class LagSmTest : public ::testing::Test {
 protected:
  void SetUp() override { Vix::traceSinkIs(trace_); }
  void TearDown() override {
    sm_ = nullptr;
    acsd_->doCleanup();
    Vix::traceSinkIs(nullptr);
  }

  // A run of the library over the chip and the inputs, which outlive it.
  void start(bool disableCleanupOnRestart = false) {
    acsd_ = Kor::korCommonSmDataFactory("kor", loop_);
    sm_ = Kor::lagSmFactory(acsd_, dir_, names_, chip_->lag().lagHelper(), disableCleanupOnRestart);
    sm_->tf().levelsIs("*");
    sm_->initializedIs(true);
    acsd_->initializedIs(true);
  }
  void stop() {
    sm_ = nullptr;
    acsd_->doCleanup();
  }
  // The LAG's status, published with those members.
  void lag(IntfId lag, std::initializer_list<IntfId> members) {
    auto s = dir_->intfStatus(lag);
    if (!s) {
      auto fresh = Vix::makePtr<Interface::EthLagIntfStatus>(lag);
      fresh->deviceNameIs("po" + std::to_string(lag.number(0)));
      for (auto const& m : members) fresh->memberIs(m, true);
      dir_->intfStatusIs(lag, fresh);
      return;
    }
    std::vector<IntfId> gone;
    for (auto const& [m, on] : s->memberMap())
      if (std::find(members.begin(), members.end(), m) == members.end()) gone.push_back(m);
    for (auto const& m : gone) s->memberDel(m);
    for (auto const& m : members) s->memberIs(m, true);
  }
  // Every port of every LAG maps back to it, and no port maps elsewhere.
  void expectMapsAgree() {
    size_t listed = 0;
    for (auto const& [l, ports] : acsd_->lagToPortMap())
      for (auto const& p : ports) {
        ++listed;
        EXPECT_EQ(acsd_->portToLag(p), l) << p;
      }
    EXPECT_EQ(acsd_->portToLagSize(), listed);
  }
  SoftChip::LagChip& chip() { return chip_->lag(); }
  KorPortList const* chipLag(IntfId l) { return chip().lagTable().find(l); }

  Vix::Ptr<Vix::ActivityLoop> loop_ = Vix::makePtr<Vix::ActivityLoop>(Vix::makePtr<Vix::ManualTimeSource>());
  Vix::Ptr<SoftChip::SoftChip> chip_ = Vix::makePtr<SoftChip::SoftChip>();
  Vix::Ptr<Interface::EthLagIntfStatusDir> dir_ = Vix::makePtr<Interface::EthLagIntfStatusDir>("lagStatus");
  Vix::Ptr<Lag::Input::IntfDeviceNameDir> names_ = Vix::makePtr<Lag::Input::IntfDeviceNameDir>("lagNames");
  Vix::Ptr<Kor::KorCommonSmData> acsd_;
  Vix::Ptr<Kor::LagSm> sm_;
  Vix::Ptr<Vix::MemoryTraceSink> trace_ = Vix::makePtr<Vix::MemoryTraceSink>();
};

TEST_F(LagSmTest, MembersFollowTheStatusAndAPortMovedInOneUpdateIsOnlyUnderItsNewLag) {
  start();
  lag(po(1), {eth(1), eth(2)});
  lag(po(2), {eth(3)});
  EXPECT_EQ(acsd_->lagToPort(po(1)), KorPortList({eth(1), eth(2)}));
  EXPECT_EQ(*chipLag(po(1)), KorPortList({eth(1), eth(2)}));
  EXPECT_EQ(acsd_->lagToLagType(po(1)), Kor::hardwareLag);

  // Port-Channel2's status names Ethernet2 before Port-Channel1's drops it.
  lag(po(2), {eth(2), eth(3)});
  EXPECT_EQ(acsd_->lagToPort(po(1)), KorPortList({eth(1)}));
  EXPECT_EQ(acsd_->lagToPort(po(2)), KorPortList({eth(2), eth(3)}));
  EXPECT_EQ(sm_->localMember(po(1)), KorPortList({eth(1)}));
  EXPECT_EQ(*chipLag(po(1)), KorPortList({eth(1)}));
  EXPECT_EQ(*chipLag(po(2)), KorPortList({eth(2), eth(3)}));
  EXPECT_TRUE(trace_->contains("duplicate lag found"));
  expectMapsAgree();

  // Port-Channel1's own update then changes nothing more.
  lag(po(1), {eth(1)});
  EXPECT_EQ(acsd_->portToLag(eth(2)), po(2));
  expectMapsAgree();
}

TEST_F(LagSmTest, UnmanagedMembersAreNeverListed) {
  chip().softLagHelper().unmanagedIs(eth(9), true);
  start();
  lag(po(1), {eth(1), eth(9)});
  EXPECT_EQ(acsd_->lagToPort(po(1)), KorPortList({eth(1)}));
  EXPECT_FALSE(acsd_->portToLagHas(eth(9)));
  EXPECT_EQ(*chipLag(po(1)), KorPortList({eth(1)}));
  // The chip takes the port over: the LAG is read again.
  chip().softLagHelper().unmanagedIs(eth(9), false);
  sm_->handleIntfManaged(eth(9));
  EXPECT_EQ(acsd_->lagToPort(po(1)), KorPortList({eth(1), eth(9)}));
  expectMapsAgree();
}

TEST_F(LagSmTest, ARemovedLagLeavesNoMapEntryNoDeviceNameAndNoChipLag) {
  start();
  lag(po(1), {eth(1), eth(2)});
  EXPECT_EQ(names_->deviceName(po(1)), "po1");
  dir_->intfStatusDel(po(1));
  EXPECT_EQ(acsd_->lagToPortSize(), 0u);
  EXPECT_EQ(acsd_->portToLagSize(), 0u);
  EXPECT_EQ(acsd_->lagToLagTypeSize(), 0u);
  EXPECT_EQ(chip().lagTable().size(), 0u);
  EXPECT_EQ(names_->deviceNameSize(), 0u);
  EXPECT_TRUE(trace_->contains("Removing deviceName input for Port-Channel1"));
}

TEST_F(LagSmTest, NothingIsReadBeforeStartAndANullStatusIsRefused) {
  acsd_ = Kor::korCommonSmDataFactory("kor", loop_);
  sm_ = Kor::lagSmFactory(acsd_, dir_, names_, chip_->lag().lagHelper());
  lag(po(1), {eth(1)});
  EXPECT_EQ(acsd_->lagToPortSize(), 0u);
  EXPECT_EQ(chip().lagTable().size(), 0u);
  sm_->initializedIs(true);
  EXPECT_EQ(acsd_->lagToPort(po(1)), KorPortList({eth(1)}));
  EXPECT_THROW(
      try { sm_->statusIs(po(2), nullptr); } catch (std::invalid_argument const& e) {
        EXPECT_STREQ(e.what(), "null _status parameter to mutator for Kor::LagSm::status not allowed");
        throw;
      },
      std::invalid_argument);
  EXPECT_EQ(sm_->status(po(2)), nullptr);
  EXPECT_THROW(Kor::lagSmFactory(acsd_, dir_, nullptr, chip_->lag().lagHelper()), std::invalid_argument);
}

TEST_F(LagSmTest, StartUpRemovesStaleDeviceNamesAndChipLagsUnlessCleanupIsDisabled) {
  start();
  lag(po(1), {eth(1)});
  lag(po(2), {eth(2)});
  stop();
  // While no library runs, Port-Channel2 goes.
  dir_->intfStatusDel(po(2));
  start(true);
  EXPECT_TRUE(trace_->contains("Disabling Kor cleanup in case of restart"));
  EXPECT_TRUE(trace_->contains(" clearing stale lagInputIntfDeviceNameDir entry for Port-Channel2"));
  EXPECT_FALSE(names_->deviceNameHas(po(2)));
  EXPECT_EQ(names_->deviceName(po(1)), "po1");
  EXPECT_TRUE(chipLag(po(2)));  // kept for its owner
  stop();
  start();
  EXPECT_FALSE(chipLag(po(2)));
  EXPECT_TRUE(chipLag(po(1)));
}

TEST_F(LagSmTest, ARestartOverAKeptChipRewritesNoLagThatWasRight) {
  start();
  lag(po(1), {eth(1), eth(2), eth(3)});
  lag(po(2), {eth(4)});
  stop();
  auto const before = chip().lagTable().counters();
  start();
  EXPECT_EQ(chip().lagTable().counters().changes(), before.changes());
  EXPECT_EQ(chip().lagTable().counters().syncs, before.syncs) << "a LAG held as wanted is not rewritten";
  EXPECT_EQ(acsd_->lagToPort(po(1)), KorPortList({eth(1), eth(2), eth(3)}));
  EXPECT_EQ(acsd_->lagToLagType(po(2)), Kor::hardwareLag);
}

TEST_F(LagSmTest, ALagTheChipRefusesIsASoftwareLagUntilRoomComesBack) {
  chip().lagTable().capacityIs(1);
  start();
  lag(po(1), {eth(1)});
  lag(po(2), {eth(2), eth(3)});
  EXPECT_FALSE(chipLag(po(2)));
  EXPECT_EQ(acsd_->lagToLagType(po(2)), Kor::softwareLag);
  EXPECT_EQ(acsd_->lagToPort(po(2)), KorPortList({eth(2), eth(3)}));
  // Frames of a software LAG still leave by one of its members.
  EXPECT_TRUE(chip().memberFor(po(2), 7).has_value());
  EXPECT_EQ(chip().chipId(po(2)), 0u);
  // Its members change while it waits; the retry writes the latest.
  lag(po(2), {eth(2)});
  dir_->intfStatusDel(po(1));
  ASSERT_TRUE(chipLag(po(2)));
  EXPECT_EQ(*chipLag(po(2)), KorPortList({eth(2)}));
  EXPECT_EQ(acsd_->lagToLagType(po(2)), Kor::hardwareLag);
  EXPECT_EQ(chip().chipId(po(2)), 2u);

  // A failing chip (with room): retried when the fault goes.
  chip().lagTable().capacityIs(SoftChip::ChipTableBase::kUnlimited);
  chip_->injector().kindFaultIs("lag", ChipAnswer::fail);
  lag(po(3), {eth(5)});
  EXPECT_EQ(acsd_->lagToLagType(po(3)), Kor::softwareLag);
  chip_->injector().faultsDelAll();
  chip().softLagHelper().recheckRefused();
  ASSERT_TRUE(chipLag(po(3)));
  EXPECT_EQ(*chipLag(po(3)), KorPortList({eth(5)}));
  EXPECT_EQ(acsd_->lagToLagType(po(3)), Kor::hardwareLag);
}

TEST_F(LagSmTest, ARefusedLagIsRetriedOnItsOwnWhenRoomComesBack) {
  chip().lagTable().capacityIs(1);
  start();
  lag(po(1), {eth(1)});
  lag(po(2), {eth(2), eth(3)});
  ASSERT_EQ(acsd_->lagToLagType(po(2)), Kor::softwareLag);
  loop_->runFor(Kor::LagSm::kRetryPeriod * 3.5);
  EXPECT_EQ(acsd_->lagToLagType(po(2)), Kor::softwareLag) << "still full";
  // Room comes back with no call and no other change: the timer finds it.
  chip().lagTable().capacityIs(2);
  loop_->runFor(Kor::LagSm::kRetryPeriod * 1.5);
  ASSERT_TRUE(chipLag(po(2)));
  EXPECT_EQ(*chipLag(po(2)), KorPortList({eth(2), eth(3)}));
  EXPECT_EQ(acsd_->lagToLagType(po(2)), Kor::hardwareLag);
  // Nothing refused is left: the retry stops.
  auto writes = chip().lagTable().counters();
  loop_->runFor(Kor::LagSm::kRetryPeriod * 3);
  EXPECT_EQ(chip().lagTable().counters().changes(), writes.changes());
  EXPECT_EQ(chip().lagTable().counters().syncs, writes.syncs);
}

TEST_F(LagSmTest, VerificationComparesTheChipWithLagToPort) {
  start();
  lag(po(1), {eth(1), eth(2)});
  loop_->runUntilIdle();
  EXPECT_EQ(acsd_->verifyData()->verifyResult(), KorTypes::verifySuccess);
  uint32_t const runs = acsd_->verifyData()->verify();
  EXPECT_GT(runs, 0u);
  // The chip loses a member behind the library's back.
  chip().lagTable().write(po(1), KorPortList({eth(1)}));
  acsd_->verifyData()->doRequestVerify();
  loop_->runUntilIdle();
  EXPECT_EQ(acsd_->verifyData()->verifyResult(), KorTypes::verifyFail);
  EXPECT_NE(acsd_->verifyData()->verifyOutput().description().find("Port-Channel1"), std::string::npos);
}

TEST(LagChipTest, MemberForIsStableSpreadAndMovesOnlyTheFlowsOfALeavingMember) {
  auto chip = Vix::makePtr<SoftChip::SoftChip>();
  auto& lags = chip->lag();
  lags.lagTable().write(po(1), KorPortList({eth(1), eth(2), eth(3)}));
  std::map<uint64_t, IntfId> first;
  std::map<IntfId, int> perMember;
  for (uint64_t flow = 0; flow < 3000; ++flow) {
    auto m = lags.memberFor(po(1), flow * 0x9e37);
    ASSERT_TRUE(m);
    EXPECT_EQ(lags.memberFor(po(1), flow * 0x9e37), m);
    first[flow] = *m;
    ++perMember[*m];
  }
  ASSERT_EQ(perMember.size(), 3u);
  for (auto const& [m, n] : perMember) EXPECT_GT(n, 800) << m;
  lags.lagTable().write(po(1), KorPortList({eth(1), eth(3)}));
  for (auto const& [flow, m] : first)
    if (m != eth(2)) {
      EXPECT_EQ(lags.memberFor(po(1), flow * 0x9e37), m);
    }
  EXPECT_FALSE(lags.memberFor(po(9), 1));
}

}  // namespace
