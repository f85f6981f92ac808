#pragma once
// Time on the activity loop: seconds as a double, +infinity for "never".
// The loop reads time through an injectable TimeSource: the agent and the
// benchmarks use the monotonic clock, tests a manual one they advance.
#include <chrono>
#include <limits>

#include "vix/Ptr.h"

namespace Vix {

using Seconds = double;
constexpr Seconds kNever = std::numeric_limits<double>::infinity();

class TimeSource : public PtrInterface {
 public:
  virtual Seconds now() const = 0;
  // True when the loop may jump straight to the next due timer instead of
  // waiting for it (a manual clock).
  virtual bool isManual() const { return false; }
  virtual void advanceTo(Seconds) {}
};

class MonotonicTimeSource : public TimeSource {
 public:
  Seconds now() const override {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
  }
};

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
