// Self-verification: requests run on the loop, registered machines report,
// the weightiest report is published, and retries are counted apart.
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "kor/common/KorBaseSm.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/common/VerifyReport.h"
#include "kor/common/VerifySm.h"
#include "vix/ActivityLoop.h"
#include "vix/Log.h"
#include "vix/Trace.h"

namespace {

using namespace KorTypes;

class CheckedSm : public Kor::KorBaseSm {
 public:
  CheckedSm(Vix::Ptr<Kor::KorCommonSmData> const& acsd, std::string name, std::vector<std::string>* order)
      : KorBaseSm(acsd, name), name_(std::move(name)), order_(order) {}
  void handleVerify() override {
    order_->push_back(name_);
    if (check) check(*this);
  }
  void report(KorVerifyStatus s, std::string const& d) { KOR_VERIFY_REPORT(s, d); }
  std::function<void(CheckedSm&)> check;

 private:
  std::string name_;
  std::vector<std::string>* order_;
};

class VerifySmTest : public ::testing::Test {
 protected:
  void SetUp() override {
    oldLog_ = Vix::logSink();
    Vix::logSinkIs(log_);
    Vix::traceSinkIs(trace_);
    acsd_->initializedIs(true);
    vd_ = acsd_->verifyData();
  }
  void TearDown() override {
    acsd_->doCleanup();
    Vix::traceSinkIs(nullptr);
    Vix::logSinkIs(oldLog_);
  }
  Vix::Ptr<CheckedSm> machine(std::string const& name) {
    auto sm = Vix::makePtr<CheckedSm>(acsd_, name, &order_);
    acsd_->verifiableSmAdd(sm.ptr());
    return sm;
  }
  void verifyNow() {
    vd_->doRequestVerify();
    loop_->runUntilIdle();
  }

  Vix::Ptr<Vix::ActivityLoop> loop_ = Vix::makePtr<Vix::ActivityLoop>(Vix::makePtr<Vix::ManualTimeSource>());
  Vix::Ptr<Kor::KorCommonSmData> acsd_ = Kor::korCommonSmDataFactory("acsd", loop_);
  Vix::Ptr<Kor::VerifyData> vd_;
  Vix::Ptr<Vix::MemoryLogSink> log_ = Vix::makePtr<Vix::MemoryLogSink>();
  Vix::Ptr<Vix::LogSink> oldLog_;
  Vix::Ptr<Vix::MemoryTraceSink> trace_ = Vix::makePtr<Vix::MemoryTraceSink>();
  std::vector<std::string> order_;
};

TEST_F(VerifySmTest, RunsRegisteredMachinesOnTheLoopAndStoresTheWeightiestReport) {
  auto a = machine("KorAdjSm");
  auto b = machine("KorRoutingSm");
  auto c = machine("KorArpSm");
  a->check = [](CheckedSm& sm) { sm.report(verifySuccess, "adjacencies agree"); };
  b->check = [](CheckedSm& sm) {
    sm.report(verifyRetry, "review pending");
    sm.report(verifyFail, "route 10.0.0.0/8 missing");
  };
  c->check = [](CheckedSm& sm) { sm.report(verifyFail, "second failure"); };

  vd_->doRequestVerify();
  EXPECT_FALSE(vd_->verifyDone());
  EXPECT_TRUE(order_.empty());  // nothing runs inside the request
  loop_->runUntilIdle();

  EXPECT_EQ(order_, (std::vector<std::string>{"KorAdjSm", "KorRoutingSm", "KorArpSm"}));
  EXPECT_EQ(vd_->verify(), 1u);
  EXPECT_EQ(vd_->reverify(), 0u);
  EXPECT_TRUE(vd_->verifyDone());
  EXPECT_EQ(vd_->verifyResult(), verifyFail);
  auto const& out = vd_->verifyOutput();
  EXPECT_EQ(out.description(), "route 10.0.0.0/8 missing");  // the first failure wins
  EXPECT_EQ(out.filename(), "VerifySmTest.cc");
  EXPECT_EQ(out.function(), "report");
  EXPECT_GT(out.lineNum(), 0u);
  EXPECT_EQ(out.verifyResult(), verifyFail);
  EXPECT_FALSE(vd_->retryVerify());

  EXPECT_EQ(trace_->count("Starting Kor verification"), 1u);
  EXPECT_EQ(trace_->count("Kor verification done"), 1u);
  ASSERT_EQ(log_->count("KOR_VERIFY_OUTPUT"), 1u);
  EXPECT_EQ(log_->records().back().text,
            " File: VerifySmTest.cc Function: report Description: route 10.0.0.0/8 missing");
}

TEST_F(VerifySmTest, RequestDuringPendingRetryCountsAsRetry) {
  auto a = machine("KorAdjSm");
  a->check = [](CheckedSm& sm) { sm.report(verifyRetry, "adjacency review pending"); };
  verifyNow();
  EXPECT_EQ(vd_->verifyResult(), verifyRetry);
  EXPECT_TRUE(vd_->retryVerify());
  EXPECT_EQ(vd_->verify(), 1u);

  a->check = nullptr;  // all settled: nobody reports
  verifyNow();
  EXPECT_EQ(vd_->verify(), 1u);
  EXPECT_EQ(vd_->reverify(), 1u);
  EXPECT_FALSE(vd_->retryVerify());
  EXPECT_EQ(vd_->verifyResult(), verifySuccess);
  EXPECT_EQ(trace_->count("Starting Kor verification"), 1u);  // a retry is not a new run

  verifyNow();
  EXPECT_EQ(vd_->verify(), 2u);
  EXPECT_EQ(vd_->reverify(), 1u);
}

TEST_F(VerifySmTest, DoorbellRequestsAndDisabledVerificationIgnoresThem) {
  auto a = machine("KorAdjSm");
  vd_->verifyRequired()->verifyRequiredInc();
  loop_->runUntilIdle();
  EXPECT_EQ(vd_->verify(), 1u);

  vd_->verifyEnabledIs(false);
  vd_->verifyRequired()->verifyRequiredInc();
  vd_->doRequestVerify();
  loop_->runUntilIdle();
  EXPECT_EQ(vd_->verify(), 1u);
  EXPECT_EQ(order_.size(), 1u);
}

TEST_F(VerifySmTest, ThrowingOrVanishingMachinesDoNotStopTheRun) {
  auto a = machine("KorAdjSm");
  auto b = machine("KorRoutingSm");
  auto c = machine("KorArpSm");
  a->check = [&](CheckedSm&) { c = nullptr; };  // c goes away before its turn
  b->check = [](CheckedSm&) { throw std::runtime_error("fec 7 unreadable"); };
  verifyNow();
  EXPECT_EQ(order_, (std::vector<std::string>{"KorAdjSm", "KorRoutingSm"}));
  EXPECT_EQ(vd_->verifyResult(), verifyFail);
  EXPECT_EQ(vd_->verifyOutput().description(), "fec 7 unreadable");
  EXPECT_EQ(vd_->verifyOutput().function(), "KorRoutingSm::handleVerify");
  EXPECT_EQ(acsd_->verifiableSms().size(), 2u);
}

}  // namespace

