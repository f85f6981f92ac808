#pragma once
// Resilient ECMP in the agent: owns the resilient ECMP configuration the VRF
// root hands every VRF, the statements that write it (`resilient add`,
// `resilient del`) and the hardware's `resilientEcmpSupported` flag
// (`set resilientEcmpSupported`), and the show of the bucket tables
// (`show resilient`). Parameters are checked whole before anything applies.
#include <cstdint>
#include <string>
#include <variant>

#include "agent/AgentModule.h"
#include "kor/common/VrfName.h"
#include "kor/records/ResilientEcmpConfig.h"
#include "nollo/IpPrefix.h"
#include "vix/Ptr.h"

namespace KorAgent {

class ResilientModule : public AgentModule {
 public:
  using Prefix = std::variant<Nollo::IpPrefix, Nollo::Ip6Prefix>;

  explicit ResilientModule(Agent* agent);
  Vix::Ptr<Kor::ResilientEcmpConfig> const& config() const { return config_; }

  void prefixIs(Kor::VrfName const& vrf, Prefix const& prefix, Kor::ResilientEcmpParams const& params);
  void prefixDel(Kor::VrfName const& vrf, Prefix const& prefix);
  void supportedIs(bool on);
  // The bucket tables of every VRF, one block per prefix.
  std::string resilientShow() const;

  void statementsAdd(StatementTable& t) override;
  void showsAdd() override;

 private:
  Vix::Ptr<Kor::ResilientEcmpConfig> config_;
};

}  // namespace KorAgent
