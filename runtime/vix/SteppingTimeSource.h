#pragma once
// Test time that moves a fixed step each time it is read, and jumps like a
// manual clock to the next due timer. Every clock check a pass makes costs
// one step, so how long a pass holds the loop is counted in reads of the
// clock: the same on every machine, whatever its load.
#include "vix/TimeSource.h"

namespace Vix {

class SteppingTimeSource : public TimeSource {
 public:
  explicit SteppingTimeSource(Seconds step, Seconds start = 1000.0) : step_(step), now_(start) {}
  Seconds now() const override { return now_ += step_; }
  bool isManual() const override { return true; }
  void advanceTo(Seconds t) override { if (t > now_) now_ = t; }
  Seconds step() const { return step_; }

 private:
  Seconds step_;
  mutable Seconds now_;
};

}  // namespace Vix
