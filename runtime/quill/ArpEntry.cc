#include "quill/ArpEntry.h"

namespace Quill::Arp {

std::ostream& operator<<(std::ostream& os, ArpEntry const& e) { return os << e.str(); }

}  // namespace Quill::Arp
