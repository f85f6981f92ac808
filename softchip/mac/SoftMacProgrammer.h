#pragma once
// The software chip's MAC programmer: writes commands to the MacChip's
// command port, drains the port's answers on a clock of its own (armed for
// the oldest waiting command) and decides what each answer does:
//   success           finished: removed, recorded in the shadow table;
//   full              an address command waits in the overflow queue;
//   busy              back to the pending queue (the chip could not run it
//                     now; the next pending walk tries again);
//   failed, parity    an address command goes to the overflow queue, so it
//                     is retried with the growing delay (a failure may be
//                     transient, and a lost entry is worse than a late one);
//                     a flush goes back to pending.
// The shadow table (writeToHwShadow) is what the chip holds as far as the
// finished commands tell: key -> interface.
#include <map>

#include "kor/mac/KorMacProgrammer.h"
#include "softchip/mac/MacChip.h"
#include "vix/Clock.h"

namespace SoftChip {

class SoftMacProgrammer : public Kor::KorMacProgrammer {
 public:
  SoftMacProgrammer(Vix::Ptr<Kor::KorCommonSmData> const& acsd, Vix::ActivityLoop* loop, MacChip* chip);
  ~SoftMacProgrammer() override;

  Kor::MacProgramStatus writeToHw(CmdPtr const& cmd) override;
  void writeToHwShadow(CmdPtr const& cmd) override;
  std::map<Kor::MacEntryKey, Nollo::IntfId> const& shadow() const { return shadow_; }

 protected:
  void doCompleteCmd(CmdPtr const& cmd, Kor::MacProgramStatus status) override;
  // A stalled command the port no longer holds lost its answer: failed.
  Kor::MacProgramStatus doPollCmd(CmdPtr const& cmd) override;

 private:
  void handleAnswers();

  MacChip* chip_;
  std::map<Kor::MacEntryKey, Nollo::IntfId> shadow_;
  Vix::Clock answers_;
};

}  // namespace SoftChip
