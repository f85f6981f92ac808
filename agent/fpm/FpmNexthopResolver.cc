#include "agent/fpm/FpmNexthopResolver.h"

#include "nollo/Ipv4.h"
#include "nollo/Ipv6.h"

namespace KorAgent {

using KorFeeds::NlNexthop;
using KorFeeds::NlNexthopObject;
using Quill::Fib::FecType;

template <class AF>
FpmFault FpmNexthopResolver::hops(std::vector<NlNexthop> const& hops, std::vector<FibModule::Via>* vias, FecType* type,
                                  std::string* why) const {
  constexpr bool v6 = AF::version == 6;
  auto intfOf = [&](uint32_t ifindex) -> std::optional<Nollo::IntfId> {
    auto intf = intfLookup_ ? intfLookup_(ifindex) : std::nullopt;
    if (!intf || intf->isNone()) {
      *why = "interface index " + std::to_string(ifindex) + " unknown";
      return std::nullopt;
    }
    return intf;
  };
  if (hops.size() == 1 && !hops[0].gateway) {
    // A connected subnet: the next hop is the destination, on the interface.
    auto intf = intfOf(hops[0].oif);
    if (!intf) return FpmFault::unknownIntf;
    FibModule::Via v;
    v.hop = Nollo::IpGenAddr(typename AF::Addr{});
    v.intf = *intf;
    vias->push_back(std::move(v));
    *type = FecType::attached;
    return FpmFault::none;
  }
  for (auto const& h : hops) {
    if (!h.gateway) {
      *why = "a next hop without gateway among " + std::to_string(hops.size());
      return FpmFault::unsupported;
    }
    if (h.gateway->isV6() != v6) {
      *why = "next hop " + h.gateway->str() + " of the other address family";
      return FpmFault::familyMismatch;
    }
    auto intf = intfOf(h.oif);
    if (!intf) return FpmFault::unknownIntf;
    FibModule::Via v;
    v.hop = *h.gateway;
    v.intf = *intf;
    v.weight = h.weight;
    vias->push_back(std::move(v));
  }
  *type = FecType::forward;
  return FpmFault::none;
}

template <class AF>
FpmFault FpmNexthopResolver::object(NlNexthopObject const& o, MemberLookup const& members,
                                    std::vector<FibModule::Via>* vias, FecType* type, std::string* why) {
  if (o.blackhole) {
    *type = FecType::drop;
    return FpmFault::none;
  }
  groupHops_.clear();
  if (o.group.empty()) {
    groupHops_.push_back(o.nexthop);
    return hops<AF>(groupHops_, vias, type, why);
  }
  size_t blackholes = 0;
  for (auto const& m : o.group) {
    // A deleted member still in a group resolves as it last was.
    NlNexthopObject const* mo = members(m.id);
    if (!mo) {
      *why = "member " + std::to_string(m.id) + " of group " + std::to_string(o.id) + " unknown";
      return FpmFault::unknownNexthop;
    }
    if (!mo->group.empty()) {
      *why = "member " + std::to_string(m.id) + " of group " + std::to_string(o.id) + " is a group";
      return FpmFault::unsupported;
    }
    if (mo->blackhole) {
      ++blackholes;
      continue;
    }
    NlNexthop h = mo->nexthop;
    h.weight = m.weight;
    groupHops_.push_back(h);
  }
  if (blackholes == o.group.size()) {
    *type = FecType::drop;
    return FpmFault::none;
  }
  if (blackholes) {
    *why = "group " + std::to_string(o.id) + " mixes blackhole and forwarding members";
    return FpmFault::unsupported;
  }
  return hops<AF>(groupHops_, vias, type, why);
}

template FpmFault FpmNexthopResolver::hops<Nollo::Ipv4>(std::vector<NlNexthop> const&, std::vector<FibModule::Via>*,
                                                        FecType*, std::string*) const;
template FpmFault FpmNexthopResolver::hops<Nollo::Ipv6>(std::vector<NlNexthop> const&, std::vector<FibModule::Via>*,
                                                        FecType*, std::string*) const;
template FpmFault FpmNexthopResolver::object<Nollo::Ipv4>(NlNexthopObject const&, MemberLookup const&,
                                                          std::vector<FibModule::Via>*, FecType*, std::string*);
template FpmFault FpmNexthopResolver::object<Nollo::Ipv6>(NlNexthopObject const&, MemberLookup const&,
                                                          std::vector<FibModule::Via>*, FecType*, std::string*);

}  // namespace KorAgent
