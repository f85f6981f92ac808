#pragma once
// Directory state of one neighbour address in a VRF: the interfaces on which
// the address is currently resolved (normally one). Kept in the neighbour
// machine's entry table; the entry is removed when its last interface goes,
// so a held state always has at least one interface.
#include <cstddef>
#include <set>

#include "nollo/IntfId.h"

namespace Kor {

class ArpEntryState {
 public:
  explicit ArpEntryState(Nollo::IntfId intf) { intf_.insert(intf); }

  bool intf(Nollo::IntfId const& i) const { return intf_.count(i) != 0; }
  size_t intfs() const { return intf_.size(); }
  std::set<Nollo::IntfId> const& intfSet() const { return intf_; }
  void intfIs(Nollo::IntfId const& i) { intf_.insert(i); }
  void intfDel(Nollo::IntfId const& i) { intf_.erase(i); }

 private:
  std::set<Nollo::IntfId> intf_;
};

}  // namespace Kor
