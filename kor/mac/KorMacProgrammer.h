#pragma once
// The MAC programmer: the queueing engine through which add, remove and flush
// commands reach the chip's MAC table. A platform derives from it and
// supplies the writing (writeToHw, writeToHwShadow), the completion step
// (doCompleteCmd: what each MacProgramStatus does to a command) and,
// optionally, the poll of a stalled command (doPollCmd).
//
// A command's road: handleAddrOp / handleFlushOp give it a transaction id and
// queue it in pendingMacOp (arrival order, by sequence number) and in
// pendingAddrOp (by key) or pendingFlushOp (by transaction id); the pending
// walk writes it and moves it to inProgMacOp (by transaction id) and, for an
// address command, inProgAddrOp (by key); the chip's answer
// (handleCmdResponse) goes to the completion step, which finishes it, sends
// it back to pending (busy) or parks it in overflowAddrOp (no room), from
// which the overflow walk retries it.
//
// Invariants: at most one valid command per key is pending, and a key's
// newest command is the only valid one: a newer command marks the pending or
// in-progress one out of date (the pending walk skips it; the chip does not
// execute it; its answer only removes it) and drops the overflowed one. A
// command is in exactly one of pending, in progress or overflow.
//
// The three walks are Vix::ReviewLoops on the activity loop (the timer wheel),
// each with its own clock: the pending walk (updateQuantum per slice, at most
// updateQuantumofTimes writes per slice, again after updateDelay when the
// chip was busy), the poll of in-progress commands (every pollReqFreq,
// pollReqQuantum per slice, at most pollReqQuantumofTimes commands; one
// running longer than maxExecTime is reported stalled and polled), and the
// overflow retry. Overflow retry delay: a round (which sends every
// overflowed command back to pending) starts updateOverflowAddressDelay after
// the previous one; each round doubles the delay up to
// updateOverflowAddressMaxDelay; it falls back to
// updateOverflowAddressMinDelay when every retried command got in, or when
// the chip frees room (a remove or flush finished), which also starts a
// round at once. Commands are only queued until handleInitialized() builds the walks.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kor/common/KorBaseSm.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/records/IndirectAccessMacCmd.h"
#include "kor/records/MacEntryKey.h"
#include "kor/records/MacProgramStatus.h"
#include "vix/ActivityLoop.h"
#include "vix/HashMap.h"
#include "vix/ReviewLoop.h"
#include "vix/Time.h"

namespace Kor {

class KOR_EXPORT KorMacProgrammer : public KorBaseSm {
 public:
  using CmdPtr = Vix::Ptr<IndirectAccessMacCmd>;

  KorMacProgrammer(Vix::Ptr<KorCommonSmData> const& acsd, Vix::ActivityLoop* timerWheel,
                   std::string const& traceName = "KorMacProgrammer");
  ~KorMacProgrammer() override;

  Vix::ActivityLoop* timerWheel() const { return timerWheel_; }

  // Settings (seconds, counts; 0 counts mean no bound).
  Vix::Seconds updateQuantum() const { return updateQuantum_; }
  void updateQuantumIs(Vix::Seconds s);
  uint32_t updateQuantumofTimes() const { return updateQuantumofTimes_; }
  void updateQuantumofTimesIs(uint32_t n) { updateQuantumofTimes_ = n; }
  Vix::Seconds updateDelay() const { return updateDelay_; }
  void updateDelayIs(Vix::Seconds s);
  Vix::Seconds pollReqQuantum() const { return pollReqQuantum_; }
  void pollReqQuantumIs(Vix::Seconds s);
  uint32_t pollReqQuantumofTimes() const { return pollReqQuantumofTimes_; }
  void pollReqQuantumofTimesIs(uint32_t n) { pollReqQuantumofTimes_ = n; }
  Vix::Seconds pollReqFreq() const { return pollReqFreq_; }
  void pollReqFreqIs(Vix::Seconds s);
  Vix::Seconds maxExecTime() const { return maxExecTime_; }
  void maxExecTimeIs(Vix::Seconds s) { maxExecTime_ = s; }
  Vix::Seconds updateOverflowAddressMinDelay() const { return updateOverflowAddressMinDelay_; }
  Vix::Seconds updateOverflowAddressMaxDelay() const { return updateOverflowAddressMaxDelay_; }
  // The bounds, min <= max (a max below min is raised to min).
  void updateOverflowAddressDelayBoundsIs(Vix::Seconds min, Vix::Seconds max);
  Vix::Seconds updateOverflowAddressDelay() const { return updateOverflowAddressDelay_; }

  bool suspendPending() const { return suspendPending_; }
  void suspendPendingIs(bool s);
  bool suspendInProgress() const { return suspendInProgress_; }
  void suspendInProgressIs(bool s);

  // Queues.
  size_t pendingMacOpSize() const;
  CmdPtr pendingAddrOp(MacEntryKey const& k) const { return find(pendingAddrOp_, k); }
  size_t pendingAddrOpSize() const { return pendingAddrOp_.size(); }
  CmdPtr pendingFlushOp(uint64_t txn) const { return find(pendingFlushOp_, txn); }
  size_t pendingFlushOpSize() const { return pendingFlushOp_.size(); }
  CmdPtr inProgMacOp(uint64_t txn) const { return find(inProgMacOp_, txn); }
  size_t inProgMacOpSize() const { return inProgMacOp_.size(); }
  CmdPtr inProgAddrOp(MacEntryKey const& k) const { return find(inProgAddrOp_, k); }
  size_t inProgAddrOpSize() const { return inProgAddrOp_.size(); }
  CmdPtr overflowAddrOp(MacEntryKey const& k) const;
  size_t overflowAddrOpSize() const;
  // The key the next overflow round resumes at, and the next poll.
  std::optional<MacEntryKey> overflowAddrOpBookmark() const;
  std::optional<uint64_t> inProgMacOpBookmark() const;
  // When the next overflow round is due (kNever: none).
  Vix::Seconds overflowRetryDue() const;

