#include "kor/records/NextHopInfo.h"

namespace Kor {

std::string NextHopInfo::str() const {
  std::string s = std::string(toString(nextHopType_)) + " " + intfId_.str() + " " + ethAddr_.str();
  if (nextHopType_ == NextHopType::ipTunnel) s += " tunnelDst " + tunnelDstIpAddr_.str();
  return s;
}

std::ostream& operator<<(std::ostream& os, NextHopInfo const& i) { return os << i.str(); }

}  // namespace Kor
