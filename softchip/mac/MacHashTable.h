#pragma once
// The software chip's MAC table ("mac"): a hash table of buckets with a few
// ways each, as MAC tables in switching chips are built. A key hashes to one
// bucket and may sit in any of its ways, so a bucket can be full while the
// table is not: an add answered "full" names a full bucket, not a full chip.
// The table index of an entry is bucket * ways + way. A new geometry sets
// the capacity to buckets * ways; a lower one (`chip capacity`) refuses new
// entries earlier, a higher one adds no room. The geometry changes only while the table
// is empty. Every write is counted like the chip's other tables; the fault
// gate is the MacChip's, since the table answers commands, not calls.
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kor/records/MacEntryKey.h"
#include "models/bridging/EntryType.h"
#include "nollo/IntfId.h"
#include "softchip/common/ChipTableBase.h"
#include "vix/HashMap.h"

namespace SoftChip {

class MacHashTable : public ChipTableBase {
 public:
  struct Slot {
    Kor::MacEntryKey key;
    Nollo::IntfId intf;
    Bridging::EntryType entryType = Bridging::EntryType::learnedDynamicMac;
    bool used = false;
  };
  enum class AddResult { created, updated, synced, full };

  MacHashTable(uint32_t buckets, uint32_t ways);

  uint32_t buckets() const { return buckets_; }
  uint32_t ways() const { return ways_; }
  // False (and nothing changes) while the table holds entries or for a zero size.
  bool geometryIs(uint32_t buckets, uint32_t ways);

  uint32_t bucketOf(Kor::MacEntryKey const& key) const;
  bool bucketFull(uint32_t bucket) const;
  // The table index of the key's entry.
  std::optional<uint32_t> find(Kor::MacEntryKey const& key) const;
  Slot const& slot(uint32_t index) const { return slots_[index]; }

  // Adds or rewrites the key's entry; *index is where it sits.
  AddResult add(Kor::MacEntryKey const& key, Nollo::IntfId intf, Bridging::EntryType type, uint32_t* index);
  bool remove(Kor::MacEntryKey const& key);
  // Removes every entry `pred(slot)` chooses; returns how many.
  template <class P>
  size_t removeIf(P pred) {
    std::vector<Kor::MacEntryKey> gone;
    for (auto const& s : slots_)
      if (s.used && pred(s)) gone.push_back(s.key);
    for (auto const& k : gone) remove(k);
    return gone.size();
  }

  size_t size() const override { return index_.size(); }
  std::vector<std::pair<std::string, std::string>> entryTexts() const override;

 private:
  uint32_t buckets_;
  uint32_t ways_;
  std::vector<Slot> slots_;
  Vix::HashMap<Kor::MacEntryKey, uint32_t> index_;
};

}  // namespace SoftChip
