#pragma once
// One deferred MAC event in a rate limiter's backlog: the key and whether the
// event was an age (removal) rather than a learn. At most one per key: a
// newer event replaces the older one; the copy re-reads the input table, so
// the state at copy time wins over the state at queue time.
#include <ostream>
#include <string>

#include "kor/common/KorExport.h"
#include "kor/records/MacAddressTableEntry.h"

namespace Kor {

class KOR_EXPORT MacAddressBacklogEntry {
 public:
  using Key = KorTypes::MacAddressTableEntry::Key;
  MacAddressBacklogEntry() = default;
  MacAddressBacklogEntry(Key entry, bool deleted) : entry_(entry), deleted_(deleted) {}

  Key const& entry() const { return entry_; }
  bool deleted() const { return deleted_; }
  std::string str() const;

  bool operator==(MacAddressBacklogEntry const&) const = default;

 private:
  Key entry_;
  bool deleted_ = false;
};

KOR_EXPORT std::ostream& operator<<(std::ostream& os, MacAddressBacklogEntry const& e);

}  // namespace Kor