// Beyond the weightiest report, a pass keeps every report that was not a
// success, in order, each naming the machine; a new pass starts empty; the
// text and JSON forms list exactly those.
namespace {

TEST_F(VerifySmTest, APassKeepsEveryFaultWithItsMachine) {
  auto a = machine("KorAdjSm");
  auto b = machine("KorL2AdjHelper");
  a->check = [](CheckedSm& sm) {
    sm.report(verifyFail, "adj 1 has no L2 adjacency");
    sm.report(verifySuccess, "rest agrees");
  };
  b->check = [](CheckedSm& sm) {
    sm.report(verifyRetry, "l2adj 4 busy");
    sm.report(verifyFail, "l2adj 5 \"missing\"");
  };
  auto const& sm = acsd_->verifySm();
  auto faults = sm->doVerify();
  ASSERT_EQ(faults.size(), 3u);
  EXPECT_EQ(faults[0].function(), "KorAdjSm::report");  // the reporting function, as named there
  EXPECT_EQ(faults[2].description(), "l2adj 5 \"missing\"");
  EXPECT_EQ(vd_->verifyOutput().description(), "adj 1 has no L2 adjacency");
  Kor::VerifyReport report(faults);
  EXPECT_EQ(report.text(),
            "verify: 3 disagree\n  KorAdjSm: adj 1 has no L2 adjacency\n  KorL2AdjHelper: l2adj 4 busy\n"
            "  KorL2AdjHelper: l2adj 5 \"missing\"\n");
  EXPECT_NE(report.json().find("{\"machine\": \"KorL2AdjHelper\", \"status\": \"verifyFail\", \"description\": "
                               "\"l2adj 5 \\\"missing\\\"\"}]}"),
            std::string::npos)
      << report.json();

  a->check = nullptr;
  b->check = nullptr;
  EXPECT_TRUE(sm->doVerify().empty());
  EXPECT_EQ(Kor::VerifyReport(sm->faults()).text(), "verify: all agree\n");
}

}  // namespace
