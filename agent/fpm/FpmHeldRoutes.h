#pragma once
// Routes that named a next-hop object the agent did not have when they came.
// zebra sends the objects before the routes over them, but a reconnect or a
// replay can reorder them: such a route is held, not refused, until its
// object arrives, then applied as if it came then. Owns the held routes, one
// per (table, prefix): zebra's latest word on a prefix is what counts, so a
// newer message for the prefix (an add applied or held, a delete) replaces
// or drops the held one. Invariants: every held route is indexed under the
// object it waits for, and no more than limit() are held - past the bound a
// route is refused as before (counted, logged), so a stream of routes over
// objects that never come cannot grow the agent without end. Routes held by
// an older connection that its successor's stale sweep finds still waiting
// are dropped with the sweep (zebra did not re-send them).
// Fed by FpmRouteSource.
#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "feeds/NlRoute.h"
#include "vix/HashMap.h"

namespace KorAgent {

class FpmHeldRoutes {
 public:
  static constexpr size_t kLimit = 16384;
  struct Counters {
    uint64_t held = 0;      // routes held (a replacement counts again)
    uint64_t released = 0;  // applied when their object came
    uint64_t replaced = 0;  // a newer message for the prefix took its place
    uint64_t dropped = 0;   // deleted by zebra, or stale after a reconnect
    uint64_t overflow = 0;  // refused: limit() held already
  };

  size_t limit() const { return limit_; }
  void limitIs(size_t n) { limit_ = n; }
  size_t size() const { return held_.size(); }
  Counters const& counters() const { return counters_; }

  // Holds `r` (gen: the connection that sent it), replacing a route held for
  // its table and prefix; false when the bound refuses it.
  bool hold(KorFeeds::NlRoute const& r, uint32_t gen);
  // A newer message for the prefix: the route held for it goes. `deleted`:
  // zebra deleted the prefix (counted dropped, else replaced). True when one
  // was held.
  bool drop(uint32_t table, KorFeeds::NlRoute::Prefix const& prefix, bool deleted);
  // The routes waiting for object `nhId`, in the order they came, no longer
  // held.
  std::vector<KorFeeds::NlRoute> take(uint32_t nhId);
  // Drops the routes held by connections other than `gen`.
  void dropStale(uint32_t gen);

 private:
  struct Key {
    uint32_t table = 0;
    KorFeeds::NlRoute::Prefix prefix;
    bool operator==(Key const&) const = default;
  };
  struct KeyHash {
    size_t operator()(Key const& k) const noexcept;
  };
  struct Held {
    KorFeeds::NlRoute route;
    uint32_t gen = 0;
  };
  void doUnindex(Key const& k, uint32_t nhId);

  size_t limit_ = kLimit;
  Vix::HashMap<Key, Held, KeyHash> held_;
  std::unordered_map<uint32_t, std::vector<Key>> byObject_;
  Counters counters_;
};

}  // namespace KorAgent
