#include "kor/records/MacEntryKey.h"

namespace Kor {

std::ostream& operator<<(std::ostream& os, MacEntryKey const& k) { return os << k.key() << "(" << k.macHwType() << ")"; }

}  // namespace Kor
