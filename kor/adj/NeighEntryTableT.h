#pragma once
// The neighbour directory of one VRF and address family: address ->
// ArpEntryState (the interfaces the address is resolved on). Owned by the
// family's neighbour machine (ArpEntryTable for IPv4, Ip6NeighborEntryTable
// for IPv6), written only by its interface machines.
#include <cstddef>
#include <map>

#include "kor/adj/ArpEntryState.h"
#include "vix/Ptr.h"

namespace Kor {

template <class AF>
class NeighEntryTableT : public Vix::PtrInterface {
 public:
  using Addr = typename AF::Addr;

  ArpEntryState* entry(Addr const& a) {
    auto it = entry_.find(a);
    return it == entry_.end() ? nullptr : &it->second;
  }
  ArpEntryState const* entry(Addr const& a) const {
    auto it = entry_.find(a);
    return it == entry_.end() ? nullptr : &it->second;
  }
  ArpEntryState& entryIs(Addr const& a, Nollo::IntfId const& intf) {
    return entry_.try_emplace(a, intf).first->second;
  }
  void entryDel(Addr const& a) { entry_.erase(a); }
  size_t entries() const { return entry_.size(); }
  std::map<Addr, ArpEntryState> const& entryMap() const { return entry_; }

 private:
  std::map<Addr, ArpEntryState> entry_;
};

}  // namespace Kor
