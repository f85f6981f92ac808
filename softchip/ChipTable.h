#pragma once
// One table of the software chip: entries keyed by K, bounded by the
// capacity, each write first put to the fault injector under the table's
// name and the key's text. An answer other than success leaves the table as
// it was. K and V print with operator<<; the keys' order is the table's
// order in dumps.
#include <map>
#include <sstream>
#include <string>

#include "softchip/ChipTableBase.h"
#include "softchip/FaultInjector.h"

namespace SoftChip {

template <class K, class V>
class ChipTable : public ChipTableBase {
 public:
  ChipTable(std::string name, FaultInjector* injector) : ChipTableBase(std::move(name)), injector_(injector) {}

  ChipAnswer write(K const& key, V const& value) {
    auto it = entries_.find(key);
    bool full = it == entries_.end() && entries_.size() >= capacity();
    ChipAnswer a = injector_->answer(name(), text(key), full);
    if (a != ChipAnswer::success) return a;
    if (it == entries_.end()) {
      entries_.emplace(key, value);
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
    ++counters_.deletes;
    return true;
  }
  V const* find(K const& key) const {
    auto it = entries_.find(key);
    return it == entries_.end() ? nullptr : &it->second;
  }
  bool has(K const& key) const { return entries_.count(key) != 0; }
  std::map<K, V> const& entries() const { return entries_; }

  size_t size() const override { return entries_.size(); }
  std::vector<std::pair<std::string, std::string>> entryTexts() const override {
    std::vector<std::pair<std::string, std::string>> out;
    out.reserve(entries_.size());
    for (auto const& [k, v] : entries_) out.emplace_back(text(k), text(v));
    return out;
  }

 private:
  template <class T>
  static std::string text(T const& t) {
    std::ostringstream os;
    os << t;
    return os.str();
  }

  FaultInjector* injector_;
  std::map<K, V> entries_;
};

}  // namespace SoftChip
