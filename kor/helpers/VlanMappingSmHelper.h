#pragma once
// Platform hook of VlanMappingSm: programs the VLAN translations of one
// port. An add answers with a state (HwXlateResult); a refused add leaves
// the chip as it was and is asked again later. A delete is never refused
// (it answers success_, also for an entry the chip does not hold).
// heldTranslations() tells a new run what the chip kept from the last one,
// so a restart over a kept chip rewrites nothing that is already right.
// A platform library derives from it; an operation it does not override
// fails loudly.
#include <map>
#include <string>
#include <utility>

#include "kor/common/KorBaseHelper.h"
#include "kor/common/KorExport.h"
#include "kor/common/VlanId.h"
#include "kor/helpers/HwXlateResult.h"
#include "models/bridging/VlanXlateKey.h"
#include "nollo/IntfId.h"

namespace KorHelper {

class KOR_EXPORT VlanMappingSmHelper : public Kor::KorBaseHelper {
 public:
  // What the chip holds: per port and key the mapped VLAN; per port the
  // native pair (native VLAN, mapped VLAN).
  struct Held {
    std::map<std::pair<Nollo::IntfId, Bridging::VlanXlateKey>, Kor::VlanId> ingress;
    std::map<std::pair<Nollo::IntfId, Bridging::VlanXlateKey>, Kor::VlanId> egress;
    std::map<Nollo::IntfId, std::pair<Kor::VlanId, Kor::VlanId>> ingressNative;
    std::map<Nollo::IntfId, std::pair<Kor::VlanId, Kor::VlanId>> egressNative;
  };

  explicit VlanMappingSmHelper(std::string name = "VlanMappingSmHelper") : KorBaseHelper(std::move(name)) {}

  virtual KorTypes::HwXlateResult doAddIngressVlanTranslation(Nollo::IntfId const&, Bridging::VlanXlateKey const&,
                                                              Kor::VlanId) {
    unimplemented("VlanMappingSm", "doAddIngressVlanTranslation");
    return KorTypes::failed_;
  }
  virtual KorTypes::HwXlateResult doDelIngressVlanTranslation(Nollo::IntfId const&, Bridging::VlanXlateKey const&) {
    unimplemented("VlanMappingSm", "doDelIngressVlanTranslation");
    return KorTypes::failed_;
  }
  virtual KorTypes::HwXlateResult doAddEgressVlanTranslation(Nollo::IntfId const&, Bridging::VlanXlateKey const&,
                                                             Kor::VlanId) {
    unimplemented("VlanMappingSm", "doAddEgressVlanTranslation");
    return KorTypes::failed_;
  }
  virtual KorTypes::HwXlateResult doDelEgressVlanTranslation(Nollo::IntfId const&, Bridging::VlanXlateKey const&) {
    unimplemented("VlanMappingSm", "doDelEgressVlanTranslation");
    return KorTypes::failed_;
  }
  virtual KorTypes::HwXlateResult doAddIngressNativeVlanTranslation(Nollo::IntfId const&, Kor::VlanId, Kor::VlanId) {
    unimplemented("VlanMappingSm", "doAddIngressNativeVlanTranslation");
    return KorTypes::failed_;
  }
  virtual KorTypes::HwXlateResult doDelIngressNativeVlanTranslation(Nollo::IntfId const&) {
    unimplemented("VlanMappingSm", "doDelIngressNativeVlanTranslation");
    return KorTypes::failed_;
  }
  virtual KorTypes::HwXlateResult doAddEgressNativeVlanTranslation(Nollo::IntfId const&, Kor::VlanId, Kor::VlanId) {
    unimplemented("VlanMappingSm", "doAddEgressNativeVlanTranslation");
    return KorTypes::failed_;
  }
  virtual KorTypes::HwXlateResult doDelEgressNativeVlanTranslation(Nollo::IntfId const&) {
    unimplemented("VlanMappingSm", "doDelEgressNativeVlanTranslation");
    return KorTypes::failed_;
  }
  virtual Held heldTranslations() const {
    unimplemented("VlanMappingSm", "heldTranslations");
    return {};
  }
};

}  // namespace KorHelper
