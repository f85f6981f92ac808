#include "softchip/mac/MacChip.h"

#include <sstream>

namespace SoftChip {

using Kor::IndirectAccessMacCmdType;
using Kor::MacProgramStatus;

MacChip::MacChip(ChipRegistry& registry, FaultInjector* injector) : injector_(injector), table_(kBuckets, kWays) {
  registry.tableIs(&table_);
}

MacProgramStatus MacChip::submit(Vix::Ptr<Kor::IndirectAccessMacCmd const> const& cmd, Vix::Seconds now) {
  if (queue_.size() >= queueDepth_) return MacProgramStatus::macProgramBusy;
  queue_.push_back(Waiting{cmd, now + cmdDelay_});
  return cmd->addrOp() ? MacProgramStatus::macProgramInProgress : MacProgramStatus::macProgramFlushInProgress;
}

Vix::Seconds MacChip::nextDue() const { return queue_.empty() ? Vix::kNever : queue_.front().due; }

bool MacChip::knows(uint64_t transactionId) const {
  for (auto const& w : queue_)
    if (w.cmd->transactionId() == transactionId) return true;
  return false;
}

std::vector<MacChip::Answer> MacChip::doCompleteDue(Vix::Seconds now) {
  std::vector<Answer> answers;
  while (!queue_.empty() && queue_.front().due <= now) {
    auto cmd = queue_.front().cmd;
    queue_.pop_front();
    Answer a = doExecute(*cmd);
    if (answersLost_) {
      --answersLost_;
      continue;
    }
    answers.push_back(a);
  }
  return answers;
}

ChipAnswer MacChip::doAsk(Kor::IndirectAccessMacCmd const& cmd) {
  if (!injector_->kindRuled(table_.name())) return injector_->answerUnruled(injector_->kindCounters(table_.name()), false);
  std::ostringstream key;
  key << cmd.key();
  return injector_->answer(table_.name(), key.str());
}

MacChip::Answer MacChip::doExecute(Kor::IndirectAccessMacCmd const& cmd) {
  Answer a{cmd.transactionId(), 0, MacProgramStatus::macProgramSuccess};
  if (!cmd.valid()) {
    ++skipped_;
    return a;
  }
  switch (doAsk(cmd)) {
    case ChipAnswer::success: break;
    case ChipAnswer::fail: a.status = MacProgramStatus::macProgramFailed; return a;
    case ChipAnswer::notReady: a.status = MacProgramStatus::macProgramBusy; return a;
    case ChipAnswer::resourceFull: a.status = MacProgramStatus::macProgramFull; return a;
  }
  ++executed_;
  switch (cmd.cmdType()) {
    case IndirectAccessMacCmdType::addHost:
    case IndirectAccessMacCmdType::addMcastHost:
      if (table_.add(cmd.key(), cmd.intf(), cmd.entryType(), &a.tblIndex) == MacHashTable::AddResult::full)
        a.status = MacProgramStatus::macProgramFull;
      break;
    case IndirectAccessMacCmdType::removeHost:
      if (auto at = table_.find(cmd.key())) a.tblIndex = *at;
      table_.remove(cmd.key());
      break;
    default:
      table_.removeIf([&](MacHashTable::Slot const& s) { return cmd.flushCovers(s.key, s.intf); });
      break;
  }
  return a;
}

}  // namespace SoftChip
