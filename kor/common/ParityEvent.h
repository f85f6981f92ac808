#pragma once
// One parity event the platform saw in a chip memory, as kept in
// KorCommonSmData::parityEvent: which memory (the key: table id and entry),
// how often it fired and when last. The platform writes these; the MAC table
// machine reacts to them. A minimal record: the parity-event queues themselves
// are not part of this library.
#include <compare>
#include <cstdint>
#include <ostream>
#include <string>

#include "kor/common/KorExport.h"
#include "vix/Time.h"

namespace Kor {

class KOR_EXPORT ParityEvent {
 public:
  class Key {
   public:
    Key() = default;
    Key(uint32_t table, uint32_t entry) : table_(table), entry_(entry) {}
    uint32_t table() const { return table_; }
    uint32_t entry() const { return entry_; }
    auto operator<=>(Key const&) const = default;

   private:
    uint32_t table_ = 0;
    uint32_t entry_ = 0;
  };

  ParityEvent() = default;
  ParityEvent(Key key, std::string description, uint32_t count, Vix::Seconds lastSeen)
      : key_(key), description_(std::move(description)), count_(count), lastSeen_(lastSeen) {}

  Key const& key() const { return key_; }
  std::string const& description() const { return description_; }
  uint32_t count() const { return count_; }
  Vix::Seconds lastSeen() const { return lastSeen_; }

  bool operator==(ParityEvent const&) const = default;

 private:
  Key key_;
  std::string description_;
  uint32_t count_ = 0;
  Vix::Seconds lastSeen_ = 0;
};

KOR_EXPORT std::ostream& operator<<(std::ostream& os, ParityEvent::Key const& k);
KOR_EXPORT std::ostream& operator<<(std::ostream& os, ParityEvent const& e);

}  // namespace Kor
