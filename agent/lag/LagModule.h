#pragma once
// Link aggregation: the LAG statuses the interface agent publishes (one
// EthLagIntfStatus per port channel, with its member ports and device name)
// and the device-name directory the library writes. Its part of the
// library is the LagSm, created first among the roots and started before
// the others, so the common data's LAG maps (which the LagSm owns) are
// filled before any adjacency machine reads them. Statements `lag add|del`
// (members join or leave; a port channel goes with its last member),
// `lag unmanaged|managed` (ports the chip leaves to another agent) and
// `lag lacp`; the configuration file's "lags"; shows `lag`.
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "agent/AgentModule.h"
#include "kor/common/KorPortList.h"
#include "models/interface/EthLagIntfStatusDir.h"
#include "models/lag/IntfDeviceNameDir.h"
#include "nollo/IntfId.h"
#include "vix/Ptr.h"

namespace Kor {
class LagSm;
}

namespace KorAgent {

class LagModule : public AgentModule {
 public:
  explicit LagModule(Agent* agent);
  ~LagModule() override;

  // Ethernet ports join a port channel (each port in one at most).
  void lagAdd(Nollo::IntfId const& lag, std::vector<Nollo::IntfId> const& ports);
  // Members leave it; the port channel goes with its last member.
  void lagDel(Nollo::IntfId const& lag, std::vector<Nollo::IntfId> const& ports);
  // The chip does (not) manage the ports.
  void unmanagedIs(std::vector<Nollo::IntfId> const& ports, bool unmanaged);

  Vix::Ptr<Interface::EthLagIntfStatusDir> const& ethLagIntfStatusDir() const { return ethLagIntfStatusDir_; }
  Vix::Ptr<Lag::Input::IntfDeviceNameDir> const& deviceNameDir() const { return deviceNameDir_; }
  Kor::LagSm* lagSm() const { return lagSm_.ptr(); }
  ShowModel lagShow() const;

  void statementsAdd(StatementTable& t) override;
  void showsAdd() override;
  std::vector<InputGroup> inputGroups() const override;
  void configSectionsAdd(std::vector<std::unique_ptr<ConfigSection>>& out) const override;
  void doCreateRoots() override;
  void doStartLibrary() override;
  void doDestroyLibrary() override;

 private:
  // The kernel's name of a port channel: Port-Channel7 is "po7".
  static std::string deviceName(Nollo::IntfId const& lag);

  Vix::Ptr<Interface::EthLagIntfStatusDir> ethLagIntfStatusDir_;
  Vix::Ptr<Lag::Input::IntfDeviceNameDir> deviceNameDir_;
  Vix::Ptr<Kor::LagSm> lagSm_;
};

}  // namespace KorAgent
