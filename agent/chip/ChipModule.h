#pragma once
// Chip control: the hardware's capabilities and configuration as the
// platform publishes them (maxEcmp, the adjacency sharing mode, the IPv6
// exact-match prefix lengths) and the software chip's test controls
// (capacities, fault rules). Its part of the library's creation is the
// chip's route resolver, in place before any route machine hands a route
// over and detached before anything else goes, so that what the dying
// machines take out of the hand-over lists stays in the chip for the next
// run to claim. Shows `chip`.
#include <cstdint>
#include <vector>

#include "agent/AgentModule.h"
#include "models/routing/hardware/AdjSharing.h"
#include "models/routing/hardware/Config.h"
#include "models/routing/hardware/RouteStatus.h"
#include "models/routing/hardware/Status.h"
#include "models/routing6/hardware/RouteStatus.h"
#include "vix/Ptr.h"

namespace KorAgent {

class ChipModule : public AgentModule {
 public:
  explicit ChipModule(Agent* agent);
  Vix::Ptr<Routing::Hardware::Config> const& hwConfig() const { return hwConfig_; }
  Vix::Ptr<Routing::Hardware::Status> const& hwStatus() const { return hwStatus_; }
  Vix::Ptr<Routing::Hardware::RouteStatus> const& hwRouteStatus() const { return hwRouteStatus_; }
  Vix::Ptr<Routing6::Hardware::RouteStatus> const& hwRoute6Status() const { return hwRoute6Status_; }

  // The hardware: its ECMP limit and the configured sharing mode.
  void maxEcmpIs(uint32_t n);
  void adjSharingIs(Routing::Hardware::AdjSharing mode);
  // The IPv6 prefix lengths (in bits: multiples of 4 in 48..112) the
  // hardware keeps in its exact-match route table; empty: none.
  void exactMatchLengthsIs(std::vector<uint32_t> const& bits);
  // After a change of the chip's fault rules or capacities: the platform
  // re-reads whether it can take adjacencies, VRFs and routes again.
  void chipRulesChanged();

  void configSectionsAdd(std::vector<std::unique_ptr<ConfigSection>>& out) const override;
  void statementsAdd(StatementTable& t) override;
  void showsAdd() override;
  void doCreateHelpers() override;
  void doDetachLibrary() override;

 private:
  ShowModel chipShow() const;

  // The hardware's routing configuration (adjacency sharing mode),
  // capabilities (maxEcmp, exact-match lengths) and route status.
  Vix::Ptr<Routing::Hardware::Config> hwConfig_;
  Vix::Ptr<Routing::Hardware::Status> hwStatus_;
  Vix::Ptr<Routing::Hardware::RouteStatus> hwRouteStatus_;
  Vix::Ptr<Routing6::Hardware::RouteStatus> hwRoute6Status_;
};

}  // namespace KorAgent
