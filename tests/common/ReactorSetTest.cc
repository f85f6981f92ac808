// Nested reactors made by a machine's ReactorSet: they reach their owner,
// follow its hasNotificationActive switch, and leave the entity with the set.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kor/common/KorBaseSm.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/common/VerifyRequired.h"
#include "vix/ActivityLoop.h"
#include "vix/ManualTimeSource.h"
#include "vix/ReactorSet.h"

namespace {

class WatchingSm : public Kor::KorBaseSm {
 public:
  explicit WatchingSm(Vix::Ptr<Kor::KorCommonSmData> const& acsd) : KorBaseSm(acsd, "WatchingSm") {}
  Vix::Ptr<Kor::VerifyRequired> watch(Vix::Ptr<Kor::VerifyRequired> const& t) { return vixReactors_.watch<VixThing>(t) ? t : nullptr; }
  void follow(Vix::Ptr<Kor::VerifyRequired> const& t) {
    if (!followed_) followed_ = vixReactors_.add<VixThing>();
    followed_->notifierIs(t);
  }
  size_t reactors() const { return vixReactors_.size(); }
  void dropReactors() { vixReactors_.clear(); }

  std::vector<std::string> log;

 private:
  class VixThing : public Vix::NestedReactor<WatchingSm, Kor::VerifyRequired::Notifiee> {
   public:
    void handleVerifyRequired() override {
      sm_->log.push_back(notifier()->name() + " " + std::to_string(notifier()->verifyRequired()));
    }
  };
  VixThing* followed_ = nullptr;
  Vix::ReactorSet<WatchingSm> vixReactors_{this};
};

class ReactorSetTest : public ::testing::Test {
 protected:
  Vix::Ptr<Vix::ActivityLoop> loop_ = Vix::makePtr<Vix::ActivityLoop>(Vix::makePtr<Vix::ManualTimeSource>());
  Vix::Ptr<Kor::KorCommonSmData> acsd_ = Kor::korCommonSmDataFactory("acsd", loop_);
  Vix::Ptr<Kor::VerifyRequired> a_ = Vix::makePtr<Kor::VerifyRequired>("a");
  Vix::Ptr<Kor::VerifyRequired> b_ = Vix::makePtr<Kor::VerifyRequired>("b");
};

TEST_F(ReactorSetTest, ReactorsCallTheirOwnerAndANullEntityIsNotWatched) {
  WatchingSm sm(acsd_);
  EXPECT_EQ(sm.watch(nullptr), nullptr);
  EXPECT_EQ(sm.reactors(), 0u);
  sm.watch(a_);
  sm.watch(b_);
  a_->verifyRequiredInc();
  b_->verifyRequiredInc();
  EXPECT_EQ(sm.log, (std::vector<std::string>{"a 1", "b 1"}));
}

// The set registers each reactor with the machine's base: switching the
// machine's notifications off silences them, on again restores them.
TEST_F(ReactorSetTest, HasNotificationActiveSwitchesTheSetsReactors) {
  WatchingSm sm(acsd_);
  sm.watch(a_);
  sm.follow(b_);
  sm.hasNotificationActiveIs(false);
  a_->verifyRequiredInc();
  b_->verifyRequiredInc();
  EXPECT_TRUE(sm.log.empty());
  sm.hasNotificationActiveIs(true);
  a_->verifyRequiredInc();
  b_->verifyRequiredInc();
  EXPECT_EQ(sm.log, (std::vector<std::string>{"a 2", "b 2"}));
}

// Cleared or destroyed with their machine, the reactors leave their entities
// and the machine's list; a switch afterwards touches none of them.
TEST_F(ReactorSetTest, ReactorsLeaveWithTheSetAndTheMachine) {
  {
    WatchingSm sm(acsd_);
    sm.watch(a_);
    EXPECT_EQ(a_->notifieeCount(), 1u);
    sm.dropReactors();
    EXPECT_EQ(a_->notifieeCount(), 0u);
    sm.hasNotificationActiveIs(false);
    a_->verifyRequiredInc();
    EXPECT_TRUE(sm.log.empty());
    sm.watch(a_);
  }
  EXPECT_EQ(a_->notifieeCount(), 0u);
}

// A reactor made unattached follows the entity it is bound to, one at a time.
TEST_F(ReactorSetTest, AnAddedReactorFollowsItsRebinding) {
  WatchingSm sm(acsd_);
  sm.follow(a_);
  a_->verifyRequiredInc();
  sm.follow(b_);
  a_->verifyRequiredInc();
  b_->verifyRequiredInc();
  sm.follow(nullptr);
  b_->verifyRequiredInc();
  EXPECT_EQ(sm.reactors(), 1u);
  EXPECT_EQ(a_->notifieeCount() + b_->notifieeCount(), 0u);
  EXPECT_EQ(sm.log, (std::vector<std::string>{"a 1", "b 1"}));
}

}  // namespace
