#pragma once
// Runs the agent's self-verification. Watches the common data (to follow its
// VerifyData), the VerifyData (requests, output changes), the VerifyRequired
// doorbell, and owns the clock that runs a requested verification on the
// activity loop, outside the notification that asked for it.
//
// A run calls handleVerify() of every machine registered with
// KorCommonSmData::verifiableSmAdd, in order. A machine reports from there
// with KOR_VERIFY_REPORT(status, description); a run keeps the first report
// of the greatest weight (verifyFail over verifyRetry over anything else)
// as its VerifyOutput, and that report's status as the result (verifySuccess
// when nobody reported). A machine whose handleVerify() throws counts as
// verifyFail. A result of verifyRetry sets retryVerify, so the supervisor's
// next request counts as a retry (reverify) rather than a new run (verify).
//
// Besides the weightiest report, a run keeps every report that is not a
// success (faults(), in the order reported): a supervisor needs the one
// result, a person asking "what disagrees" needs the whole list. doVerify()
// runs a pass at once (the `verify` statement and the "VA" command code) and
// answers that list; it publishes the same VerifyData as a requested run.
// A changed output is logged (KOR_VERIFY_OUTPUT) only when it is not a
// success: a clean pass is silent.
#include <vector>

#include <memory>

#include "kor/common/KorBaseSm.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/common/KorExport.h"
#include "kor/common/VerifyData.h"
#include "kor/common/VerifyOutput.h"
#include "kor/common/VerifyRequired.h"
#include "vix/Clock.h"

namespace Kor {

class KOR_EXPORT VerifySm : public KorBaseSm {
 public:
  explicit VerifySm(Vix::Ptr<KorCommonSmData> const& acsd);
  ~VerifySm() override;

  void handleVerifyRequest();
  void handleTimeout();
  void handleVerifyOutput();
  // Merges one machine's report into the running verification.
  void doReport(VerifyOutput const& o);
  // Re-attaches the VerifyData and VerifyRequired reactors to what the common
  // data currently holds.
  void doBindVerifyData();
  // Runs a verification pass now; answers every report that was not a success.
  std::vector<VerifyOutput> doVerify();
  // The reports of the last run that were not a success; each one's function
  // is "Class::function" of the machine that reported it.
  std::vector<VerifyOutput> const& faults() const { return faults_; }

  Vix::Clock const& clock() const { return clock_; }

 private:
  class VixKorCommonSmData : public KorCommonSmData::Notifiee {
   public:
    VixKorCommonSmData(Vix::Ptr<KorCommonSmData const> const& e, VerifySm* sm) : Notifiee(e), sm_(sm) {}
    void handleVerifyData() override { sm_->doBindVerifyData(); }

   private:
    VerifySm* sm_;
  };
  class VixVerifyData : public VerifyData::Notifiee {
   public:
    explicit VixVerifyData(VerifySm* sm) : sm_(sm) {}
    void handleVerifyRequest() override { sm_->handleVerifyRequest(); }
    void handleVerifyOutput() override { sm_->handleVerifyOutput(); }
    void handleVerifyRequired() override { sm_->doBindVerifyData(); }

   private:
    VerifySm* sm_;
  };
  class VixVerifyRequired : public VerifyRequired::Notifiee {
   public:
    explicit VixVerifyRequired(VerifySm* sm) : sm_(sm) {}
    void handleVerifyRequired() override;

   private:
    VerifySm* sm_;
  };

  VixKorCommonSmData vixAcsd_;
  VixVerifyData vixVerifyData_;
  VixVerifyRequired vixVerifyRequired_;
  Vix::Clock clock_;
  bool running_ = false;
  bool reported_ = false;
  VerifyOutput report_;
  std::vector<VerifyOutput> faults_;
  // The machine whose handleVerify() runs (its reports in faults() name it).
  KorBaseSm* current_ = nullptr;
};

}  // namespace Kor
