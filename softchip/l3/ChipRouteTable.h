#pragma once
// One route table of the software chip for one address family: a ChipTable
// of (VRF id, prefix) -> ChipRoute in an open-addressing map, so it writes,
// counts and is gated by faults and capacity as every chip table is. What
// it adds are the route reads: a longest-prefix lookup, a walk of one VRF's
// routes and of the VRF ids held.
//
// Invariant (kept by PrefixLengths, the table's index): lengths.count(n) is
// the number of entries whose prefix is n bits long, so a longest-prefix
// lookup probes only the lengths present.
// Written by the route resolver (and by the platform's route hook when a
// restarted library deletes what its FIB no longer has); read by the hook's
// walk, the agent's shows and tests.
#include <cstdint>
#include <vector>

#include "kor/records/VrfAndPrefixT.h"
#include "kor/records/VrfId.h"
#include "nollo/IpPrefix.h"
#include "softchip/common/ChipTable.h"
#include "softchip/l3/ChipRoute.h"
#include "softchip/l3/PrefixLengths.h"
#include "vix/HashMap.h"

namespace SoftChip {

template <class AF>
class ChipRouteTable : public ChipTable<Kor::VrfAndPrefixT<AF>, ChipRoute,
                                        Vix::HashMap<Kor::VrfAndPrefixT<AF>, ChipRoute>, PrefixLengths<AF>> {
  using Base =
      ChipTable<Kor::VrfAndPrefixT<AF>, ChipRoute, Vix::HashMap<Kor::VrfAndPrefixT<AF>, ChipRoute>, PrefixLengths<AF>>;

 public:
  using Key = typename Base::Key;
  using Entry = typename Base::Entry;
  using Prefix = Nollo::IpPrefixT<AF>;
  using Addr = typename AF::Addr;

  using Base::Base;

  void prefetch(Key const& key) const { this->entries().prefetch(key); }
  size_t routesOfLength(int len) const { return this->index().count(len); }

  // The entry a packet to `addr` in the VRF matches with its longest prefix;
  // null when none does.
  Entry const* longestMatch(Kor::VrfId vrfId, Addr const& addr) const {
    for (int len = AF::bits; len >= 0; --len) {
      if (!routesOfLength(len)) continue;
      auto it = this->entries().find(Key{vrfId, Prefix(addr, len)});
      if (it != this->entries().end()) return &*it;
    }
    return nullptr;
  }

  // Visits every route of the VRF as (key, route). The routes are collected
  // before the first visit, so the visitor may erase from the table.
  template <class Visit>
  void forEachRoute(Kor::VrfId vrfId, Visit&& visit) const {
    std::vector<Entry> found;
    for (auto const& e : this->entries())
      if (e.first.vrfId == vrfId) found.push_back(e);
    for (auto const& e : found) visit(e.first, e.second);
  }

  // Each VRF id that has a route here, once.
  template <class Visit>
  void forEachVrf(Visit&& visit) const {
    Vix::HashMap<uint32_t, bool> seen;
    for (auto const& e : this->entries())
      if (seen.try_emplace(e.first.vrfId.value(), true).second) visit(e.first.vrfId);
  }
};

}  // namespace SoftChip
