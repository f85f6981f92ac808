#pragma once
// Tunnels: the tunnel configuration (tunnel interface -> type, end points,
// underlay VRF, GRE key) as the tunnel configuration agent writes it, and
// the status the library's tunnel resolver publishes. Its part of the
// library is the one TunnelResolverSm, created after the VRF root so the
// VRFs it reads exist. Also the chip's LAG hardware ids (`chip lag`), which
// the adjacencies over a port channel carry. Shows `tunnels`.
#include <cstdint>
#include <map>

#include "agent/AgentModule.h"
#include "models/tunnel/KorTunnelConfig.h"
#include "models/tunnel/KorTunnelStatus.h"
#include "nollo/IntfId.h"
#include "vix/Ptr.h"

namespace Kor {
class TunnelResolverSm;
}

namespace KorAgent {

class TunnelModule : public AgentModule {
 public:
  explicit TunnelModule(Agent* agent);
  ~TunnelModule() override;

  // Adds or replaces the tunnel interface's configuration. The interface
  // must be a tunnel interface, source and destination of one family and
  // the destination not zero; a key only for GRE.
  void tunnelAdd(Nollo::IntfId const& intf, Tunnel::TunnelIntfConfig const& cfg);
  void tunnelDel(Nollo::IntfId const& intf);
  // What is wrong with the tunnel (empty: nothing); tunnelAdd and the
  // configuration file refuse it with this text.
  static std::string tunnelError(Nollo::IntfId const& intf, Tunnel::TunnelIntfConfig const& cfg);
  // The chip gives the port channel another hardware id (0: its number).
  void lagHwIdIs(Nollo::IntfId const& lag, uint32_t id);

  Vix::Ptr<Tunnel::KorTunnelConfig> const& tunnelConfig() const { return tunnelConfig_; }
  Vix::Ptr<Tunnel::KorTunnelStatus> const& tunnelStatus() const { return tunnelStatus_; }
  Kor::TunnelResolverSm* tunnelResolverSm() const;

  void statementsAdd(StatementTable& t) override;
  void showsAdd() override;
  std::vector<InputGroup> inputGroups() const override;
  void configSectionsAdd(std::vector<std::unique_ptr<ConfigSection>>& out) const override;
  void doCreateRoots() override;
  void doStartLibrary() override;
  void doDestroyLibrary() override;

 private:
  ShowModel tunnelsShow() const;

  Vix::Ptr<Tunnel::KorTunnelConfig> tunnelConfig_;
  Vix::Ptr<Tunnel::KorTunnelStatus> tunnelStatus_;
  Vix::Ptr<Kor::TunnelResolverSm> resolver_;
};

}  // namespace KorAgent
