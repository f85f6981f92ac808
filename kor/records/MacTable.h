#pragma once
// A MAC table: entries by key (MAC address and VLAN). The platform fills one
// from the chip's learn and age events; the rate limiter copies it into the
// one the MAC table state machine reads; the router MAC table is another.
// Every change (set, replace, delete) notifies the key; an absent key after
// the notification means the entry was aged or removed. A null entry is
// refused and changes nothing.
#include <cstddef>
#include <map>
#include <string>

#include "kor/common/KorExport.h"
#include "kor/records/MacAddressTableEntry.h"
#include "vix/Entity.h"
#include "vix/NotifieeOf.h"

namespace KorTypes {

class KOR_EXPORT MacTable : public Vix::Entity {
 public:
  using Key = MacAddressTableEntry::Key;
  using EntryPtr = Vix::Ptr<MacAddressTableEntry const>;
  using Map = std::map<Key, EntryPtr>;

  class Notifiee : public Vix::NotifieeOf<MacTable> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(Key, MacEntry)
  };

  explicit MacTable(std::string name) : Entity(std::move(name)) {}

  // The entry of `k`, null when there is none.
  EntryPtr macEntry(Key const& k) const;
  bool macEntryHas(Key const& k) const { return macEntry_.count(k) != 0; }
  // Sets the entry under its own key; throws std::invalid_argument
  // "null _macEntry parameter to mutator for KorTypes::MacTable::macEntry not allowed".
  void macEntryIs(EntryPtr const& e);
  void macEntryDel(Key const& k);
  void macEntryDelAll();
  size_t macEntrySize() const { return macEntry_.size(); }
  Map const& macEntryMap() const { return macEntry_; }

 private:
  Map macEntry_;
};

}  // namespace KorTypes
