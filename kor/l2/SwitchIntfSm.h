#pragma once
// Applies each switch interface's configuration: its VLAN membership
// (through the common data's VLAN helper), default VLAN, tagging mode and
// TPID (through the platform's SwitchIntfSmHelper), and creates the
// configured VLANs. Fed by Bridging::SwitchIntfConfig (per interface),
// Bridging::VlanConfig (the VLANs) and the common data (`intf`, the LAG maps).
//
// A LAG member uses its LAG's configuration (activeConfig) for as long as it
// is in the LAG and its own again when it leaves; a port channel itself is
// never programmed, its members are. An interface the common data does not
// know is not initialised (nothing applied) until it appears; one that
// disappears or loses its configuration is taken out of every VLAN.
//
// Membership: an access or dot1q-tunnel port is an untagged member of its
// access VLAN; a trunk is a tagged member of each allowed VLAN and an
// untagged one of its native VLAN when that is allowed. Only configured
// VLANs count. Invariant: applied_ holds, per port, exactly what was last
// asked of the helpers; every change is the difference against it, so a
// re-apply with nothing changed calls nobody.
#include <map>
#include <optional>

#include "kor/common/KorBaseSm.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/common/KorExport.h"
#include "kor/common/KorPortVlanTpidData.h"
#include "kor/common/VlanId.h"
#include "kor/helpers/SwitchIntfSmHelper.h"
#include "models/bridging/SwitchIntfConfig.h"
#include "models/bridging/VlanConfig.h"
#include "vix/Ptr.h"

namespace Kor {

class VlanHelperBase;

class KOR_EXPORT SwitchIntfSm : public KorBaseSm {
 public:
  SwitchIntfSm(Vix::Ptr<KorCommonSmData> const& acsd, Vix::Ptr<Bridging::SwitchIntfConfig const> const& config,
               Vix::Ptr<Bridging::VlanConfig const> const& vlanConfig,
               Vix::Ptr<KorHelper::SwitchIntfSmHelper> const& helper);
  ~SwitchIntfSm() override;

  // What was applied to one port.
  struct Applied {
    std::map<VlanId, bool> vlans;  // VLAN -> tagged
    uint16_t defaultVlan = 0;
    std::optional<Bridging::SwitchportConfig::Mode> mode;
    std::optional<KorPortVlanTpidData> tpid;
  };

  // The configuration that governs the interface: its LAG's for a LAG
  // member, its own otherwise; none when there is none.
  std::optional<Bridging::SwitchportConfig> activeConfig(Nollo::IntfId const& intf);
  std::map<Nollo::IntfId, Applied> const& applied() const { return applied_; }

  void handleInitialized() override;
  void handleVerify() override;
  void handleSwitchIntfConfig(Nollo::IntfId const& intf);
  void handleVlan(uint16_t vlan);
  void handleIntf(Nollo::IntfId const& intf);
  void handlePortToLag(Nollo::IntfId const& intf);
  void handleLagToPort(Nollo::IntfId const& lag);

 private:
  class VixSwitchIntfConfig;
  class VixVlanConfig;
  class VixAcsd;

  VlanHelperBase* vlanHelper() const;
  void doApply(Nollo::IntfId const& intf);
  void handleSwitchportModeAndNativeVlan(Nollo::IntfId const& intf, Bridging::SwitchportConfig const& cfg,
                                         Applied& a);
  void handleVlanTpid(Nollo::IntfId const& intf, Bridging::SwitchportConfig const& cfg, Applied& a);
  void doCleanup(Nollo::IntfId const& intf);
  std::map<VlanId, bool> doMembership(Bridging::SwitchportConfig const& cfg) const;

  Vix::Ptr<Bridging::SwitchIntfConfig const> config_;
  Vix::Ptr<Bridging::VlanConfig const> vlanConfig_;
  Vix::Ptr<KorHelper::SwitchIntfSmHelper> helper_;
  std::map<Nollo::IntfId, Applied> applied_;
  // The members each LAG had when last seen, to re-apply those that left.
  std::map<Nollo::IntfId, KorPortList> lagMembers_;
  Vix::ReactorSet<SwitchIntfSm> vixReactors_{this};
};

KOR_EXPORT Vix::Ptr<SwitchIntfSm> switchIntfSmFactory(Vix::Ptr<KorCommonSmData> const& acsd,
                                                      Vix::Ptr<Bridging::SwitchIntfConfig const> const& config,
                                                      Vix::Ptr<Bridging::VlanConfig const> const& vlanConfig,
                                                      Vix::Ptr<KorHelper::SwitchIntfSmHelper> const& helper);

}  // namespace Kor
