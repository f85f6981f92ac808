#include "kor/records/MacAddressTableEntry.h"


namespace KorTypes {

std::string MacAddressTableEntry::Key::str() const {
  std::string s = macaddr_.str();
  s += '/';
  s += std::to_string(vlanId_.value());
  return s;
}

std::ostream& operator<<(std::ostream& os, MacAddressTableEntry::Key const& k) { return os << k.str(); }

std::ostream& operator<<(std::ostream& os, MacAddressTableEntry const& e) {
  return os << e.key() << " intf " << e.intf() << " type " << e.entryType() << " moves " << e.moves()
            << " tunnel " << e.tunnelId() << " nonce " << e.creationNonce();
}

}  // namespace KorTypes
