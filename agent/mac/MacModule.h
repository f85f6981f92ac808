#pragma once
// The MAC address table: the chip's learned table and its hook (the
// software chip's SoftMacAddrSmHelper, kept for the agent's whole life so a
// library restart finds what the chip learned), the bridging configuration
// the MAC table reads (static entries per VLAN, aging time, learning per
// port), the MLAG peer link, the flush request directory and the router MAC
// table. Its part of the library is the MacAddrSm, which writes the bridging
// status (one FdbStatus per VLAN) the neighbour module hands the VRF
// machines. Statements `mac static add|del`, `mac aging`, `mac learning`,
// `mac flush`, `mac peer-link`; the configuration file's "macs";
// show `mac`. The chip learns through learn() (the neighbour module's
// `mac add|move` statements).
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "agent/AgentModule.h"
#include "kor/common/VlanId.h"
#include "models/bridging/Config.h"
#include "models/bridging/HostTableFlushRequestDir.h"
#include "models/mlag/Status.h"
#include "nollo/EthAddr.h"
#include "nollo/IntfId.h"
#include "vix/Ptr.h"

namespace Kor {
class MacAddrSm;
}
namespace KorTypes {
class MacTable;
}
namespace SoftChip {
class SoftMacAddrSmHelper;
}

namespace KorAgent {

class MacModule : public AgentModule {
 public:
  static constexpr uint32_t kDefaultAgingTime = 300;

  explicit MacModule(Agent* agent);
  ~MacModule() override;

  // The chip learns (or moves) the MAC on the interface; `fresh`: the MAC
  // must not be learned yet in the VLAN, else it must be.
  void learn(Kor::VlanId vlan, Nollo::EthAddr const& mac, Nollo::IntfId const& intf, bool fresh);
  // The chip ages the learned MAC.
  void age(Kor::VlanId vlan, Nollo::EthAddr const& mac);
  void staticAdd(Kor::VlanId vlan, Nollo::EthAddr const& mac, Nollo::IntfId const& intf);
  void staticDel(Kor::VlanId vlan, Nollo::EthAddr const& mac);
  void agingTimeIs(uint32_t seconds);
  void learningIs(Nollo::IntfId const& intf, bool on);
  // vlan 0: every VLAN; no interface: every interface.
  void flush(uint16_t vlan, Nollo::IntfId const& intf);
  // None: no MLAG peer link.
  void peerLinkIs(Nollo::IntfId const& intf);

  Kor::MacAddrSm* macAddrSm() const { return macAddrSm_.ptr(); }
  SoftChip::SoftMacAddrSmHelper& helper() const { return *helper_; }
  Vix::Ptr<Bridging::Config> const& bridgingConfig() const { return bridgingConfig_; }
  ShowModel macShow() const;

  void statementsAdd(StatementTable& t) override;
  void showsAdd() override;
  void configSectionsAdd(std::vector<std::unique_ptr<ConfigSection>>& out) const override;
  void doCreateRoots() override;
  void doStartLibrary() override;
  void doDestroyLibrary() override;

 private:
  Vix::Ptr<SoftChip::SoftMacAddrSmHelper> helper_;
  Vix::Ptr<KorTypes::MacTable> routerMacTable_;
  Vix::Ptr<Bridging::Config> bridgingConfig_;
  Vix::Ptr<Mlag::Status> mlagStatus_;
  Vix::Ptr<Bridging::HostTableFlushRequestDir> flushRequestDir_;
  uint64_t flushRequests_ = 0;
  Vix::Ptr<Kor::MacAddrSm> macAddrSm_;
};

}  // namespace KorAgent
