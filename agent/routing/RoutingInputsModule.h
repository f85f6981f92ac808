#pragma once
// The routing inputs other agents publish on a switch and the routing layer
// reads: the bridging configuration's router MAC, the uRPF configuration,
// the MLAG status (with the peer's router MAC, on the common data) and the MPLS routing information (handed to every VRF's
// routing status machine), and the route machines' fields of the hardware
// routing configuration (maxNumRoutes, parentDropRoute, deletionDelay,
// icmpUnreachable, greKeyForwarding; the entity is the chip module's, shared
// with the L2 adjacency helper), and deferred routing (the VRF module's L3
// configuration, read by every VRF's route machines: routes are handed over
// before a VRF's routing first comes on). Statements `router mac`, `urpf`,
// `mlag`, `mpls`, `deferred routing` and `set <field>`; show `routing`;
// configuration section "routing".
//
// The router MAC is never all zeros: until one is configured the agent uses
// kDefaultRouterMac, a locally administered unicast address (02:...), so a
// switch that routes before its configuration names a MAC still answers on
// an address no vendor assigned to anything else.
#include <string>

#include "agent/AgentModule.h"
#include "kor/l3/VrfRootSmInputs.h"
#include "models/bridging/Config.h"
#include "models/mlag/Status.h"
#include "models/mpls/RoutingInfo.h"
#include "models/urpf/Config.h"
#include "nollo/EthAddr.h"
#include "nollo/IntfId.h"
#include "vix/Ptr.h"

namespace KorAgent {

class RoutingInputsModule : public AgentModule {
 public:
  static constexpr char const* kDefaultRouterMac = "02:00:00:00:00:01";

  explicit RoutingInputsModule(Agent* agent);

  // Throws on a multicast or all-zero address.
  void routerMacIs(Nollo::EthAddr const& mac);
  Nollo::EthAddr const& routerMac() const { return bridgingConfig_->routerMac(); }
  void urpfEnabledIs(bool on);
  // One family's check on an interface; Mode::disabled removes it.
  void intfUrpfIs(Nollo::IntfId const& intf, bool v4, Urpf::UrpfStatus const& status);
  // MLAG active with the peer's router MAC (routed for too), or inactive.
  void mlagActiveIs(bool on, Nollo::EthAddr const& peerMac = Nollo::EthAddr());
  void mplsRoutingIs(bool on);
  // MPLS routing switched off on one interface (on: the global setting).
  void mplsIntfIs(Nollo::IntfId const& intf, bool on);
  bool deferredRouting() const;
  void deferredRoutingIs(bool on);
  // A route-machine field of the hardware configuration by name.
  static bool hwFieldKnown(std::string const& name);
  static bool hwFieldIsFlag(std::string const& name);
  void hwFieldIs(std::string const& name, double value);
  double hwField(std::string const& name) const;

  // Hands its entities to the VRF root's inputs.
  void vrfRootInputsAdd(Kor::VrfRootSmInputs& v) const;

  void configSectionsAdd(std::vector<std::unique_ptr<ConfigSection>>& out) const override;
  void statementsAdd(StatementTable& t) override;
  void showsAdd() override;
  // kor-agent is its switch's only supervisor: the common data says active,
  // and carries the MLAG peer's MAC.
  void doCreateHelpers() override;

 private:
  ShowModel routingShow() const;

  Vix::Ptr<Bridging::Config> bridgingConfig_;
  Vix::Ptr<Urpf::Config> urpfConfig_;
  Vix::Ptr<Mlag::Status> mlagStatus_;
  Vix::Ptr<Mpls::RoutingInfo> mplsRoutingInfo_;
  // Kept here: the common data is created again at each restart.
  Nollo::EthAddr peerMac_;
};

}  // namespace KorAgent
