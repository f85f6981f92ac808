#pragma once
// The token bucket of one MAC event rate limiter: how many learn and age
// events may still be copied at once before events queue in a backlog.
// Shared by the limiter (MacAddrCodef, which refills it) and every worker
// (MacTableCodefSm, which takes one token per event copied at once). Never
// above the limiter's bucketSize.
#include <cstdint>
#include <string>

#include "kor/common/KorExport.h"
#include "vix/Entity.h"
#include "vix/NotifieeOf.h"

namespace Kor {

class KOR_EXPORT MacAddrCodefBucketStatus : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<MacAddrCodefBucketStatus> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_HANDLER(TokensRemaining)
  };

  explicit MacAddrCodefBucketStatus(std::string name) : Entity(std::move(name)) {}

  VIX_COUNTER(uint32_t, tokensRemaining, TokensRemaining)
};

}  // namespace Kor