  // Counters.
  uint64_t stalledCmds() const { return stalledCmds_; }
  uint64_t unknownResponses() const { return unknownResponses_; }
  uint64_t overflowRounds() const { return overflowRounds_; }

  // Builds the three walks; commands queued before start now.
  void handleInitialized() override;
  // A new add or remove (requires cmd->addrOp()).
  virtual void handleAddrOp(CmdPtr const& cmd);
  // A new flush (requires !cmd->addrOp()).
  virtual void handleFlushOp(CmdPtr const& cmd);
  // The chip's answer to command `transactionId`.
  virtual void handleCmdResponse(uint64_t transactionId, uint32_t tblIndex, MacProgramStatus status);

  // Platform operations. writeToHw hands the command to the chip: in
  // progress (or flush in progress) when the chip took it, busy when it
  // cannot take one now (the command stays pending, the walk goes on after
  // updateDelay), any other status is the chip's final answer at once.
  virtual MacProgramStatus writeToHw(CmdPtr const& cmd);
  // Records a finished command in the platform's shadow of the table.
  virtual void writeToHwShadow(CmdPtr const& cmd);

  // The walks (pass handlers of the three clocks).
  void updatePendingAddresses();
  void updateOverflowAddresses();
  void pollInProgressCmds();

 protected:
  // The platform's completion step for an answered command; it ends with one
  // of the doX operations below.
  virtual void doCompleteCmd(CmdPtr const& cmd, MacProgramStatus status);
  // A command that ran past maxExecTime: its status now (in progress while
  // the chip still works on it). The default asks nothing.
  virtual MacProgramStatus doPollCmd(CmdPtr const& cmd);

  // The chip did the command: out of the in-progress maps, into the shadow
  // (unless out of date); a finished remove or flush freed room.
  void doFinish(CmdPtr const& cmd);
  // The command is over without effect: out of the in-progress maps.
  void doRemoveInProgress(CmdPtr const& cmd);
  // No room: parked for the overflow walk (dropped if its key has a newer
  // command).
  void doMoveToOverflow(CmdPtr const& cmd);
  // Not taken now: back in the pending queue with a new transaction id
  // (dropped if its key has a newer command).
  void doRequeuePending(CmdPtr const& cmd);
  // The chip freed room: overflowed commands are retried now.
  void doRoomFreed();

 private:
  template <class M, class K>
  static CmdPtr find(M const& m, K const& k) {
    auto it = m.find(k);
    return it == m.end() ? CmdPtr() : it->second;
  }
  void pendingMacOpEnq(CmdPtr const& cmd);
  Vix::ReviewAction doWritePending(CmdPtr const& cmd);
  Vix::ReviewAction doPollOne(uint64_t txn);
  Vix::ReviewAction doRetryOverflow(MacEntryKey const& key, CmdPtr const& cmd);
  bool doesKeyHaveNewer(CmdPtr const& cmd) const;
  void doDropOverflowCoveredBy(CmdPtr const& flush);

  Vix::ActivityLoop* timerWheel_;
  Vix::Seconds updateQuantum_ = 0.01;
  uint32_t updateQuantumofTimes_ = 512;
  Vix::Seconds updateDelay_ = 0.01;
  Vix::Seconds pollReqQuantum_ = 0.005;
  uint32_t pollReqQuantumofTimes_ = 0;
  Vix::Seconds pollReqFreq_ = 1.0;
  Vix::Seconds maxExecTime_ = 0.5;
  Vix::Seconds updateOverflowAddressMinDelay_ = 0.1;
  Vix::Seconds updateOverflowAddressDelay_ = 0.1;
  Vix::Seconds updateOverflowAddressMaxDelay_ = 6.4;
  bool suspendPending_ = false;
  bool suspendInProgress_ = false;

  uint32_t nextSeq_ = 0;
  uint64_t nextTxn_ = 1;
  // Queued before the walks exist (before handleInitialized).
  std::vector<CmdPtr> early_;
  Vix::HashMap<MacEntryKey, CmdPtr> pendingAddrOp_;
  Vix::HashMap<uint64_t, CmdPtr> pendingFlushOp_;
  Vix::HashMap<uint64_t, CmdPtr> inProgMacOp_;
  Vix::HashMap<MacEntryKey, CmdPtr> inProgAddrOp_;
  // Keys of overflowed commands sent back to pending and not yet in.
  Vix::HashMap<MacEntryKey, bool> retriedKeys_;

  // Per pass of the pending walk.
  uint32_t writesThisPass_ = 0;
  bool chipBusy_ = false;
  uint32_t polledThisPass_ = 0;

  uint64_t stalledCmds_ = 0;
  uint64_t unknownResponses_ = 0;
  uint64_t overflowRounds_ = 0;

  // pendingMacOp: sequence number -> command.
  std::unique_ptr<Vix::ReviewLoop<uint32_t, CmdPtr>> updatePendingAddressClock_;
  // In-progress commands by transaction id, polled in rounds.
  std::unique_ptr<Vix::ReviewLoop<uint64_t, bool>> pollReqClock_;
  // overflowAddrOp: key -> command, retried in rounds.
  std::unique_ptr<Vix::ReviewLoop<MacEntryKey, CmdPtr>> updateOverflowAddressClock_;
};

}  // namespace Kor
