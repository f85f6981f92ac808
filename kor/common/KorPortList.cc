#include "kor/common/KorPortList.h"

#include <algorithm>

namespace Kor {

KorPortList::KorPortList(std::initializer_list<Nollo::IntfId> ports) {
  for (auto const& p : ports) portAdd(p);
}

bool KorPortList::portAdd(Nollo::IntfId const& port) {
  auto it = std::lower_bound(ports_.begin(), ports_.end(), port);
  if (it != ports_.end() && *it == port) return false;
  ports_.insert(it, port);
  return true;
}

bool KorPortList::portDel(Nollo::IntfId const& port) {
  auto it = std::lower_bound(ports_.begin(), ports_.end(), port);
  if (it == ports_.end() || !(*it == port)) return false;
  ports_.erase(it);
  return true;
}

bool KorPortList::has(Nollo::IntfId const& port) const {
  return std::binary_search(ports_.begin(), ports_.end(), port);
}

std::ostream& operator<<(std::ostream& os, KorPortList const& l) {
  os << "[";
  for (size_t i = 0; i < l.size(); ++i) os << (i ? ", " : "") << l.ports()[i];
  return os << "]";
}

}  // namespace Kor
