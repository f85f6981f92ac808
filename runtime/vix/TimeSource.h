#pragma once
// Where the activity loop reads time: the monotonic clock for the agent and
// the benchmarks, a manual one that tests advance.
#include "vix/PtrInterface.h"
#include "vix/Time.h"

namespace Vix {

class TimeSource : public PtrInterface {
 public:
  virtual Seconds now() const = 0;
  // True when the loop may jump straight to the next due timer instead of
  // waiting for it (a manual clock).
  virtual bool isManual() const { return false; }
  virtual void advanceTo(Seconds) {}
};

}  // namespace Vix
