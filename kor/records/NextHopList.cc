#include "kor/records/NextHopList.h"

namespace Kor {

Vix::Ptr<NextHopList> NextHopList::withNextHopInfo(VlanId vlan, NextHopInfo const& info) const {
  InfoMap m = nextHopInfo_;
  m[vlan] = info;
  return Vix::makePtr<NextHopList>(std::move(m));
}

Vix::Ptr<NextHopList> NextHopList::withoutNextHopInfo(VlanId vlan) const {
  InfoMap m = nextHopInfo_;
  m.erase(vlan);
  return Vix::makePtr<NextHopList>(std::move(m));
}

std::string NextHopList::str() const {
  std::string s;
  for (auto const& [vlan, info] : nextHopInfo_) {
    if (!s.empty()) s += "; ";
    s += "vlan " + std::to_string(vlan.value()) + ": " + info.str();
  }
  return s;
}

std::ostream& operator<<(std::ostream& os, NextHopList const& l) { return os << l.str(); }

}  // namespace Kor
