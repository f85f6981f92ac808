// Start-up of the common data (guarded onInitialized, the verification
// objects it creates), its collections, and the fatal paths of korAssert.
#include <gtest/gtest.h>

#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "kor/common/KorAssert.h"
#include "kor/common/KorBaseSm.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/common/VerifySm.h"
#include "vix/ActivityLoop.h"
#include "vix/Log.h"

namespace {

using Kor::KorCommonSmData;

class KorCommonSmDataTest : public ::testing::Test {
 protected:
  void SetUp() override {
    oldLog_ = Vix::logSink();
    Vix::logSinkIs(log_);
  }
  void TearDown() override {
    acsd_->doCleanup();
    Vix::logSinkIs(oldLog_);
  }

  Vix::Ptr<Vix::ActivityLoop> loop_ = Vix::makePtr<Vix::ActivityLoop>(Vix::makePtr<Vix::ManualTimeSource>());
  Vix::Ptr<KorCommonSmData> acsd_ = Kor::korCommonSmDataFactory("acsd", loop_);
  Vix::Ptr<Vix::MemoryLogSink> log_ = Vix::makePtr<Vix::MemoryLogSink>();
  Vix::Ptr<Vix::LogSink> oldLog_;
};

class InitWatcher : public KorCommonSmData::Notifiee {
 public:
  InitWatcher(Vix::Ptr<KorCommonSmData const> const& e, std::vector<std::string>* calls, std::string name,
              bool fail = false)
      : Notifiee(e), calls_(calls), name_(std::move(name)), fail_(fail) {}
  void onInitialized() override {
    calls_->push_back(name_ + (notifier()->initialized() ? "=1" : "=0"));
    if (fail_) throw std::runtime_error(name_ + " cannot start");
  }

 private:
  std::vector<std::string>* calls_;
  std::string name_;
  bool fail_;
};

TEST_F(KorCommonSmDataTest, InitializedRunsOnChangeOnlyAndCreatesVerification) {
  std::vector<std::string> calls;
  InitWatcher w(acsd_, &calls, "w");
  acsd_->initializedIs(false);
  EXPECT_TRUE(calls.empty());
  EXPECT_FALSE(acsd_->verifyData());

  acsd_->initializedIs(true);
  ASSERT_TRUE(acsd_->verifyData());
  auto vd = acsd_->verifyData();
  EXPECT_EQ(vd->name(), "verify");
  ASSERT_TRUE(vd->verifyRequired());
  EXPECT_EQ(vd->verifyRequired()->name(), "vr");
  EXPECT_TRUE(acsd_->verifySm());

  acsd_->initializedIs(true);  // unchanged: nothing runs, nothing is recreated
  EXPECT_EQ(calls, std::vector<std::string>{"w=1"});
  EXPECT_EQ(acsd_->verifyData(), vd);
}

TEST_F(KorCommonSmDataTest, FailingOnInitializedDoesNotStopTheOthers) {
  std::vector<std::string> calls;
  InitWatcher a(acsd_, &calls, "a");
  InitWatcher b(acsd_, &calls, "b", true);
  InitWatcher c(acsd_, &calls, "c");
  acsd_->initializedIs(true);
  EXPECT_EQ(calls, (std::vector<std::string>{"a=1", "b=1", "c=1"}));
  ASSERT_EQ(log_->count("KOR_ON_INITIALIZED_FAILED"), 1u);
  EXPECT_NE(log_->records()[0].text.find("b cannot start"), std::string::npos);
}

class CountingSm : public Kor::KorBaseSm {
 public:
  explicit CountingSm(Vix::Ptr<KorCommonSmData> const& acsd) : KorBaseSm(acsd, "CountingSm") {}
  void handleInitialized() override { ++runs; }
  int runs = 0;
};

TEST_F(KorCommonSmDataTest, StateMachineFirstPassRunsOncePerChange) {
  auto sm = Vix::makePtr<CountingSm>(acsd_);
  sm->initializedIs(false);
  sm->initializedIs(true);
  sm->initializedIs(true);
  EXPECT_EQ(sm->runs, 1);
  sm->initializedIs(false);
  sm->initializedIs(true);
  EXPECT_EQ(sm->runs, 2);
}

class CollectionWatcher : public KorCommonSmData::Notifiee {
 public:
  using Notifiee::Notifiee;
  void handleLagToPort(Nollo::IntfId const& lag) override { log.push_back("lagToPort " + lag.str()); }
  void handleFreeMirrorSession() override { log.push_back("mirror " + std::to_string(notifier()->freeMirrorSessionSize())); }
  void handleVerifySm() override { log.push_back(notifier()->verifySm() ? "verifySm set" : "verifySm gone"); }
  std::vector<std::string> log;
};

TEST_F(KorCommonSmDataTest, CollectionsNotifyAndCleanupEmptiesThem) {
  CollectionWatcher w(acsd_);
  EXPECT_EQ(acsd_->operationalMode(), Kor::modeNotConfigured);
  auto po1 = Nollo::IntfId::portChannel(1);
  acsd_->lagToPortIs(po1, Kor::KorPortList{Nollo::IntfId::ethernet(1)});
  acsd_->lagToPortIs(po1, Kor::KorPortList{Nollo::IntfId::ethernet(1)});  // unchanged: silent
  acsd_->freeMirrorSessionEnq(3);
  acsd_->freeMirrorSessionEnq(1);
  EXPECT_EQ(acsd_->freeMirrorSessionDeq(), 3);
  acsd_->encapVlanIs(Nollo::IntfId::ethernet(2), Kor::VlanIdOrNone(100));
  acsd_->initializedIs(true);

  acsd_->doCleanup();
  EXPECT_EQ(acsd_->lagToPortSize(), 0u);
  EXPECT_EQ(acsd_->encapVlanSize(), 0u);
  EXPECT_EQ(acsd_->freeMirrorSessionSize(), 0u);
  EXPECT_FALSE(acsd_->verifyData());
  EXPECT_EQ(w.log, (std::vector<std::string>{"lagToPort Port-Channel1", "mirror 1", "mirror 2", "mirror 1",
                                             "verifySm set", "lagToPort Port-Channel1", "mirror 0",
                                             "verifySm gone"}));
}

TEST(KorCommonSmDataFactoryTest, NeedsALoop) {
  try {
    Kor::korCommonSmDataFactory("acsd", nullptr);
    FAIL() << "accepted a null loop";
  } catch (std::invalid_argument const& e) {
    EXPECT_STREQ(e.what(), "null ValidPtr");
  }
}

class NoVerifySm : public Kor::KorBaseSm {
 public:
  explicit NoVerifySm(Vix::Ptr<KorCommonSmData> const& acsd) : KorBaseSm(acsd, "SwitchIntfSm") {}
};

using KorAssertDeathTest = KorCommonSmDataTest;

TEST_F(KorAssertDeathTest, AbortsWithTheMessageUnlessNoopAgent) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  unsetenv("KOR_NOOP_AGENT");
  EXPECT_DEATH(Kor::korAssert("fec table out of sync"), "fec table out of sync");
  EXPECT_DEATH(KOR_ASSERT(1 + 1 == 3), "1 \\+ 1 == 3");
  auto sm = Vix::makePtr<NoVerifySm>(acsd_);
  EXPECT_DEATH(sm->handleVerify(), "Call to unimplemented function SwitchIntfSm::handleVerify");

  setenv("KOR_NOOP_AGENT", "1", 1);
  Kor::korAssert("ignored by a no-op agent");
  sm->handleVerify();  // returns
  unsetenv("KOR_NOOP_AGENT");
}

}  // namespace
