#pragma once
// Test time: moves only when told, so passes, yields and timers are
// deterministic.
#include "vix/TimeSource.h"

namespace Vix {

class ManualTimeSource : public TimeSource {
 public:
  explicit ManualTimeSource(Seconds start = 1000.0) : now_(start) {}
  Seconds now() const override { return now_; }
  bool isManual() const override { return true; }
  void advanceTo(Seconds t) override { if (t > now_) now_ = t; }
  void advance(Seconds d) { now_ += d; }

 private:
  Seconds now_;
};

}  // namespace Vix
