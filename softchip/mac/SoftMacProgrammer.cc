#include "softchip/mac/SoftMacProgrammer.h"

#include <vector>

namespace SoftChip {

using Kor::IndirectAccessMacCmdType;
using Kor::MacProgramStatus;

SoftMacProgrammer::SoftMacProgrammer(Vix::Ptr<Kor::KorCommonSmData> const& acsd, Vix::ActivityLoop* loop,
                                     MacChip* chip)
    : KorMacProgrammer(acsd, loop, "SoftMacProgrammer"), chip_(chip), answers_(loop, [this] { handleAnswers(); }) {}

SoftMacProgrammer::~SoftMacProgrammer() = default;

MacProgramStatus SoftMacProgrammer::writeToHw(CmdPtr const& cmd) {
  MacProgramStatus st = chip_->submit(cmd, timerWheel()->now());
  answers_.timeMinEarlierIs(chip_->nextDue());
  return st;
}

void SoftMacProgrammer::handleAnswers() {
  for (auto const& a : chip_->doCompleteDue(timerWheel()->now()))
    handleCmdResponse(a.transactionId, a.tblIndex, a.status);
  answers_.timeMinEarlierIs(chip_->nextDue());
}

void SoftMacProgrammer::writeToHwShadow(CmdPtr const& cmd) {
  switch (cmd->cmdType()) {
    case IndirectAccessMacCmdType::addHost:
    case IndirectAccessMacCmdType::addMcastHost: shadow_[cmd->key()] = cmd->intf(); return;
    case IndirectAccessMacCmdType::removeHost: shadow_.erase(cmd->key()); return;
    default: break;
  }
  std::erase_if(shadow_, [&](auto const& kv) { return cmd->flushCovers(kv.first, kv.second); });
}

void SoftMacProgrammer::doCompleteCmd(CmdPtr const& cmd, MacProgramStatus status) {
  switch (status) {
    case MacProgramStatus::macProgramSuccess: doFinish(cmd); return;
    case MacProgramStatus::macProgramBusy: doRequeuePending(cmd); return;
    default: break;  // full, failed, parity error
  }
  if (cmd->addrOp()) doMoveToOverflow(cmd);
  else doRequeuePending(cmd);
}

MacProgramStatus SoftMacProgrammer::doPollCmd(CmdPtr const& cmd) {
  return chip_->knows(cmd->transactionId()) ? MacProgramStatus::macProgramInProgress
                                            : MacProgramStatus::macProgramFailed;
}

}  // namespace SoftChip
