#pragma once
// The MAC event rate limiter: a token bucket between the MacTable the
// platform fills from the chip's learn and age events (macTableIn) and the
// one the MAC table state machine reads (macTableOut), so that a storm of
// hardware learns cannot starve the activity loop. Its worker
// (MacTableCodefSm) copies an event at once while the bucket holds tokens
// and queues it in a backlog otherwise; the limiter refills the bucket on its
// clock and hands the new tokens to the backlog first.
//
// Arithmetic of a refill (every tick, no closer than bucketRefillQuantum()):
// elapsed time since the last refill is capped at one bucketRefillInterval
// (a stalled clock earns at most one bucket), it earns
// floor(bucketSize * elapsed / bucketRefillInterval) tokens, and the part of
// a token not yet earned carries over (lastBucketRefillTime lags `now` by
// it). The bucket (tokensRemaining, shared with the worker) only grows once
// the backlog is empty, and never past bucketSize. Invariants: the clock is
// armed while the backlog holds events or the bucket is not full; a backlog
// walk holds the loop at most copyQuantum (then the tokens it did not spend,
// numTokens, wait for the next turn of the loop, not the next tick).
#include <cstdint>
#include <memory>

#include "kor/common/KorBaseSm.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/mac/MacAddrCodefBucketStatus.h"
#include "kor/mac/MacTableCodefSm.h"
#include "kor/records/MacTable.h"
#include "vix/ActivityLoop.h"
#include "vix/Clock.h"
#include "vix/Time.h"

namespace Kor {

class KOR_EXPORT MacAddrCodef : public KorBaseSm {
 public:
  MacAddrCodef(Vix::Ptr<KorCommonSmData> const& acsd, Vix::ActivityLoop* loop,
               Vix::Ptr<KorTypes::MacTable const> const& macTableIn, Vix::Ptr<KorTypes::MacTable> const& macTableOut,
               Vix::Ptr<MacAddrCodefBucketStatus> const& bucketStatus);
  ~MacAddrCodef() override;

  Vix::Ptr<KorTypes::MacTable const> const& macTableIn() const { return macTableIn_; }
  Vix::Ptr<KorTypes::MacTable> const& macTableOut() const { return macTableOut_; }
  Vix::Ptr<MacAddrCodefBucketStatus> const& bucketStatus() const { return bucketStatus_; }
  MacTableCodefSm* macTableHwSm() const { return macTableHwSm_.get(); }
  Vix::Clock const& clock() const { return clock_; }

  uint32_t bucketSize() const { return bucketSize_; }
  void bucketSizeIs(uint32_t n);
  Vix::Seconds bucketRefillInterval() const { return bucketRefillInterval_; }
  void bucketRefillIntervalIs(Vix::Seconds s);
  Vix::Seconds minBucketRefillQuantum() const { return minBucketRefillQuantum_; }
  void minBucketRefillQuantumIs(Vix::Seconds s);
  // The longest one backlog walk may hold the loop.
  Vix::Seconds copyQuantum() const { return copyQuantum_; }
  void copyQuantumIs(Vix::Seconds s) { copyQuantum_ = s; }
  Vix::Seconds lastBucketRefillTime() const { return lastBucketRefillTime_; }
  // Tokens earned for the backlog that a yielded walk has not spent yet.
  uint32_t numTokens() const { return numTokens_; }
  uint32_t lastMacTableToReceiveTokens() const { return lastMacTableToReceiveTokens_; }

  void handleInitialized() override;
  void handleInit();
  void handleBucketSettings();
  // (Re)creates the worker over the input and output tables.
  void handleMacTable();
  void handleClock();
  void refillBuckets();
  // Spends up to `tokens` on the backlog; returns the tokens left.
  uint32_t executePendingCopies(uint32_t tokens);
  // max(bucketRefillInterval / bucketSize, minBucketRefillQuantum).
  Vix::Seconds bucketRefillQuantum() const;

  // The worker took a token or queued an event: the bucket needs a refill.
  void doArmRefill();

 private:
  Vix::ActivityLoop* loop_;
  Vix::Ptr<KorTypes::MacTable const> macTableIn_;
  Vix::Ptr<KorTypes::MacTable> macTableOut_;
  Vix::Ptr<MacAddrCodefBucketStatus> bucketStatus_;
  uint32_t bucketSize_ = 1000;
  Vix::Seconds bucketRefillInterval_ = 1.0;
  Vix::Seconds minBucketRefillQuantum_ = 0.01;
  Vix::Seconds copyQuantum_ = 0.01;
  Vix::Seconds lastBucketRefillTime_ = 0;
  uint32_t numTokens_ = 0;
  uint32_t lastMacTableToReceiveTokens_ = 0;
  bool walkYielded_ = false;
  Vix::Clock clock_;
  std::unique_ptr<MacTableCodefSm> macTableHwSm_;
};

}  // namespace Kor
