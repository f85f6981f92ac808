#pragma once
// The software chip's MAC part: the MAC table (MacHashTable, "mac") and the
// chip's indirect-access command port. A command handed in (submit) waits in
// the port's queue for cmdDelay seconds, then executes in order of arrival
// and leaves an answer (transaction id, table index, MacProgramStatus) for
// whoever drains the port (doCompleteDue: the SoftMacProgrammer's
// completion clock). The port holds at most queueDepth commands: a command
// beyond is refused at once as busy. A command that is out of date by the
// time it executes (not valid) does nothing and is answered success.
//
// Faults: the injector rules for the kind "mac" (keyed by the command key's
// text) turn an execution into failed (fail), busy (notReady) or full
// (resourceFull) without touching the table; answersLostIs(n) executes the
// next n commands but loses their answers (the programmer's poll finds them
// stalled). Owned by the SoftChip for the agent's whole life.
#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

#include "kor/records/IndirectAccessMacCmd.h"
#include "kor/records/MacProgramStatus.h"
#include "softchip/common/ChipRegistry.h"
#include "softchip/common/FaultInjector.h"
#include "softchip/mac/MacHashTable.h"
#include "vix/Ptr.h"
#include "vix/Time.h"

namespace SoftChip {

class MacChip {
 public:
  struct Answer {
    uint64_t transactionId;
    uint32_t tblIndex;
    Kor::MacProgramStatus status;
  };
  // Default geometry: 4096 buckets of 4 ways.
  static constexpr uint32_t kBuckets = 4096;
  static constexpr uint32_t kWays = 4;

  MacChip(ChipRegistry& registry, FaultInjector* injector);
  MacChip(MacChip const&) = delete;
  MacChip& operator=(MacChip const&) = delete;

  MacHashTable& table() { return table_; }
  MacHashTable const& table() const { return table_; }

  Vix::Seconds cmdDelay() const { return cmdDelay_; }
  void cmdDelayIs(Vix::Seconds s) { cmdDelay_ = s; }
  size_t queueDepth() const { return queueDepth_; }
  void queueDepthIs(size_t n) { queueDepth_ = n; }
  void answersLostIs(uint32_t n) { answersLost_ = n; }

  // Takes a command: in progress (flush in progress for a flush), or busy
  // when the port is full.
  Kor::MacProgramStatus submit(Vix::Ptr<Kor::IndirectAccessMacCmd const> const& cmd, Vix::Seconds now);
  // Executes the commands due by `now`, in order; returns their answers.
  std::vector<Answer> doCompleteDue(Vix::Seconds now);
  // When the oldest waiting command is due (kNever: none).
  Vix::Seconds nextDue() const;
  size_t outstanding() const { return queue_.size(); }
  // Whether the command is still waiting in the port.
  bool knows(uint64_t transactionId) const;

  uint64_t executed() const { return executed_; }
  uint64_t skipped() const { return skipped_; }

 private:
  struct Waiting {
    Vix::Ptr<Kor::IndirectAccessMacCmd const> cmd;
    Vix::Seconds due;
  };
  Answer doExecute(Kor::IndirectAccessMacCmd const& cmd);
  ChipAnswer doAsk(Kor::IndirectAccessMacCmd const& cmd);

  FaultInjector* injector_;
  MacHashTable table_;
  Vix::Seconds cmdDelay_ = 0.001;
  size_t queueDepth_ = 1024;
  uint32_t answersLost_ = 0;
  std::deque<Waiting> queue_;
  uint64_t executed_ = 0;
  uint64_t skipped_ = 0;
};

}  // namespace SoftChip
