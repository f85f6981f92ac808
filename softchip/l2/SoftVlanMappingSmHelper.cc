#include "softchip/l2/SoftVlanMappingSmHelper.h"

#include <vector>

namespace SoftChip {

KorTypes::HwXlateResult SoftVlanMappingSmHelper::doWrite(XlateTable& t, XlateEntryKey const& k, Kor::VlanId mapped) {
  switch (t.write(k, mapped.value())) {
    case ChipAnswer::success:
      return KorTypes::success_;
    case ChipAnswer::resourceFull:
      return KorTypes::resourceFull_;
    default:
      return KorTypes::failed_;
  }
}

void SoftVlanMappingSmHelper::doDelNative(XlateTable& t, Nollo::IntfId const& port) {
  std::vector<XlateEntryKey> gone;
  for (auto const& [k, v] : t.entries())
    if (k.port == port && k.native) gone.push_back(k);
  for (auto const& k : gone) t.erase(k);
}

KorTypes::HwXlateResult SoftVlanMappingSmHelper::doAddIngressVlanTranslation(Nollo::IntfId const& port,
                                                                             Bridging::VlanXlateKey const& key,
                                                                             Kor::VlanId mapped) {
  return doWrite(*ingress_, XlateEntryKey{port, false, key}, mapped);
}

KorTypes::HwXlateResult SoftVlanMappingSmHelper::doDelIngressVlanTranslation(Nollo::IntfId const& port,
                                                                             Bridging::VlanXlateKey const& key) {
  ingress_->erase(XlateEntryKey{port, false, key});
  return KorTypes::success_;
}

KorTypes::HwXlateResult SoftVlanMappingSmHelper::doAddEgressVlanTranslation(Nollo::IntfId const& port,
                                                                            Bridging::VlanXlateKey const& key,
                                                                            Kor::VlanId mapped) {
  return doWrite(*egress_, XlateEntryKey{port, false, key}, mapped);
}

KorTypes::HwXlateResult SoftVlanMappingSmHelper::doDelEgressVlanTranslation(Nollo::IntfId const& port,
                                                                            Bridging::VlanXlateKey const& key) {
  egress_->erase(XlateEntryKey{port, false, key});
  return KorTypes::success_;
}

KorTypes::HwXlateResult SoftVlanMappingSmHelper::doAddIngressNativeVlanTranslation(Nollo::IntfId const& port,
                                                                                   Kor::VlanId nativeVlan,
                                                                                   Kor::VlanId mappedVlan) {
  return doWrite(*ingress_, XlateEntryKey{port, true, Bridging::VlanXlateKey(nativeVlan.value())}, mappedVlan);
}

KorTypes::HwXlateResult SoftVlanMappingSmHelper::doDelIngressNativeVlanTranslation(Nollo::IntfId const& port) {
  doDelNative(*ingress_, port);
  return KorTypes::success_;
}

KorTypes::HwXlateResult SoftVlanMappingSmHelper::doAddEgressNativeVlanTranslation(Nollo::IntfId const& port,
                                                                                  Kor::VlanId nativeVlan,
                                                                                  Kor::VlanId mappedVlan) {
  return doWrite(*egress_, XlateEntryKey{port, true, Bridging::VlanXlateKey(nativeVlan.value())}, mappedVlan);
}

KorTypes::HwXlateResult SoftVlanMappingSmHelper::doDelEgressNativeVlanTranslation(Nollo::IntfId const& port) {
  doDelNative(*egress_, port);
  return KorTypes::success_;
}

SoftVlanMappingSmHelper::Held SoftVlanMappingSmHelper::heldTranslations() const {
  Held h;
  for (auto const& [k, v] : ingress_->entries()) {
    if (k.native) h.ingressNative[k.port] = {Kor::VlanId(k.match.outerVlan()), Kor::VlanId(v)};
    else h.ingress[{k.port, k.match}] = Kor::VlanId(v);
  }
  for (auto const& [k, v] : egress_->entries()) {
    if (k.native) h.egressNative[k.port] = {Kor::VlanId(k.match.outerVlan()), Kor::VlanId(v)};
    else h.egress[{k.port, k.match}] = Kor::VlanId(v);
  }
  return h;
}

}  // namespace SoftChip
