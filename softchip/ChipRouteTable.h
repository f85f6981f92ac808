#pragma once
// One route table of the software chip for one address family: (VRF id,
// prefix) -> ChipRoute in an open-addressing map, bounded by the capacity.
// Each write is first put to the fault injector under the table's name; the
// key's text ("<vrf id>:<prefix>", as `show chip` prints it) is built only
// while a rule names this table, so a million writes build no string. An
// answer other than success leaves the table as it was; rewriting the route
// already held counts as a sync.
//
// Invariant: lenCount_[n] is the number of entries whose prefix is n bits
// long, so a longest-prefix lookup probes only the lengths present.
// Written by the route resolver (and by the platform's route hook when a
// restarted library deletes what its FIB no longer has); read by the hook's
// walk, the agent's shows and tests.
#include <algorithm>
#include <array>
#include <cstdint>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "kor/l3/VrfAndPrefixT.h"
#include "kor/l3/VrfId.h"
#include "nollo/IpPrefix.h"
#include "softchip/ChipRoute.h"
#include "softchip/ChipTableBase.h"
#include "softchip/FaultInjector.h"
#include "vix/HashMap.h"

namespace SoftChip {

template <class AF>
class ChipRouteTable : public ChipTableBase {
 public:
  using Key = Kor::VrfAndPrefixT<AF>;
  using Prefix = Nollo::IpPrefixT<AF>;
  using Addr = typename AF::Addr;
  using Entries = Vix::HashMap<Key, ChipRoute>;
  using Entry = typename Entries::value_type;

  ChipRouteTable(std::string name, FaultInjector* injector) : ChipTableBase(std::move(name)), injector_(injector) {}

  ChipAnswer write(Key const& key, ChipRoute const& route) {
    // One probe in the common case: a new entry goes in at once and comes
    // out again when the write is refused.
    auto [it, fresh] = entries_.try_emplace(key, route);
    ChipAnswer a = doAsk(key, fresh && entries_.size() > capacity());
    if (a != ChipAnswer::success) {
      if (fresh) entries_.erase(key);
      return a;
    }
    if (fresh) {
      ++lenCount_[key.prefix.len()];
      ++counters_.creates;
    } else if (it->second == route) {
      ++counters_.syncs;
    } else {
      it->second = route;
      ++counters_.updates;
    }
    return a;
  }
  // Removing is never refused; false when the key was not there.
  bool erase(Key const& key) {
    if (!entries_.erase(key)) return false;
    --lenCount_[key.prefix.len()];
    ++counters_.deletes;
    return true;
  }
  ChipRoute const* find(Key const& key) const {
    auto it = entries_.find(key);
    return it == entries_.end() ? nullptr : &it->second;
  }
  bool has(Key const& key) const { return entries_.contains(key); }
  void prefetch(Key const& key) const { entries_.prefetch(key); }
  // Whether a new entry fits under the capacity.
  bool hasRoom() const { return entries_.size() < capacity(); }
  size_t routesOfLength(int len) const { return lenCount_[size_t(len)]; }
  Entries const& entries() const { return entries_; }
  void reserve(size_t n) { entries_.reserve(n); }

  // The entry a packet to `addr` in the VRF matches with its longest prefix;
  // null when none does.
  Entry const* longestMatch(Kor::VrfId vrfId, Addr const& addr) const {
    for (int len = AF::bits; len >= 0; --len) {
      if (!lenCount_[size_t(len)]) continue;
      auto it = entries_.find(Key{vrfId, Prefix(addr, len)});
      if (it != entries_.end()) return &*it;
    }
    return nullptr;
  }

  // Visits every route of the VRF as (key, route). The routes are collected
  // before the first visit, so the visitor may erase from the table.
  template <class Visit>
  void forEachRoute(Kor::VrfId vrfId, Visit&& visit) const {
    std::vector<Entry> found;
    for (auto const& e : entries_)
      if (e.first.vrfId == vrfId) found.push_back(e);
    for (auto const& e : found) visit(e.first, e.second);
  }

  // Each VRF id that has a route here, once.
  template <class Visit>
  void forEachVrf(Visit&& visit) const {
    Vix::HashMap<uint32_t, bool> seen;
    for (auto const& e : entries_)
      if (seen.try_emplace(e.first.vrfId.value(), true).second) visit(e.first.vrfId);
  }

  size_t size() const override { return entries_.size(); }
  std::vector<std::pair<std::string, std::string>> entryTexts() const override {
    std::vector<Entry const*> sorted;
    sorted.reserve(entries_.size());
    for (auto const& e : entries_) sorted.push_back(&e);
    std::sort(sorted.begin(), sorted.end(), [](Entry const* a, Entry const* b) { return a->first < b->first; });
    std::vector<std::pair<std::string, std::string>> out;
    out.reserve(sorted.size());
    for (auto const* e : sorted) out.emplace_back(text(e->first), text(e->second));
    return out;
  }

 private:
  ChipAnswer doAsk(Key const& key, bool full) {
    if (rulesSeen_ != injector_->rulesVersion()) {
      rulesSeen_ = injector_->rulesVersion();
      ruled_ = injector_->kindRuled(name());
    }
    if (ruled_) return injector_->answer(name(), text(key), full);
    if (!calls_) calls_ = &injector_->kindCounters(name());
    return injector_->answerUnruled(*calls_, full);
  }
  template <class T>
  static std::string text(T const& t) {
    std::ostringstream os;
    os << t;
    return os.str();
  }

  FaultInjector* injector_;
  Entries entries_;
  std::array<uint32_t, AF::bits + 1> lenCount_{};
  // Whether a rule names this table, as of rulesSeen_.
  uint64_t rulesSeen_ = ~uint64_t(0);
  bool ruled_ = false;
  // This table's counters in the injector, fetched at the first unruled call.
  FaultInjector::Counters* calls_ = nullptr;
};

}  // namespace SoftChip
