#pragma once
// The state of the agent's self-verification, owned by KorCommonSmData under
// the name "verify". A supervisor asks for a run with doRequestVerify() (or
// by incrementing the owned VerifyRequired "vr"); VerifySm does the run and
// publishes verify/reverify counts, the weightiest VerifyOutput, the result
// and verifyDone. Requests are ignored while verifyEnabled is false (it
// starts true). retryVerify is set by VerifySm when a run ended in
// verifyRetry; the next request then counts as a retry.
#include <cstdint>
#include <string>

#include "kor/common/KorExport.h"
#include "kor/common/KorVerifyStatus.h"
#include "kor/common/VerifyOutput.h"
#include "kor/common/VerifyRequired.h"
#include "vix/Entity.h"

namespace Kor {

class KOR_EXPORT VerifyData : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<VerifyData> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_HANDLER(VerifyRequest)
    VIX_HANDLER(VerifyEnabled)
    VIX_HANDLER(VerifyRequired)
    VIX_HANDLER(Verify)
    VIX_HANDLER(Reverify)
    VIX_HANDLER(VerifyOutput)
    VIX_HANDLER(RetryVerify)
    VIX_HANDLER(VerifyResult)
    VIX_HANDLER(VerifyDone)
  };

  explicit VerifyData(std::string name) : Vix::Entity(std::move(name)) { verifyEnabled_ = true; }

  // A request for a verification run (notifies handleVerifyRequest).
  void doRequestVerify() { notify(&Notifiee::handleVerifyRequest); }

  VIX_ATTR(bool, verifyEnabled, VerifyEnabled)

 public:
  Vix::Ptr<VerifyRequired> const& verifyRequired() const { return verifyRequired_; }
  // Creates the owned VerifyRequired with that name (replacing any before).
  Vix::Ptr<VerifyRequired> verifyRequiredIs(std::string const& name) {
    verifyRequired_ = Vix::makePtr<VerifyRequired>(name);
    notify(&Notifiee::handleVerifyRequired);
    return verifyRequired_;
  }

  VIX_COUNTER(uint32_t, verify, Verify)
  VIX_COUNTER(uint32_t, reverify, Reverify)
  VIX_ATTR(VerifyOutput, verifyOutput, VerifyOutput)
  VIX_ATTR(bool, retryVerify, RetryVerify)
  VIX_ATTR(KorTypes::KorVerifyStatus, verifyResult, VerifyResult)
  VIX_ATTR(bool, verifyDone, VerifyDone)

 private:
  Vix::Ptr<VerifyRequired> verifyRequired_;
};

}  // namespace Kor
