#include "kor/l2/VlanHelperBase.h"

namespace Kor {

void VlanHelperBase::doMaybeCreateVlan(VlanId) {
  korAssert("Call to unimplemented function VlanHelperBase::doMaybeCreateVlan");
}
void VlanHelperBase::doAddPortToVlan(Nollo::IntfId const&, VlanId, bool, bool, bool) {
  unimplemented("VlanHelperBase", "doAddPortToVlan");
}
void VlanHelperBase::doRemovePortFromVlan(Nollo::IntfId const&, VlanId) {
  unimplemented("VlanHelperBase", "doRemovePortFromVlan");
}
void VlanHelperBase::doHandlePortState(Nollo::IntfId const&, VlanId, bool) {
  unimplemented("VlanHelperBase", "doHandlePortState");
}
void VlanHelperBase::setPortsBlocked(VlanId) { unimplemented("VlanHelperBase", "setPortsBlocked"); }
void VlanHelperBase::verify() { korAssert("Call to unimplemented function VlanHelperBase::verify"); }

}  // namespace Kor
