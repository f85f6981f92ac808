#pragma once
// The key of a MAC command in the chip: the table key (address and VLAN) and
// the hardware table it goes to. Ordered (table key first); prints as
// "addr/vlan" followed by the hardware table in parentheses.
#include <compare>
#include <cstddef>
#include <functional>
#include <ostream>

#include "kor/common/KorExport.h"
#include "kor/records/MacAddressTableEntry.h"
#include "kor/records/MacHwType.h"

namespace Kor {

class KOR_EXPORT MacEntryKey {
 public:
  using Key = KorTypes::MacAddressTableEntry::Key;
  MacEntryKey() = default;
  explicit MacEntryKey(Key key, MacHwType macHwType = MacHwType::macHwKeyBridge) : key_(key), macHwType_(macHwType) {}

  Key const& key() const { return key_; }
  MacHwType macHwType() const { return macHwType_; }

  auto operator<=>(MacEntryKey const&) const = default;

 private:
  Key key_;
  MacHwType macHwType_ = MacHwType::macHwKeyBridge;
};

KOR_EXPORT std::ostream& operator<<(std::ostream& os, MacEntryKey const& k);

}  // namespace Kor

template <>
struct std::hash<Kor::MacEntryKey> {
  size_t operator()(Kor::MacEntryKey const& k) const noexcept {
    return std::hash<KorTypes::MacAddressTableEntry::Key>()(k.key()) * 31 + static_cast<size_t>(k.macHwType());
  }
};
