#pragma once
#include <cstddef>

#include "vix/Time.h"

namespace Vix {

// The deadline of one pass; several queues walked in one pass share it.
class PassDeadline {
 public:
  PassDeadline(TimeSource const* ts, Seconds quantum, bool yieldAfterEachItem = false)
      : ts_(ts), deadline_(ts->now() + quantum), yieldEach_(yieldAfterEachItem) {}
  // Called after each item: true when the pass must yield now.
  bool expired() {
    ++items_;
    return yieldEach_ || ts_->now() > deadline_;
  }
  size_t items() const { return items_; }
  Seconds deadline() const { return deadline_; }

 private:
  TimeSource const* ts_;
  Seconds deadline_;
  bool yieldEach_;
  size_t items_ = 0;
};

}  // namespace Vix
