#pragma once
// One MAC table entry: where a MAC address in a VLAN lives (interface, tunnel),
// how it came to be (entry type), how often it moved and which incarnation it
// is (creationNonce tells a re-created entry from the old one with the same
// key). Immutable once published in a MacTable: a change is a new entry.
// Written by the platform (learned table), the rate limiter (its copy) and
// the MAC table state machine; read by everyone that follows MACs.
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>

#include "kor/common/KorExport.h"
#include "kor/common/VlanId.h"
#include "models/bridging/EntryType.h"
#include "nollo/EthAddr.h"
#include "nollo/IntfId.h"
#include "vix/Ptr.h"

namespace KorTypes {

class KOR_EXPORT MacAddressTableEntry : public Vix::PtrInterface {
 public:
  // The table key: a MAC address in a VLAN. Totally ordered (address first,
  // then VLAN); prints as "addr/vlan". A VLAN from a raw number is
  // range-checked ("VlanId::value < 1 or > 4094 not allowed").
  class KOR_EXPORT Key {
   public:
    Key() = default;
    Key(Nollo::EthAddr macaddr, Kor::VlanId vlanId) : macaddr_(macaddr), vlanId_(vlanId) {}
    Key(Nollo::EthAddr macaddr, int64_t vlanId) : macaddr_(macaddr), vlanId_(vlanId) {}

    Nollo::EthAddr const& macaddr() const { return macaddr_; }
    Kor::VlanId vlanId() const { return vlanId_; }
    std::string str() const;

    auto operator<=>(Key const&) const = default;

   private:
    Nollo::EthAddr macaddr_;
    Kor::VlanId vlanId_;
  };

  MacAddressTableEntry(Key key, Nollo::IntfId intf, Bridging::EntryType entryType = Bridging::EntryType::learnedDynamicMac,
                       uint32_t moves = 0, uint32_t tunnelId = 0, uint32_t creationNonce = 0)
      : key_(key), intf_(intf), moves_(moves), entryType_(entryType), tunnelId_(tunnelId), creationNonce_(creationNonce) {}

  Key const& key() const { return key_; }
  Nollo::IntfId intf() const { return intf_; }
  uint32_t moves() const { return moves_; }
  Bridging::EntryType entryType() const { return entryType_; }
  uint32_t tunnelId() const { return tunnelId_; }
  uint32_t creationNonce() const { return creationNonce_; }

  // Same content (not the same object).
  bool operator==(MacAddressTableEntry const& o) const {
    return key_ == o.key_ && intf_ == o.intf_ && moves_ == o.moves_ && entryType_ == o.entryType_ &&
           tunnelId_ == o.tunnelId_ && creationNonce_ == o.creationNonce_;
  }

 private:
  Key key_;
  Nollo::IntfId intf_;
  uint32_t moves_;
  Bridging::EntryType entryType_;
  uint32_t tunnelId_;
  uint32_t creationNonce_;
};

KOR_EXPORT std::ostream& operator<<(std::ostream& os, MacAddressTableEntry::Key const& k);
KOR_EXPORT std::ostream& operator<<(std::ostream& os, MacAddressTableEntry const& e);

}  // namespace KorTypes

template <>
struct std::hash<KorTypes::MacAddressTableEntry::Key> {
  size_t operator()(KorTypes::MacAddressTableEntry::Key const& k) const noexcept {
    uint64_t v = k.macaddr().toUint64() * 0x9e3779b97f4a7c15ULL ^ k.vlanId().value();
    return static_cast<size_t>(v ^ (v >> 29));
  }
};
