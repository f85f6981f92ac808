#pragma once
// The software chip's VLAN translation hook: writes each translation into
// the chip's ingress or egress table (XlateChip), answered through the
// fault injector; "full" when the table is at capacity. A native
// translation is the port's one native entry of that table. Deletes are
// never refused. heldTranslations() reads the tables back for a new run.
#include "kor/helpers/VlanMappingSmHelper.h"
#include "softchip/common/ChipTable.h"
#include "softchip/l2/XlateEntryKey.h"

namespace SoftChip {

class SoftVlanMappingSmHelper : public KorHelper::VlanMappingSmHelper {
 public:
  using XlateTable = ChipTable<XlateEntryKey, uint16_t>;

  SoftVlanMappingSmHelper(XlateTable* ingress, XlateTable* egress) : ingress_(ingress), egress_(egress) {}

  KorTypes::HwXlateResult doAddIngressVlanTranslation(Nollo::IntfId const& port, Bridging::VlanXlateKey const& key,
                                                      Kor::VlanId mapped) override;
  KorTypes::HwXlateResult doDelIngressVlanTranslation(Nollo::IntfId const& port,
                                                      Bridging::VlanXlateKey const& key) override;
  KorTypes::HwXlateResult doAddEgressVlanTranslation(Nollo::IntfId const& port, Bridging::VlanXlateKey const& key,
                                                     Kor::VlanId mapped) override;
  KorTypes::HwXlateResult doDelEgressVlanTranslation(Nollo::IntfId const& port,
                                                     Bridging::VlanXlateKey const& key) override;
  KorTypes::HwXlateResult doAddIngressNativeVlanTranslation(Nollo::IntfId const& port, Kor::VlanId nativeVlan,
                                                            Kor::VlanId mappedVlan) override;
  KorTypes::HwXlateResult doDelIngressNativeVlanTranslation(Nollo::IntfId const& port) override;
  KorTypes::HwXlateResult doAddEgressNativeVlanTranslation(Nollo::IntfId const& port, Kor::VlanId nativeVlan,
                                                           Kor::VlanId mappedVlan) override;
  KorTypes::HwXlateResult doDelEgressNativeVlanTranslation(Nollo::IntfId const& port) override;
  Held heldTranslations() const override;

 private:
  static KorTypes::HwXlateResult doWrite(XlateTable& t, XlateEntryKey const& k, Kor::VlanId mapped);
  static void doDelNative(XlateTable& t, Nollo::IntfId const& port);

  XlateTable* ingress_;
  XlateTable* egress_;
};

}  // namespace SoftChip
