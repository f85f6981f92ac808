#include "kor/common/ParityEvent.h"

namespace Kor {

std::ostream& operator<<(std::ostream& os, ParityEvent::Key const& k) {
  return os << k.table() << "/" << k.entry();
}

std::ostream& operator<<(std::ostream& os, ParityEvent const& e) {
  return os << e.key() << " " << e.description() << " count " << e.count() << " last " << e.lastSeen();
}

}  // namespace Kor
