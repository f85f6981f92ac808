#pragma once
// Programs the VLAN translations of every port (trace "KorVlanMappingSm"):
// ingress and egress translations keyed by Bridging::VlanXlateKey and one
// native-VLAN pair per direction. A port takes the configuration of its port
// channel while it is a member (KorCommonSmData::portToLag) and its own back
// when it leaves; a port channel's configuration is programmed on its
// members, never on the channel itself (the chip translates per port).
//
// Owns: what the chip holds per port (hw_, claimed back from the helper at
// start so a restart over a kept chip rewrites nothing that is right), the
// ports whose translations the chip refused (unprogrammedIntfList) and the
// status per port (Bridging::VlanXlateStatusDir, `xlateStatus`).
//
// Invariants: hw_ is exactly what the helper accepted and has not deleted;
// a port is in unprogrammedIntfList iff one of its configured translations
// is not in hw_. A refused translation is a state, never dropped: the port
// is retried every kRetryPeriod and at once after this machine deleted a
// translation (room came back). The exhaustion log is raised once, when the
// port enters the list, and its NORMAL pair when the port leaves it.
// Removals go before adds in every pass, so a changed translation makes
// room for itself. A configuration with a VLAN out of range is refused
// whole: its port keeps what it had and its status carries the reason.
//
// Fed by: Bridging::VlanXlateConfigDir, the LAG maps of the common data.
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "kor/common/KorBaseSm.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/helpers/VlanMappingSmHelper.h"
#include "kor/l2/HwVlanXlate.h"
#include "models/bridging/VlanXlateConfigDir.h"
#include "models/bridging/VlanXlateStatusDir.h"
#include "vix/Clock.h"

namespace Kor {

class KOR_EXPORT VlanMappingSm : public KorBaseSm {
 public:
  static constexpr Vix::Seconds kRetryPeriod = 1.0;

  VlanMappingSm(Vix::Ptr<KorCommonSmData> const& acsd, Vix::Ptr<Bridging::VlanXlateConfigDir const> const& config,
                Vix::Ptr<Bridging::VlanXlateStatusDir> const& xlateStatus,
                Vix::Ptr<KorHelper::VlanMappingSmHelper> const& helper);
  ~VlanMappingSm() override;

  void handleInitialized() override;
  void handleIntfConfig(Nollo::IntfId const& intf);
  void handlePortToLag(Nollo::IntfId const& port);
  void handleLagToPort(Nollo::IntfId const& lag);

  // The interface whose configuration applies to the port: its port
  // channel while it is a member, itself otherwise.
  Nollo::IntfId activeConfigIntf(Nollo::IntfId const& port) const;

  // One translation of one port, as a pass programs it: an add of what the
  // chip already holds writes nothing.
  KorTypes::HwXlateResult addIngressVlanTranslation(Nollo::IntfId const& port, Bridging::VlanXlateKey const& key,
                                                    VlanId mapped);
  void delIngressVlanTranslation(Nollo::IntfId const& port, Bridging::VlanXlateKey const& key);
  KorTypes::HwXlateResult addEgressVlanTranslation(Nollo::IntfId const& port, Bridging::VlanXlateKey const& key,
                                                   VlanId mapped);
  void delEgressVlanTranslation(Nollo::IntfId const& port, Bridging::VlanXlateKey const& key);
  // Needs the identity record (no native translation held) first.
  KorTypes::HwXlateResult addIngressNativeVlanTranslation(Nollo::IntfId const& port, VlanId nativeVlan,
                                                          VlanId mappedVlan);
  void delIngressNativeVlanTranslation(Nollo::IntfId const& port);
  KorTypes::HwXlateResult addEgressNativeVlanTranslation(Nollo::IntfId const& port, VlanId nativeVlan,
                                                         VlanId mappedVlan);
  void delEgressNativeVlanTranslation(Nollo::IntfId const& port);

