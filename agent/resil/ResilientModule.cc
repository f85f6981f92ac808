#include "agent/resil/ResilientModule.h"

#include <sstream>
#include <stdexcept>

#include "agent/Agent.h"
#include "agent/StatementArgs.h"
#include "agent/StatementTable.h"
#include "agent/chip/ChipModule.h"
#include "kor/adj/AdjSm.h"
#include "kor/l3/VrfRootSm.h"

namespace KorAgent {

namespace {

[[noreturn]] void fail(std::string const& m) { throw std::invalid_argument(m); }

ResilientModule::Prefix parsePrefix(std::string const& t) {
  if (t.find(':') != std::string::npos) return Nollo::Ip6Prefix(t);
  return Nollo::IpPrefix(t);
}

}  // namespace

ResilientModule::ResilientModule(Agent* agent)
    : AgentModule(agent), config_(Vix::makePtr<Kor::ResilientEcmpConfig>("resilientEcmpConfig")) {}

void ResilientModule::prefixIs(Kor::VrfName const& vrf, Prefix const& prefix, Kor::ResilientEcmpParams const& params) {
  if (auto const* p4 = std::get_if<Nollo::IpPrefix>(&prefix)) config_->prefixIs({vrf, *p4}, params);
  else config_->prefix6Is({vrf, std::get<Nollo::Ip6Prefix>(prefix)}, params);
}

void ResilientModule::prefixDel(Kor::VrfName const& vrf, Prefix const& prefix) {
  if (auto const* p4 = std::get_if<Nollo::IpPrefix>(&prefix)) config_->prefixDel({vrf, *p4});
  else config_->prefix6Del({vrf, std::get<Nollo::Ip6Prefix>(prefix)});
}

void ResilientModule::supportedIs(bool on) {
  agent_->module<ChipModule>().hwStatus()->resilientEcmpSupportedIs(on);
}

void ResilientModule::statementsAdd(StatementTable& t) {
  using A = StatementArgs;
  using Apply = Statement::Apply;
  t.statementAdd({{"resilient", "add"}, "VRF PREFIX capacity N redundancy M",
                  "the prefix spreads over a fixed table of N x M buckets (at most 1056)", true,
                  [this](A& a) -> Apply {
                    Kor::VrfName vrf(a.next("VRF name"));
                    Prefix prefix = parsePrefix(a.next("prefix"));
                    a.keyword("capacity");
                    auto capacity = uint32_t(A::parseUnsigned(a.next("capacity"), "capacity", UINT32_MAX));
                    a.keyword("redundancy");
                    auto redundancy = uint32_t(A::parseUnsigned(a.next("redundancy"), "redundancy", UINT32_MAX));
                    a.end();
                    Kor::ResilientEcmpParams params{capacity, redundancy};
                    if (!params.valid())
                      fail("bad bucket table " + std::to_string(capacity) + " x " + std::to_string(redundancy) +
                           ": capacity and redundancy at least 1, their product at most " +
                           std::to_string(Kor::ResilientEcmpParams::kMaxBuckets));
                    return [=, this](std::ostream&) { prefixIs(vrf, prefix, params); };
                  }});
  t.statementAdd({{"resilient", "del"}, "VRF PREFIX", "the prefix is plain ECMP again", true,
                  [this](A& a) -> Apply {
                    Kor::VrfName vrf(a.next("VRF name"));
                    Prefix prefix = parsePrefix(a.next("prefix"));
                    a.end();
                    return [=, this](std::ostream&) { prefixDel(vrf, prefix); };
                  }});
  t.statementAdd({{"set", "resilientEcmpSupported"}, "on|off", "whether the hardware offers resilient ECMP", false,
                  [this](A& a) -> Apply {
                    bool on = A::parseOnOff(a.next("value"));
                    a.end();
                    return [=, this](std::ostream&) { supportedIs(on); };
                  }});
}

void ResilientModule::showsAdd() {
  agent_->showAdd("resilient", [this](bool) { return resilientShow(); });
}

std::string ResilientModule::resilientShow() const {
  std::ostringstream os;
  os << "resilient ecmp: supported "
     << (agent_->module<ChipModule>().hwStatus()->resilientEcmpSupported() ? "yes" : "no") << "\n";
  auto const* root = agent_->vrfRootSm();
  if (!root) return os.str();
  for (auto const& [key, params] : config_->prefixMap())
    os << "  config " << key.first << " " << key.second << " " << params.capacity << " x " << params.redundancy << "\n";
  for (auto const& [key, params] : config_->prefix6Map())
    os << "  config " << key.first << " " << key.second << " " << params.capacity << " x " << params.redundancy << "\n";
  for (auto const& [name, vrf] : root->vrfRootMap()) {
    if (!vrf || !vrf->korAdjSm()) continue;
    std::ostringstream tables;
    vrf->korAdjSm()->showResilientEcmp(tables);
    if (!tables.str().empty()) os << "vrf " << name << ":\n" << tables.str();
  }
  return os.str();
}

}  // namespace KorAgent
