#pragma once
// One table of the software chip, whatever it holds: entries keyed by K in
// a Map (std::map by default; the route tables take an open-addressing
// Vix::HashMap for their million entries), bounded by the capacity. Every
// table writes, counts and is gated the same way, here:
//
// - Each write is first put to the fault injector under the table's name.
//   The key's text (as `show chip` prints it) is built only while a rule
//   names this table, so a million unruled writes build no string.
// - An answer other than success leaves the table as it was.
// - A new entry counts as a create, a changed one as an update, rewriting
//   the value already held as a sync; a removal (never refused) as a delete.
//
// Index is told of every key that comes in or goes out (added / removed),
// so a table can keep a summary of its keys without a write path of its own
// (the route tables count their prefixes per length); NoIndex keeps none.
// K and V print with operator<<; K's operator< orders the dumps.
#include <algorithm>
#include <cstdint>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "softchip/common/ChipTableBase.h"
#include "softchip/common/FaultInjector.h"
#include "softchip/common/NoIndex.h"

namespace SoftChip {

template <class K, class V, class Map = std::map<K, V>, class Index = NoIndex>
class ChipTable : public ChipTableBase {
 public:
  using Key = K;
  using Value = V;
  using Entries = Map;
  using Entry = typename Entries::value_type;

  ChipTable(std::string name, FaultInjector* injector) : ChipTableBase(std::move(name)), injector_(injector) {}

  ChipAnswer write(K const& key, V const& value) {
    // One probe in the common case: a new entry goes in at once and comes
    // out again when the write is refused.
    auto [it, fresh] = entries_.try_emplace(key, value);
    ChipAnswer a = doAsk(key, fresh && entries_.size() > capacity());
    if (a != ChipAnswer::success) {
      if (fresh) entries_.erase(key);
      return a;
    }
    if (fresh) {
      index_.added(key);
      ++counters_.creates;
    } else if (it->second == value) {
      ++counters_.syncs;
    } else {
      it->second = value;
      ++counters_.updates;
    }
    return a;
  }
  // Removing is never refused; false when the key was not there.
  bool erase(K const& key) {
    if (!entries_.erase(key)) return false;
    index_.removed(key);
    ++counters_.deletes;
    return true;
  }
  V const* find(K const& key) const {
    auto it = entries_.find(key);
    return it == entries_.end() ? nullptr : &it->second;
  }
  bool has(K const& key) const { return entries_.contains(key); }
  Entries const& entries() const { return entries_; }
  Index const& index() const { return index_; }

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
  ChipAnswer doAsk(K const& key, bool full) {
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
  Index index_;
  // Whether a rule names this table, as of rulesSeen_.
  uint64_t rulesSeen_ = ~uint64_t(0);
  bool ruled_ = false;
  // This table's counters in the injector, fetched at the first unruled call.
  FaultInjector::Counters* calls_ = nullptr;
};

}  // namespace SoftChip
