#pragma once
// One VLAN of a topology's mappedVlan set, and whether the platform took it
// (inHw: addVlanToTopo answered true; false while the topology waits for a
// hardware id or the platform refused it).
#include "kor/common/VlanId.h"

namespace Kor {

class MappedVlan {
 public:
  explicit MappedVlan(VlanId vlan) : vlan_(vlan) {}
  VlanId vlan() const { return vlan_; }
  bool inHw() const { return inHw_; }
  void inHwIs(bool v) { inHw_ = v; }

 private:
  VlanId vlan_;
  bool inHw_ = false;
};

}  // namespace Kor
