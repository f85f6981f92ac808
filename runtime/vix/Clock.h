#pragma once
// A timer of the activity loop. timeMin() is the due time; a disarmed clock
// holds kNever. When the loop reaches timeMin it disarms the clock and calls the
// handler, which may arm it again. Destroying a clock cancels it.
#include <functional>
#include <map>
#include <utility>

#include "vix/Time.h"

namespace Vix {

class ActivityLoop;

class Clock {
 public:
  using Handler = std::function<void()>;
  Clock(ActivityLoop* loop, Handler h);
  Clock(Clock const&) = delete;
  Clock& operator=(Clock const&) = delete;
  ~Clock();

  Seconds timeMin() const { return timeMin_; }
  void timeMinIs(Seconds t);
  // Moves the due time earlier only; a later time leaves it as it is.
  void timeMinEarlierIs(Seconds t) { if (t < timeMin_) timeMinIs(t); }
  bool armed() const { return timeMin_ != kNever; }
  ActivityLoop* loop() const { return loop_; }
  Seconds now() const;
  uint64_t firings() const { return firings_; }

 private:
  friend class ActivityLoop;
  using Key = std::pair<Seconds, uint64_t>;
  ActivityLoop* loop_;
  Handler handler_;
  Seconds timeMin_ = kNever;
  Key key_{kNever, 0};
  uint64_t firings_ = 0;
};

}  // namespace Vix
