#include "softchip/mac/MacHashTable.h"

#include <algorithm>
#include <sstream>

namespace SoftChip {

MacHashTable::MacHashTable(uint32_t buckets, uint32_t ways) : ChipTableBase("mac"), buckets_(0), ways_(0) {
  geometryIs(buckets, ways);
}

bool MacHashTable::geometryIs(uint32_t buckets, uint32_t ways) {
  if (!index_.empty() || buckets == 0 || ways == 0) return false;
  buckets_ = buckets;
  ways_ = ways;
  slots_.assign(size_t(buckets) * ways, Slot{});
  capacityIs(slots_.size());
  return true;
}

uint32_t MacHashTable::bucketOf(Kor::MacEntryKey const& key) const {
  // A second mix over the key's hash: the low bits of an address alone would
  // put consecutive MACs in consecutive buckets.
  uint64_t h = std::hash<Kor::MacEntryKey>()(key);
  h ^= h >> 33;
  h *= 0xff51afd7ed558ccdULL;
  h ^= h >> 33;
  return static_cast<uint32_t>(h % buckets_);
}

bool MacHashTable::bucketFull(uint32_t bucket) const {
  for (uint32_t w = 0; w < ways_; ++w)
    if (!slots_[size_t(bucket) * ways_ + w].used) return false;
  return true;
}

std::optional<uint32_t> MacHashTable::find(Kor::MacEntryKey const& key) const {
  auto it = index_.find(key);
  if (it == index_.end()) return std::nullopt;
  return it->second;
}

MacHashTable::AddResult MacHashTable::add(Kor::MacEntryKey const& key, Nollo::IntfId intf, Bridging::EntryType type,
                                          uint32_t* index) {
  if (auto at = find(key)) {
    *index = *at;
    Slot& s = slots_[*at];
    if (s.intf == intf && s.entryType == type) {
      ++counters_.syncs;
      return AddResult::synced;
    }
    s.intf = intf;
    s.entryType = type;
    ++counters_.updates;
    return AddResult::updated;
  }
  if (size() >= capacity()) return AddResult::full;
  uint32_t b = bucketOf(key);
  for (uint32_t w = 0; w < ways_; ++w) {
    uint32_t i = b * ways_ + w;
    if (slots_[i].used) continue;
    slots_[i] = Slot{key, intf, type, true};
    index_.insert_or_assign(key, i);
    ++counters_.creates;
    *index = i;
    return AddResult::created;
  }
  return AddResult::full;
}

bool MacHashTable::remove(Kor::MacEntryKey const& key) {
  auto at = find(key);
  if (!at) return false;
  slots_[*at] = Slot{};
  index_.erase(key);
  ++counters_.deletes;
  return true;
}

std::vector<std::pair<std::string, std::string>> MacHashTable::entryTexts() const {
  std::vector<Slot const*> used;
  for (auto const& s : slots_)
    if (s.used) used.push_back(&s);
  std::sort(used.begin(), used.end(), [](Slot const* a, Slot const* b) { return a->key < b->key; });
  std::vector<std::pair<std::string, std::string>> out;
  for (auto const* s : used) {
    std::ostringstream k, v;
    k << s->key;
    v << s->intf << " " << s->entryType << " index " << *find(s->key);
    out.emplace_back(k.str(), v.str());
  }
  return out;
}

}  // namespace SoftChip
