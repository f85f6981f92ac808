#pragma once
// What `run until idle` reports when the loop does not go idle: which
// machine still waits, for which objects, and why - routes the chip refused
// (unprogrammed, per VRF and family), L2 adjacencies the chip has not
// installed (by index, with their state and FECs), VRFs the chip has not
// taken, queued reviews and deletions - and the fingerprint that tells
// progress from retries that cannot succeed: the chip's write counters
// (refused writes count nothing) and that list. Over a window in which
// neither changed and nothing waits for its own time (a review queue, a
// deletion delay), only retries are left that cannot succeed until
// something changes: the run is settled, not busy. Reads the agent's
// library and chip; owns nothing.
#include <cstdint>
#include <string>
#include <vector>

namespace KorAgent {

class Agent;

class IdleWatch {
 public:
  explicit IdleWatch(Agent const& agent) : agent_(agent) {}

  // One line per waiting machine and object ("KorRoutingSm vrf red: 2 routes
  // unprogrammed, routing resources full"), at most kMaxLines and a count of
  // the rest.
  std::vector<std::string> waiting() const;
  // Work that progresses by its own timers (queued route reviews, deletions
  // waiting for their delay): while there is some, the run is not settled.
  bool timedWorkPending() const;
  // Every change the chip's tables took so far.
  uint64_t chipChanges() const;

  static constexpr size_t kMaxLines = 20;

 private:
  Agent const& agent_;
};

}  // namespace KorAgent
