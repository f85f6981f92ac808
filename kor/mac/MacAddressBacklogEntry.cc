#include "kor/mac/MacAddressBacklogEntry.h"

namespace Kor {

std::string MacAddressBacklogEntry::str() const {
  std::string s = "Value('Kor::MacAddressBacklogEntry', ** {'entry': ";
  s += entry_.str();
  s += ", 'deleted': ";
  s += deleted_ ? "True" : "False";
  s += "})";
  return s;
}

std::ostream& operator<<(std::ostream& os, MacAddressBacklogEntry const& e) { return os << e.str(); }

}  // namespace Kor
