#include "kor/mac/MacAddrCodef.h"

#include <algorithm>
#include <cmath>

#include "vix/PassDeadline.h"

namespace Kor {

MacAddrCodef::MacAddrCodef(Vix::Ptr<KorCommonSmData> const& acsd, Vix::ActivityLoop* loop,
                           Vix::Ptr<KorTypes::MacTable const> const& macTableIn,
                           Vix::Ptr<KorTypes::MacTable> const& macTableOut,
                           Vix::Ptr<MacAddrCodefBucketStatus> const& bucketStatus)
    : KorBaseSm(acsd, "KorMacAddrCodef"),
      loop_(loop),
      macTableIn_(macTableIn),
      macTableOut_(macTableOut),
      bucketStatus_(bucketStatus),
      clock_(loop, [this] { handleClock(); }) {}

MacAddrCodef::~MacAddrCodef() = default;

void MacAddrCodef::bucketSizeIs(uint32_t n) {
  if (n == bucketSize_ || n == 0) return;
  bucketSize_ = n;
  if (initialized()) handleBucketSettings();
}

void MacAddrCodef::bucketRefillIntervalIs(Vix::Seconds s) {
  if (s == bucketRefillInterval_ || !(s > 0)) return;
  bucketRefillInterval_ = s;
  if (initialized()) handleBucketSettings();
}

void MacAddrCodef::minBucketRefillQuantumIs(Vix::Seconds s) {
  if (s == minBucketRefillQuantum_ || s < 0) return;
  minBucketRefillQuantum_ = s;
  if (initialized()) handleBucketSettings();
}

void MacAddrCodef::handleInitialized() { handleInit(); }

void MacAddrCodef::handleInit() {
  KOR_TRACE_FUNC();
  KOR_ASSERT(macTableIn());
  handleMacTable();
  handleBucketSettings();
}

void MacAddrCodef::handleMacTable() {
  macTableHwSm_.reset();
  if (!macTableIn_ || !macTableOut_) return;
  macTableHwSm_ = std::make_unique<MacTableCodefSm>(acsd(), this, macTableIn_, macTableOut_, bucketStatus_);
  macTableHwSm_->tf().levelsIs(tf().levels());
  macTableHwSm_->initializedIs(true);
}

void MacAddrCodef::handleBucketSettings() {
  bucketStatus_->tokensRemainingIs(bucketSize_);
  lastBucketRefillTime_ = loop_->now();
  numTokens_ = 0;
  clock_.timeMinIs(loop_->now() + bucketRefillQuantum());
}

Vix::Seconds MacAddrCodef::bucketRefillQuantum() const {
  return std::max(bucketRefillInterval_ / bucketSize_, minBucketRefillQuantum_);
}

void MacAddrCodef::doArmRefill() { clock_.timeMinEarlierIs(loop_->now() + bucketRefillQuantum()); }

void MacAddrCodef::handleClock() { refillBuckets(); }

void MacAddrCodef::refillBuckets() {
  KOR_TRACE(8, "MacTableCodef woke up");
  Vix::Seconds now = loop_->now();
  uint32_t newTokens = 0;
  if (!walkYielded_) {
    // A stalled clock earns one interval's worth at most.
    Vix::Seconds elapsed = std::min(now - lastBucketRefillTime_, bucketRefillInterval_);
    KOR_TRACE(8, elapsed << " seconds have elapsed since last refill calculation");
    Vix::Seconds tokenTime = bucketRefillInterval_ / bucketSize_;
    // The small bias keeps a whole token from being lost to rounding (0.01
    // seconds is 9.999... thousandths); what is not earned carries over.
    double earned = std::floor(bucketSize_ * elapsed / bucketRefillInterval_ + 1e-9);
    newTokens = static_cast<uint32_t>(std::min<double>(earned, bucketSize_));
    lastBucketRefillTime_ = now - std::max(0.0, elapsed - newTokens * tokenTime);
    KOR_TRACE(8, "Able to add up to " << newTokens << " tokens to the bucket");
  }
  walkYielded_ = false;
  // Tokens a yielded walk did not spend go to the backlog first, with the new ones.
  uint32_t forBacklog = static_cast<uint32_t>(std::min<uint64_t>(uint64_t(newTokens) + numTokens_, bucketSize_));
  numTokens_ = 0;
  bool wasBacklogged = macTableHwSm_ && !macTableHwSm_->backlog().empty();
  uint32_t left = executePendingCopies(forBacklog);
  bool backlogged = macTableHwSm_ && !macTableHwSm_->backlog().empty();
  bool enabled = macTableHwSm_ && macTableHwSm_->enabled();
  if (backlogged && enabled && left > 0) {
    // The walk used up its share of the loop: go on at the next turn.
    numTokens_ = left;
    walkYielded_ = true;
    clock_.timeMinIs(now);
    return;
  }
  if (wasBacklogged && !backlogged)
    KOR_TRACE(3, "Backlog has been cleared, subsequent mac address events will run immediately");
  if (left > 0) {
    bucketStatus_->tokensRemainingIs(
        static_cast<uint32_t>(std::min<uint64_t>(uint64_t(bucketStatus_->tokensRemaining()) + left, bucketSize_)));
  }
  // A disabled worker's backlog waits for enabledIs(true), not for the clock.
  if ((backlogged && enabled) || bucketStatus_->tokensRemaining() < bucketSize_)
    clock_.timeMinIs(now + bucketRefillQuantum());
}

uint32_t MacAddrCodef::executePendingCopies(uint32_t tokens) {
  size_t active = macTableHwSm_ && !macTableHwSm_->backlog().empty() ? 1 : 0;
  KOR_TRACE(8, "Have " << tokens << " tokens that can be shared between " << active
                       << " state machines with jobs queued");
  if (!macTableHwSm_ || !macTableHwSm_->enabled()) {
    KOR_TRACE(5, "Mac Table sm not present or disabled");
    return tokens;
  }
  if (tokens == 0 || active == 0) return tokens;
  size_t jobs = macTableHwSm_->backlog().size();
  KOR_TRACE(8, "All active queues have at least " << jobs << " jobs in the queue");
  size_t share = std::min<size_t>(tokens, jobs);
  Vix::PassDeadline deadline(loop_->timeSource(), copyQuantum_);
  size_t copied = macTableHwSm_->doPendingCopies(share, deadline);
  lastMacTableToReceiveTokens_ = 0;
  return tokens - static_cast<uint32_t>(copied);
}

}  // namespace Kor
