#include "kor/records/MacTable.h"

#include <stdexcept>
#include <utility>

namespace KorTypes {

MacTable::EntryPtr MacTable::macEntry(Key const& k) const {
  auto it = macEntry_.find(k);
  return it == macEntry_.end() ? EntryPtr() : it->second;
}

void MacTable::macEntryIs(EntryPtr const& e) {
  if (!e) throw std::invalid_argument("null _macEntry parameter to mutator for KorTypes::MacTable::macEntry not allowed");
  auto [it, fresh] = macEntry_.try_emplace(e->key(), e);
  if (!fresh) {
    if (it->second == e) return;
    it->second = e;
  }
  notify(&Notifiee::handleMacEntry, e->key());
}

void MacTable::macEntryDel(Key const& k) {
  if (macEntry_.erase(k)) notify(&Notifiee::handleMacEntry, k);
}

void MacTable::macEntryDelAll() {
  Map gone;
  std::swap(gone, macEntry_);
  for (auto const& kv : gone) notify(&Notifiee::handleMacEntry, kv.first);
}

}  // namespace KorTypes
