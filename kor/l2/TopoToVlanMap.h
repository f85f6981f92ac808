#pragma once
// The VLANs mapped to one topology (its mappedVlan set), kept by StpSm per
// topology name. Invariant: a VLAN is in at most one topology's set, the one
// StpSm::vlanToTopoSmMap names for it.
#include <map>

#include "kor/common/VlanId.h"
#include "kor/l2/MappedVlan.h"

namespace Kor {

class TopoToVlanMap {
 public:
  std::map<VlanId, MappedVlan> const& mappedVlan() const { return mappedVlan_; }
  std::map<VlanId, MappedVlan>& mappedVlan() { return mappedVlan_; }
  bool mappedVlanHas(VlanId v) const { return mappedVlan_.count(v) != 0; }
  MappedVlan& mappedVlanIs(VlanId v) { return mappedVlan_.try_emplace(v, v).first->second; }
  void mappedVlanDel(VlanId v) { mappedVlan_.erase(v); }

 private:
  std::map<VlanId, MappedVlan> mappedVlan_;
};

}  // namespace Kor
