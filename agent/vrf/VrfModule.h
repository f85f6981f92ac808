#pragma once
// VRFs and routing: announces and withdraws VRFs (the routing information
// entities of both families), switches their routing, the hardware's VRF
// capacity, and the VRF root's settings (knobs). Owns the VRF root, the last
// object of the library's creation order (vrfRootSmFactory), created over
// every other module's helpers and input entities. Shows `vrfs` and `l3`.
// The VRF `default` is announced from the start, routing off.
#include <cstdint>
#include <map>
#include <string>

#include "agent/AgentModule.h"
#include "kor/common/VrfName.h"
#include "models/ip/AllVrfStatusLocal.h"
#include "models/ip/VrfCapability.h"
#include "models/routing/L3Config.h"
#include "models/routing/PackedArgs.h"
#include "models/routing/VrfInfoDir.h"
#include "models/routing6/VrfInfoDir.h"
#include "vix/Ptr.h"

namespace Kor {
class VrfRoot;
class VrfRootSm;
}  // namespace Kor

namespace KorAgent {

class VrfModule : public AgentModule {
 public:
  explicit VrfModule(Agent* agent);

  void vrfAdd(Kor::VrfName const& name);
  void vrfDel(Kor::VrfName const& name);
  void vrfReplace(Kor::VrfName const& name);
  void maxVrfsIs(uint32_t n);
  // IPv4 / IPv6 routing of a VRF (announced VRFs start with both on, the
  // default VRF with both off).
  void routingIs(Kor::VrfName const& name, bool v4, bool v6, bool on);
  static bool knobKnown(std::string const& name);
  static bool knobIsInteger(std::string const& name);
  // A knob's value before any `set` (0 for an unknown one).
  static double knobDefault(std::string const& name);
  void knobIs(std::string const& name, double value);
  bool announced(Kor::VrfName const& name) const;
  // Throws unless the VRF is announced.
  void checkAnnounced(Kor::VrfName const& name) const;

  Kor::VrfRootSm* vrfRootSm() const { return vrfRootSm_.ptr(); }
  Vix::Ptr<Ip::AllVrfStatusLocal> const& allVrfStatusLocal() const { return allVrfStatusLocal_; }
  Vix::Ptr<Ip::VrfCapability> const& vrfCapability() const { return vrfCapability_; }
  Vix::Ptr<Routing::L3Config> const& l3Config() const { return l3Config_; }
  Vix::Ptr<Routing::PackedArgs> const& packedArgs() const { return packedArgs_; }
  Vix::Ptr<Routing::VrfInfoDir> const& vrfInfoDir() const { return vrfInfoDir_; }
  Vix::Ptr<Routing6::VrfInfoDir> const& vrf6InfoDir() const { return vrf6InfoDir_; }
  // The library's root of an announced VRF (null: none, or not started).
  Kor::VrfRoot const* vrfRootOf(std::string const& name) const;

  void configSectionsAdd(std::vector<std::unique_ptr<ConfigSection>>& out) const override;
  void statementsAdd(StatementTable& t) override;
  void showsAdd() override;
  std::vector<InputGroup> inputGroups() const override;
  void doCreateRoots() override;
  void doDestroyLibrary() override;

 private:
  void doAnnounce(Kor::VrfName const& name);
  void doApplyKnobs();
  ShowModel vrfsShow() const;
  ShowModel l3Show() const;

  // What the routing agent and the state database publish about VRFs.
  Vix::Ptr<Ip::AllVrfStatusLocal> allVrfStatusLocal_;
  Vix::Ptr<Ip::VrfCapability> vrfCapability_;
  Vix::Ptr<Routing::L3Config> l3Config_;
  Vix::Ptr<Routing::PackedArgs> packedArgs_;
  Vix::Ptr<Routing::VrfInfoDir> vrfInfoDir_;
  Vix::Ptr<Routing6::VrfInfoDir> vrf6InfoDir_;
  Vix::Ptr<Kor::VrfRootSm> vrfRootSm_;
  // The VRF root's settings the scenario changed, over the agent's defaults.
  std::map<std::string, double> knobs_;
};

}  // namespace KorAgent
