#pragma once
// What the hardware holds for one port's native-VLAN translation in one
// direction: untagged frames of `nativeVlanId` are handled in
// `mappedVlanId`. A port without a native translation maps its native VLAN
// to itself (the identity record); a new native translation is programmed
// only over the identity record, so the chip never holds two for one port.
#include "kor/common/VlanId.h"

namespace Kor {

class HwVlanXlate {
 public:
  HwVlanXlate() = default;
  HwVlanXlate(VlanId native, VlanId mapped) : nativeVlanId_(native), mappedVlanId_(mapped) {}

  VlanId nativeVlanId() const { return nativeVlanId_; }
  VlanId mappedVlanId() const { return mappedVlanId_; }
  bool isIdentity() const { return nativeVlanId_ == mappedVlanId_; }
  bool operator==(HwVlanXlate const&) const = default;

 private:
  VlanId nativeVlanId_;
  VlanId mappedVlanId_;
};

}  // namespace Kor
