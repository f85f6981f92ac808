#pragma once
// Reverse resolution on one interface: the addresses that resolve to one MAC
// (`ipAddr`). Lets a MAC table change reach every address behind the MAC.
// Held by the interface machine per MAC; dropped when its set empties.
#include <cstddef>
#include <set>

#include "nollo/Ipv4.h"
#include "nollo/Ipv6.h"

namespace Kor {

template <class AF>
class ReverseArpInfoT {
 public:
  using Addr = typename AF::Addr;

  bool ipAddr(Addr const& a) const { return ipAddr_.count(a) != 0; }
  size_t ipAddrs() const { return ipAddr_.size(); }
  std::set<Addr> const& ipAddrSet() const { return ipAddr_; }
  void ipAddrIs(Addr const& a) { ipAddr_.insert(a); }
  void ipAddrDel(Addr const& a) { ipAddr_.erase(a); }

 private:
  std::set<Addr> ipAddr_;
};

using ReverseArpInfo = ReverseArpInfoT<Nollo::Ipv4>;
using ReverseNeighInfo = ReverseArpInfoT<Nollo::Ipv6>;

}  // namespace Kor
