#pragma once
// What the rest of the library asks of the VLAN machinery: create a VLAN,
// put a port into one or take it out, and apply spanning-tree forwarding per
// port and VLAN. The common data's `vlanHelper` holds one (users downcast
// with Vix::ptrCast); VlanHelper is the implementation, and a platform
// derives from that. Every operation here fails loudly until implemented.
#include "kor/common/KorBaseHelper.h"
#include "kor/common/KorExport.h"
#include "kor/common/VlanId.h"
#include "nollo/IntfId.h"

namespace Kor {

class KOR_EXPORT VlanHelperBase : public KorBaseHelper {
 public:
  using KorBaseHelper::KorBaseHelper;

  virtual void doMaybeCreateVlan(VlanId vlan);
  virtual void doAddPortToVlan(Nollo::IntfId const& intf, VlanId vlan, bool tagged, bool ingress, bool egress);
  virtual void doRemovePortFromVlan(Nollo::IntfId const& intf, VlanId vlan);
  virtual void doHandlePortState(Nollo::IntfId const& intf, VlanId vlan, bool forwarding);
  virtual void setPortsBlocked(VlanId vlan);
  // The configuration's first full pass is done: what the platform kept
  // from an earlier run and nobody claimed may go.
  virtual void doEndSync() {}
  // Self-verification of what the platform holds.
  virtual void verify();
};

}  // namespace Kor
