#pragma once
// Resilient ECMP in the agent: owns the resilient ECMP configuration the VRF
// root hands every VRF, the statements that write it (`resilient add`,
// `resilient del`) and the hardware's `resilientEcmpSupported` flag
// (`set resilientEcmpSupported`), and the show of the bucket tables
// (`show resilient`, text or JSON), and the configuration file's
// "resilient" section (ResilientSection). Parameters are checked whole
// before anything applies.
#include <cstdint>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "agent/AgentModule.h"
#include "agent/ShowModel.h"
#include "kor/common/VrfName.h"
#include "kor/records/ResilientEcmpConfig.h"
#include "nollo/IpPrefix.h"
#include "vix/Ptr.h"

namespace KorAgent {

class ResilientModule : public AgentModule {
 public:
  using Prefix = std::variant<Nollo::IpPrefix, Nollo::Ip6Prefix>;

  explicit ResilientModule(Agent* agent);
  // A prefix of either family from its text (an IPv6 one has a ':'); throws
  // std::invalid_argument.
  static Prefix parsePrefix(std::string const& text);
  static std::string prefixText(Prefix const& prefix);
  // Why `params` is no bucket table; empty when it is one.
  static std::string paramsError(Kor::ResilientEcmpParams const& params);
  Vix::Ptr<Kor::ResilientEcmpConfig> const& config() const { return config_; }

  void prefixIs(Kor::VrfName const& vrf, Prefix const& prefix, Kor::ResilientEcmpParams const& params);
  void prefixDel(Kor::VrfName const& vrf, Prefix const& prefix);
  void supportedIs(bool on);
  // The hardware flag, the configuration and the bucket tables of every
  // VRF, one row per prefix; resilientShow() is its text.
  ShowModel tablesShow() const;
  std::string resilientShow() const;

  void statementsAdd(StatementTable& t) override;
  void showsAdd() override;
  void configSectionsAdd(std::vector<std::unique_ptr<ConfigSection>>& out) const override;

 private:
  Vix::Ptr<Kor::ResilientEcmpConfig> config_;
};

}  // namespace KorAgent
