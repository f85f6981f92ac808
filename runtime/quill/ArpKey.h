#pragma once
// The key of an ARP / neighbour table entry: the table's VRF id, the
// neighbour's address and the interface it was learned on. Order: VRF, then
// address, then interface.
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>

#include "nollo/IntfId.h"
#include "nollo/Ipv4.h"
#include "nollo/Ipv6.h"
#include "vix/HashMap.h"

namespace Quill::Arp {

template <class AF>
class ArpKeyT {
 public:
  using Addr = typename AF::Addr;

  ArpKeyT() = default;
  ArpKeyT(uint32_t vrfId, Addr const& addr, Nollo::IntfId const& intf)
      : vrfId_(vrfId), addr_(addr), intf_(intf) {}

  uint32_t vrfId() const { return vrfId_; }
  Addr const& addr() const { return addr_; }
  Nollo::IntfId const& intf() const { return intf_; }
  // "vrf 1 10.0.0.1 Ethernet1".
  std::string str() const { return "vrf " + std::to_string(vrfId_) + " " + addr_.str() + " " + intf_.str(); }

  auto operator<=>(ArpKeyT const&) const = default;

 private:
  uint32_t vrfId_ = 0;
  Addr addr_{};
  Nollo::IntfId intf_;
};

template <class AF>
std::ostream& operator<<(std::ostream& os, ArpKeyT<AF> const& k) {
  return os << k.str();
}

using ArpKey = ArpKeyT<Nollo::Ipv4>;
using NeighKey = ArpKeyT<Nollo::Ipv6>;

}  // namespace Quill::Arp

template <class AF>
struct std::hash<Quill::Arp::ArpKeyT<AF>> {
  size_t operator()(Quill::Arp::ArpKeyT<AF> const& k) const noexcept {
    uint64_t h = std::hash<typename AF::Addr>()(k.addr());
    h = Vix::mixHash(h ^ (uint64_t(k.vrfId()) << 32));
    return size_t(h ^ std::hash<Nollo::IntfId>()(k.intf()));
  }
};