  // Programs again every port of the list; a port all of whose
  // translations are now held leaves it.
  void reviewUnprogrammedIntfList();
  // Removes every translation the chip holds for the port.
  void clearVlanMappings(Nollo::IntfId const& port);

  std::set<Nollo::IntfId> const& unprogrammedIntfList() const { return unprogrammedIntfList_; }
  Vix::Ptr<Bridging::VlanXlateStatusDir> const& xlateStatus() const { return xlateStatus_; }
  // The port's native records (identity when none is held).
  HwVlanXlate hwIngressNative(Nollo::IntfId const& port) const;
  HwVlanXlate hwEgressNative(Nollo::IntfId const& port) const;

 private:
  class VixConfig;
  class VixAcsd;

  // What the chip holds for one port.
  struct HwIntf {
    std::map<Bridging::VlanXlateKey, VlanId> ingress;
    std::map<Bridging::VlanXlateKey, VlanId> egress;
    HwVlanXlate ingressNative;
    HwVlanXlate egressNative;
    bool empty() const {
      return ingress.empty() && egress.empty() && ingressNative.isIdentity() && egressNative.isIdentity();
    }
  };
  // A configuration with its VLANs checked.
  struct Wanted {
    std::map<Bridging::VlanXlateKey, VlanId> ingress;
    std::map<Bridging::VlanXlateKey, VlanId> egress;
    std::optional<HwVlanXlate> ingressNative;
    std::optional<HwVlanXlate> egressNative;
    bool empty() const { return ingress.empty() && egress.empty() && !ingressNative && !egressNative; }
  };
  // The first translation of a pass the chip refused, for the log.
  struct Refusal {
    bool native = false;
    char const* direction = "";
    int from = 0;
    int to = 0;
  };

  // Empty when the whole configuration is in range; the reason otherwise.
  static std::string doCheck(Bridging::VlanXlateIntfConfig const& cfg, Wanted& out);
  // Brings the chip to the port's active configuration.
  void doApply(Nollo::IntfId const& port);
  void doRefused(Refusal const& r);
  // The operations above, one body per direction pair.
  KorTypes::HwXlateResult doAddKeyed(Nollo::IntfId const& port, bool egress, Bridging::VlanXlateKey const& key,
                                     VlanId mapped);
  void doDelKeyed(Nollo::IntfId const& port, bool egress, Bridging::VlanXlateKey const& key);
  KorTypes::HwXlateResult doAddNative(Nollo::IntfId const& port, bool egress, VlanId nativeVlan, VlanId mappedVlan);
  void doDelNative(Nollo::IntfId const& port, bool egress);
  void doNoteRefusal(Nollo::IntfId const& port, bool native, char const* direction, VlanId from, VlanId to);
  void doUnprogrammed(Nollo::IntfId const& port, bool refused);
  void doArmRetry(Vix::Seconds at);

  Vix::Ptr<Bridging::VlanXlateConfigDir const> config_;
  Vix::Ptr<Bridging::VlanXlateStatusDir> xlateStatus_;
  Vix::Ptr<KorHelper::VlanMappingSmHelper> helper_;
  std::map<Nollo::IntfId, HwIntf> hw_;
  std::set<Nollo::IntfId> unprogrammedIntfList_;
  std::optional<Refusal> refusal_;
  Nollo::IntfId refusalPort_;
  Vix::Clock retry_;
  Vix::ReactorSet<VlanMappingSm> vixReactors_{this};
};

KOR_EXPORT Vix::Ptr<VlanMappingSm> vlanMappingSmFactory(
    Vix::Ptr<KorCommonSmData> const& acsd, Vix::Ptr<Bridging::VlanXlateConfigDir const> const& config,
    Vix::Ptr<Bridging::VlanXlateStatusDir> const& xlateStatus,
    Vix::Ptr<KorHelper::VlanMappingSmHelper> const& helper);

}  // namespace Kor
