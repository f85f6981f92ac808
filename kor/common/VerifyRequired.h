#pragma once
// The supervisor's verification doorbell: each increment of verifyRequired is
// a request to verify, which VerifySm turns into VerifyData::doRequestVerify().
// Owned by VerifyData under the name "vr".
#include <cstdint>
#include <string>

#include "kor/common/KorExport.h"
#include "vix/Entity.h"

namespace Kor {

class KOR_EXPORT VerifyRequired : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<VerifyRequired> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_HANDLER(VerifyRequired)
  };

  explicit VerifyRequired(std::string name) : Vix::Entity(std::move(name)) {}

  VIX_COUNTER(uint32_t, verifyRequired, VerifyRequired)
};

}  // namespace Kor
