#include "kor/mac/KorMacProgrammer.h"

#include <algorithm>
#include <utility>

namespace Kor {

using Vix::ReviewAction;

KorMacProgrammer::KorMacProgrammer(Vix::Ptr<KorCommonSmData> const& acsd, Vix::ActivityLoop* timerWheel,
                                   std::string const& traceName)
    : KorBaseSm(acsd, traceName), timerWheel_(timerWheel) {}

KorMacProgrammer::~KorMacProgrammer() {
  // The walks first: their clocks must not fire into half-emptied queues.
  updatePendingAddressClock_.reset();
  pollReqClock_.reset();
  updateOverflowAddressClock_.reset();
  pendingAddrOp_.clear();
  pendingFlushOp_.clear();
  inProgMacOp_.clear();
  inProgAddrOp_.clear();
}

void KorMacProgrammer::updateQuantumIs(Vix::Seconds s) {
  updateQuantum_ = s;
  if (updatePendingAddressClock_) updatePendingAddressClock_->quantumIs(s);
  if (updateOverflowAddressClock_) updateOverflowAddressClock_->quantumIs(s);
}

void KorMacProgrammer::updateDelayIs(Vix::Seconds s) {
  updateDelay_ = s;
  if (updatePendingAddressClock_) updatePendingAddressClock_->intervalIs(s);
}

void KorMacProgrammer::pollReqQuantumIs(Vix::Seconds s) {
  pollReqQuantum_ = s;
  if (pollReqClock_) pollReqClock_->quantumIs(s);
}

void KorMacProgrammer::pollReqFreqIs(Vix::Seconds s) {
  pollReqFreq_ = s;
  if (pollReqClock_) {
    pollReqClock_->retryIntervalIs(s);
    pollReqClock_->retryPeriodIs(s);
  }
}

void KorMacProgrammer::updateOverflowAddressDelayBoundsIs(Vix::Seconds min, Vix::Seconds max) {
  updateOverflowAddressMinDelay_ = min;
  updateOverflowAddressMaxDelay_ = std::max(min, max);
  updateOverflowAddressDelay_ = std::clamp(updateOverflowAddressDelay_, min, updateOverflowAddressMaxDelay_);
  if (updateOverflowAddressClock_) {
    updateOverflowAddressClock_->retryIntervalIs(updateOverflowAddressDelay_);
    updateOverflowAddressClock_->retryPeriodIs(updateOverflowAddressDelay_);
  }
}

void KorMacProgrammer::suspendPendingIs(bool s) {
  if (s == suspendPending_) return;
  suspendPending_ = s;
  if (!s && updatePendingAddressClock_) updatePendingAddressClock_->scheduleAt(timerWheel_->now());
}

void KorMacProgrammer::suspendInProgressIs(bool s) {
  if (s == suspendInProgress_) return;
  suspendInProgress_ = s;
  if (!s && pollReqClock_) pollReqClock_->scheduleRetry();
}

size_t KorMacProgrammer::pendingMacOpSize() const {
  return updatePendingAddressClock_ ? updatePendingAddressClock_->size() : early_.size();
}

KorMacProgrammer::CmdPtr KorMacProgrammer::overflowAddrOp(MacEntryKey const& k) const {
  if (!updateOverflowAddressClock_) return CmdPtr();
  auto* q = const_cast<Vix::ReviewLoop<MacEntryKey, CmdPtr>&>(*updateOverflowAddressClock_).find(0, k);
  return q ? *q : CmdPtr();
}

size_t KorMacProgrammer::overflowAddrOpSize() const {
  return updateOverflowAddressClock_ ? updateOverflowAddressClock_->size() : 0;
}

std::optional<MacEntryKey> KorMacProgrammer::overflowAddrOpBookmark() const {
  return updateOverflowAddressClock_ ? updateOverflowAddressClock_->lane(0).bookmark() : std::nullopt;
}

std::optional<uint64_t> KorMacProgrammer::inProgMacOpBookmark() const {
  return pollReqClock_ ? pollReqClock_->lane(0).bookmark() : std::nullopt;
}

Vix::Seconds KorMacProgrammer::overflowRetryDue() const {
  return updateOverflowAddressClock_ ? updateOverflowAddressClock_->due() : Vix::kNever;
}

void KorMacProgrammer::handleInitialized() {
  KOR_TRACE_FUNC();
  updatePendingAddressClock_ = std::make_unique<Vix::ReviewLoop<uint32_t, CmdPtr>>(
      timerWheel_, [this] { updatePendingAddresses(); }, updateQuantum_);
  pollReqClock_ =
      std::make_unique<Vix::ReviewLoop<uint64_t, bool>>(timerWheel_, [this] { pollInProgressCmds(); }, pollReqQuantum_);
  updateOverflowAddressClock_ = std::make_unique<Vix::ReviewLoop<MacEntryKey, CmdPtr>>(
      timerWheel_, [this] { updateOverflowAddresses(); }, updateQuantum_);
  KOR_ASSERT(updatePendingAddressClock_);
  KOR_ASSERT(pollReqClock_);
  KOR_ASSERT(updateOverflowAddressClock_);
  updatePendingAddressClock_->laneAdd([this](uint32_t const&, CmdPtr& cmd) { return doWritePending(cmd); });
  updatePendingAddressClock_->intervalIs(updateDelay_);
  pollReqClock_->laneAdd([this](uint64_t const& txn, bool&) { return doPollOne(txn); }, Vix::LaneKind::retry);
  pollReqClock_->retryIntervalIs(pollReqFreq_);
  pollReqClock_->retryPeriodIs(pollReqFreq_);
  updateOverflowAddressClock_->laneAdd(
      [this](MacEntryKey const& k, CmdPtr& cmd) { return doRetryOverflow(k, cmd); }, Vix::LaneKind::retry);
  updateOverflowAddressClock_->retryIntervalIs(updateOverflowAddressDelay_);
  updateOverflowAddressClock_->retryPeriodIs(updateOverflowAddressDelay_);
  std::vector<CmdPtr> early;
  std::swap(early, early_);
  for (auto const& cmd : early) pendingMacOpEnq(cmd);
}

void KorMacProgrammer::handleAddrOp(CmdPtr const& cmd) {
  KOR_ASSERT(cmd->addrOp());
  MacEntryKey const& key = cmd->key();
  if (CmdPtr old = overflowAddrOp(key)) {
    KOR_TRACE(7, " Found an entry " << *old << " with same key in overflow queue, remove it");
    updateOverflowAddressClock_->erase(0, key);
  }
  if (CmdPtr old = inProgAddrOp(key)) {
    KOR_TRACE(7, "Found an entry " << *old << " with same key in in-progress queue, mark it out-of-date");
    old->validIs(false);
  }
  if (CmdPtr old = pendingAddrOp(key)) old->validIs(false);
  retriedKeys_.erase(key);
  cmd->validIs(true);
  cmd->transactionIdIs(nextTxn_++);
  pendingAddrOp_.insert_or_assign(key, cmd);
  pendingMacOpEnq(cmd);
}

void KorMacProgrammer::handleFlushOp(CmdPtr const& cmd) {
  KOR_ASSERT(!( cmd->addrOp() ));
  cmd->validIs(true);
  cmd->transactionIdIs(nextTxn_++);
  KOR_TRACE(7, __func__ << " cmd: " << *cmd << " transactionId: " << cmd->transactionId());
  // An overflowed add the flush covers would bring the flushed entry back.
  doDropOverflowCoveredBy(cmd);
  pendingFlushOp_.insert_or_assign(cmd->transactionId(), cmd);
  pendingMacOpEnq(cmd);
}

void KorMacProgrammer::pendingMacOpEnq(CmdPtr const& cmd) {
  if (!updatePendingAddressClock_) {
    early_.push_back(cmd);
    return;
  }
  updatePendingAddressClock_->enqueue(0, nextSeq_++, cmd);
  if (!suspendPending_) updatePendingAddressClock_->scheduleAt(timerWheel_->now());
}

void KorMacProgrammer::doDropOverflowCoveredBy(CmdPtr const& flush) {
  if (!updateOverflowAddressClock_) return;
  std::vector<MacEntryKey> covered;
  updateOverflowAddressClock_->lane(0).forEach([&](MacEntryKey const& k, CmdPtr const& c) {
    if (flush->flushCovers(k, c->intf())) covered.push_back(k);
  });
  for (auto const& k : covered) updateOverflowAddressClock_->erase(0, k);
  if (covered.size()) KOR_TRACE(7, "flush " << *flush << " drops " << covered.size() << " overflowed commands");
}

void KorMacProgrammer::updatePendingAddresses() {
  KOR_TRACE_FUNC();
  if (suspendPending_) return;  // suspendPendingIs(false) starts the walk again
  auto& walk = *updatePendingAddressClock_;
  writesThisPass_ = 0;
  chipBusy_ = false;
  Vix::PassResult r = walk.runPass();
  if (r == Vix::PassResult::stopped) {
    // The chip was busy (wait updateDelay) or this pass wrote its share (next turn).
    walk.scheduleAt(timerWheel_->now() + (chipBusy_ ? updateDelay_ : 0));
    KOR_TRACE(8, "Schedule review for pending items");
  } else if (r == Vix::PassResult::yielded || !walk.empty()) {
    KOR_TRACE(8, "Schedule review for pending items");
  } else if (!inProgMacOp_.empty()) {
    KOR_TRACE(8, "In-progress cmd exists. Schedule review.");
    if (!suspendInProgress_) pollReqClock_->scheduleRetry();
  } else {
    KOR_TRACE(8, "Nothing is pending. Stop");
  }
}

ReviewAction KorMacProgrammer::doWritePending(CmdPtr const& cmd) {
  if (cmd->addrOp() && pendingAddrOp(cmd->key()) != cmd) {
    KOR_TRACE(7, " cmd " << *cmd << " is out-of-date, skip it");
    return ReviewAction::done;
  }
  if (updateQuantumofTimes_ && writesThisPass_ >= updateQuantumofTimes_) return ReviewAction::stop;
  MacProgramStatus st = writeToHw(cmd);
  KOR_TRACE(7, " cmd " << *cmd << " write to hardware result : " << st);
  if (st == MacProgramStatus::macProgramBusy) {
    chipBusy_ = true;
    return ReviewAction::stop;
  }
  ++writesThisPass_;
  cmd->execStartTimeIs(timerWheel_->now());
  if (cmd->addrOp()) {
    pendingAddrOp_.erase(cmd->key());
    inProgAddrOp_.insert_or_assign(cmd->key(), cmd);
  } else {
    pendingFlushOp_.erase(cmd->transactionId());
  }
  inProgMacOp_.insert_or_assign(cmd->transactionId(), cmd);
  pollReqClock_->enqueue(0, cmd->transactionId());
  if (!suspendInProgress_) pollReqClock_->scheduleRetry();
  if (st != MacProgramStatus::macProgramInProgress && st != MacProgramStatus::macProgramFlushInProgress) {
    // The chip answered at once.
    handleCmdResponse(cmd->transactionId(), cmd->tblIndex(), st);
  }
  return ReviewAction::done;
}

void KorMacProgrammer::handleCmdResponse(uint64_t transactionId, uint32_t tblIndex, MacProgramStatus status) {
  CmdPtr cmd = inProgMacOp(transactionId);
  if (!cmd) {
    ++unknownResponses_;
    KOR_TRACE(5, __func__ << ": Can't find in progress command for transaction id: " << transactionId);
    return;
  }
  KOR_TRACE(7, __func__ << ": transactionId: " << transactionId << " status: " << status);
  if (!toString(status)) {
    KOR_TRACE(3, __func__ << ": unexpected mac program status " << status << " for " << *cmd);
    status = MacProgramStatus::macProgramFailed;
  }
  if (status == MacProgramStatus::macProgramInProgress || status == MacProgramStatus::macProgramFlushInProgress)
    return;  // still running: the poll watches it
  cmd->tblIndexIs(tblIndex);
  doCompleteCmd(cmd, status);
}

void KorMacProgrammer::pollInProgressCmds() {
  KOR_TRACE_FUNC();
  if (suspendInProgress_) return;  // suspendInProgressIs(false) starts the polls again
  auto& walk = *pollReqClock_;
  polledThisPass_ = 0;
  Vix::PassResult r = walk.runPass();
  if (r == Vix::PassResult::stopped) walk.scheduleAt(timerWheel_->now());
  else if (r == Vix::PassResult::complete) walk.scheduleRetry();
}

ReviewAction KorMacProgrammer::doPollOne(uint64_t txn) {
  CmdPtr cmd = inProgMacOp(txn);
  if (!cmd) return ReviewAction::done;
  if (pollReqQuantumofTimes_ && polledThisPass_ >= pollReqQuantumofTimes_) return ReviewAction::stop;
  ++polledThisPass_;
  if (timerWheel_->now() - cmd->execStartTime() <= maxExecTime_) return ReviewAction::keep;
  ++stalledCmds_;
  KOR_TRACE(3, __func__ << " cmd " << *cmd << " had stalled");
  MacProgramStatus st = doPollCmd(cmd);
  if (st == MacProgramStatus::macProgramInProgress || st == MacProgramStatus::macProgramFlushInProgress)
    return ReviewAction::keep;
  handleCmdResponse(txn, cmd->tblIndex(), st);
  return ReviewAction::done;
}

void KorMacProgrammer::updateOverflowAddresses() {
  KOR_TRACE_FUNC();
  auto& walk = *updateOverflowAddressClock_;
  Vix::PassResult r = walk.runPass();
  if (r == Vix::PassResult::complete) {
    ++overflowRounds_;
    // The next round, should commands come back full, waits longer.
    updateOverflowAddressDelay_ = std::min(updateOverflowAddressDelay_ * 2, updateOverflowAddressMaxDelay_);
    walk.retryIntervalIs(updateOverflowAddressDelay_);
    walk.retryPeriodIs(updateOverflowAddressDelay_);
    walk.scheduleRetry();
  }
  if (!updatePendingAddressClock_->empty()) {
    KOR_TRACE(8, "Pending cmd exists, schedule Pending");
    if (!suspendPending_) updatePendingAddressClock_->scheduleAt(timerWheel_->now());
  }
}

ReviewAction KorMacProgrammer::doRetryOverflow(MacEntryKey const& key, CmdPtr const& cmd) {
  if (pendingAddrOp(key)) {
    KOR_TRACE(7, " cmd " << *cmd << ": a command with the same key is in pending");
    return ReviewAction::done;
  }
  cmd->validIs(true);
  cmd->transactionIdIs(nextTxn_++);
  pendingAddrOp_.insert_or_assign(key, cmd);
  retriedKeys_.insert_or_assign(key, true);
  pendingMacOpEnq(cmd);
  return ReviewAction::done;
}

bool KorMacProgrammer::doesKeyHaveNewer(CmdPtr const& cmd) const {
  if (!cmd->addrOp()) return false;
  CmdPtr p = pendingAddrOp(cmd->key());
  CmdPtr i = inProgAddrOp(cmd->key());
  return (p && p != cmd) || (i && i != cmd) || !cmd->valid();
}

void KorMacProgrammer::doRemoveInProgress(CmdPtr const& cmd) {
  inProgMacOp_.erase(cmd->transactionId());
  if (cmd->addrOp() && inProgAddrOp(cmd->key()) == cmd) inProgAddrOp_.erase(cmd->key());
  if (pollReqClock_) pollReqClock_->erase(0, cmd->transactionId());
}

void KorMacProgrammer::doFinish(CmdPtr const& cmd) {
  doRemoveInProgress(cmd);
  if (!cmd->valid()) return;  // out of date: the chip skipped it
  writeToHwShadow(cmd);
  if (cmd->addrOp() && retriedKeys_.erase(cmd->key()) && retriedKeys_.empty() && overflowAddrOpSize() == 0)
    updateOverflowAddressDelay_ = updateOverflowAddressMinDelay_;  // every retried command got in
  if (!cmd->addrOp() || cmd->cmdType() == IndirectAccessMacCmdType::removeHost) doRoomFreed();
}

void KorMacProgrammer::doMoveToOverflow(CmdPtr const& cmd) {
  doRemoveInProgress(cmd);
  if (doesKeyHaveNewer(cmd)) {  // the newer command decides
    retriedKeys_.erase(cmd->key());
    return;
  }
  auto& walk = *updateOverflowAddressClock_;
  walk.enqueue(0, cmd->key(), cmd);
  KOR_TRACE(7, "Overflow cmd exists, schedule Pending." << " updateOverflowAddressDelay:" << updateOverflowAddressDelay_);
  walk.scheduleRetry();
}

void KorMacProgrammer::doRequeuePending(CmdPtr const& cmd) {
  doRemoveInProgress(cmd);
  if (doesKeyHaveNewer(cmd)) {
    if (cmd->addrOp()) retriedKeys_.erase(cmd->key());
    return;
  }
  cmd->transactionIdIs(nextTxn_++);
  if (cmd->addrOp()) pendingAddrOp_.insert_or_assign(cmd->key(), cmd);
  else pendingFlushOp_.insert_or_assign(cmd->transactionId(), cmd);
  pendingMacOpEnq(cmd);
}

void KorMacProgrammer::doRoomFreed() {
  if (!updateOverflowAddressClock_ || updateOverflowAddressClock_->empty()) return;
  auto& walk = *updateOverflowAddressClock_;
  updateOverflowAddressDelay_ = updateOverflowAddressMinDelay_;
  walk.retryIntervalIs(updateOverflowAddressDelay_);
  walk.retryPeriodIs(updateOverflowAddressDelay_);
  walk.retryNow();
}

MacProgramStatus KorMacProgrammer::writeToHw(CmdPtr const&) {
  korAssert("Call to unimplemented function KorMacProgrammer::writeToHw");
  return MacProgramStatus::macProgramFailed;
}

void KorMacProgrammer::writeToHwShadow(CmdPtr const&) {
  korAssert("Call to unimplemented function KorMacProgrammer::writeToHwShadow");
}

void KorMacProgrammer::doCompleteCmd(CmdPtr const& cmd, MacProgramStatus) {
  korAssert("Call to unimplemented function KorMacProgrammer::doCompleteCmd");
  doRemoveInProgress(cmd);
}

MacProgramStatus KorMacProgrammer::doPollCmd(CmdPtr const&) { return MacProgramStatus::macProgramInProgress; }

}  // namespace Kor
