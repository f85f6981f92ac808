#include "kor/l3/RouteShowT.h"

#include <cstdio>
#include <map>

namespace Kor {

template <class AF>
void RouteShowT<AF>::showFibRoutes(std::ostream& out, Quill::Fib::RouteStatusT<AF> const& routes,
                                   std::optional<Prefix> prefix) {
  std::map<Prefix, Quill::Fib::RouteT<AF>> sorted;
  for (auto const& kv : routes.routeMap())
    if (kv.second.fecId().isValid() && (!prefix || *prefix == kv.first)) sorted.emplace(kv.first, kv.second);
  if (prefix && sorted.empty()) out << "Route " << *prefix << " not in the FIB\n";
  for (auto const& [p, r] : sorted) out << p << " fec " << r.fecId() << " seq " << r.seqNo() << "\n";
}

template <class AF>
void RouteShowT<AF>::showKorRoutes(std::ostream& out, std::optional<Prefix> prefix) const {
  std::map<Prefix, FibRouteT<AF> const*> sorted;
  for (auto const& kv : fibRoutes_)
    if (!prefix || *prefix == kv.first) sorted.emplace(kv.first, &kv.second);
  if (prefix && sorted.empty()) out << "Route " << *prefix << " has no record\n";
  for (auto const& [p, fib] : sorted) {
    out << p << " ";
    if (AdjInfo const* a = fib->adjInfo()) {
      out << a->routeType() << " fec " << Quill::Fib::FecId(a->fibAdjIndex()) << " l2adj " << a->l2AdjIndex()
          << (a->vias() ? " vias" : "");
    } else {
      out << "no adjacency information";
    }
    if (unprogrammed_.contains(p)) out << " unprogrammed";
    if (fib->parentDrop()) out << " parent-drop";
    out << "\n";
  }
}

template <class AF>
void RouteShowT<AF>::showUnprogrammed(std::ostream& out, VrfName const& vrfName, uint32_t unprogrammed,
                                      uint32_t parentDrop) const {
  char buf[160];
  std::snprintf(buf, sizeof(buf), "Vrf: %s\n", vrfName.str().c_str());
  out << buf;
  if (unprogrammed == 0) {
    out << "No unprogrammed routes\n";
    return;
  }
  std::snprintf(buf, sizeof(buf), "Num unprogrammed routes: %d\n", int(unprogrammed));
  out << buf;
  std::snprintf(buf, sizeof(buf), "Num parent drop routes: %d\n\n", int(parentDrop));
  out << buf;
  std::map<Prefix, bool> sorted;
  unprogrammed_.lane(0).forEach([&](Prefix const& p, bool) { sorted.emplace(p, true); });
  for (auto const& kv : sorted) out << kv.first << "\n";
}

template class RouteShowT<Nollo::Ipv4>;
template class RouteShowT<Nollo::Ipv6>;

}  // namespace Kor
