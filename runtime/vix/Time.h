#pragma once
// Time on the activity loop: seconds as a double, +infinity for "never".
#include <limits>

namespace Vix {

using Seconds = double;
constexpr Seconds kNever = std::numeric_limits<double>::infinity();

}  // namespace Vix

// The sources of time come with it.
#include "vix/ManualTimeSource.h"
#include "vix/MonotonicTimeSource.h"
#include "vix/TimeSource.h"
