#pragma once
// The agent's single activity loop. Every state machine, timer and file
// descriptor callback runs here, one at a time. Due timers fire in order of
// due time, and timers due at the same time in the order they were armed.
//
// With a manual time source, run() jumps time from one due timer to the next,
// so time-sliced work, yields and bookmarks are deterministic in tests. With
// the monotonic source it sleeps in poll() until the next timer or descriptor.
//
// The loop is never run from inside one of its own handlers: runDue(),
// runFor(), runUntilIdle() and run() called while a timer or descriptor
// handler of this loop is on the stack throw std::logic_error. A nested run
// would call the same handlers again (a readable descriptor stays readable)
// and recurse without end.
#include <cstdint>
#include <functional>
#include <map>
#include <vector>

#include "vix/Clock.h"
#include "vix/Ptr.h"
#include "vix/Time.h"

namespace Vix {

class ActivityLoop : public PtrInterface {
 public:
  explicit ActivityLoop(Ptr<TimeSource> ts);
  ~ActivityLoop() override;

  Seconds now() const { return time_->now(); }
  TimeSource* timeSource() const { return time_.ptr(); }

  // Due time of the earliest armed timer, kNever when none is armed.
  Seconds nextDue() const;
  // Fires every timer due at the current time (including ones armed for now
  // by the handlers, up to a bound). Returns how many fired.
  size_t runDue();
  // Runs the loop for d seconds of loop time.
  void runFor(Seconds d);
  // Runs until no timer is armed, or `limit` seconds of loop time pass.
  // Returns false when the limit was hit with work still armed.
  bool runUntilIdle(Seconds limit = 3600.0);
  // Runs until stop() (real time) — the agent's main loop.
  void run();
  void stop() { stopped_ = true; }

  // File descriptor readiness callbacks. A descriptor has at most one read
  // watcher (called when it is readable) and one write watcher (called when
  // it is writable); both are also called on hang-up or error, so the owner
  // sees the end. Remove both before closing the descriptor: one closed
  // while still watched is dropped from the loop at the next poll.
  using FdHandler = std::function<void()>;
  void fdIs(int fd, FdHandler h);
  void fdDel(int fd);
  void fdWriteIs(int fd, FdHandler h);
  void fdWriteDel(int fd);
  size_t fdWatched() const { return fds_.size(); }
  // True while one of this loop's timer or descriptor handlers runs.
  bool inHandler() const { return handlerDepth_ > 0; }

  uint64_t timersFired() const { return fired_; }
  // The longest time one timer handler held the loop (loop time), since
  // construction or the last longestHandlerTimeReset().
  Seconds longestHandlerTime() const { return longestHandler_; }
  void longestHandlerTimeReset() { longestHandler_ = 0; }

 private:
  friend class Clock;
  void schedule(Clock* c);
  void unschedule(Clock* c);
  void pollFds(Seconds timeout);
  void doRefuseNestedRun(char const* what) const;
  void doForgetEmptyWatch(int fd);

  // The watchers of one descriptor; `id` tells a watch from a later one of
  // the same descriptor number (closed and reused inside a handler).
  struct FdWatch {
    FdHandler read;
    FdHandler write;
    uint64_t id = 0;
  };

  Ptr<TimeSource> time_;
  std::map<Clock::Key, Clock*> timers_;
  uint64_t seq_ = 0;
  uint64_t fired_ = 0;
  Seconds longestHandler_ = 0;
  bool stopped_ = false;
  std::map<int, FdWatch> fds_;
  uint64_t watchSeq_ = 0;
  int handlerDepth_ = 0;
};

}  // namespace Vix
