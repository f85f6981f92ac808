#pragma once
// Real time: the steady clock in seconds.
#include <chrono>

#include "vix/TimeSource.h"

namespace Vix {

class MonotonicTimeSource : public TimeSource {
 public:
  Seconds now() const override {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
  }
};

}  // namespace Vix
