#include "kor/records/NextHopL2InfoCollection.h"

#include <sstream>

namespace Kor {

bool NextHopL2InfoCollection::hasType(NextHopEntryType t) const {
  for (auto const& [a, i] : nextHop_)
    if (i.type() == t) return true;
  for (auto const& [k, i] : nextHopBitmap_)
    if (i.type() == t) return true;
  return false;
}

std::string NextHopL2InfoCollection::str() const {
  std::ostringstream os;
  os << type_;
  if (ipv6Route_) os << " v6";
  if (attachedRoute_) os << " attached";
  if (hasDownL3Intf_) os << " downIntf";
  if (hasDownBfdPeers_) os << " downBfd";
  if (ttl_) os << " ttl " << ttl_;
  os << " {";
  char const* sep = "";
  for (auto const& [a, i] : nextHop_) {
    os << sep << a << ": " << i;
    sep = "; ";
  }
  for (auto const& [k, i] : nextHopBitmap_) {
    os << sep << k.first << " bitmap";
    for (uint32_t w : k.second)
      if (w) os << " " << w;
    os << ": " << i;
    sep = "; ";
  }
  os << "}";
  return os.str();
}

std::ostream& operator<<(std::ostream& os, NextHopL2InfoCollection const& c) { return os << c.str(); }

}  // namespace Kor
