#include "agent/lag/LagSection.h"

#include <algorithm>
#include <iterator>

#include "agent/Agent.h"
#include "agent/config/ConfigNames.h"
#include "agent/config/ConfigReport.h"
#include "agent/config/ConfigValue.h"
#include "agent/lag/LagModule.h"

namespace KorAgent {

namespace {

using Pointer = nlohmann::json::json_pointer;

std::string lagPointer(Nollo::IntfId const& lag) { return (Pointer("/lags") / lag.str()).to_string(); }

std::vector<Nollo::IntfId> minus(std::set<Nollo::IntfId> const& a, std::set<Nollo::IntfId> const& b) {
  std::vector<Nollo::IntfId> d;
  std::set_difference(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(d));
  return d;
}

}  // namespace

void LagSection::parse(ConfigValue const& doc, ConfigNames&) {
  if (!doc.has("lags")) return;
  std::map<Nollo::IntfId, Nollo::IntfId> lagOfPort;
  for (auto const& [key, v] : doc.at("lags").members()) {
    Nollo::IntfId const lag = v.keyParsed<Nollo::IntfId>(key);
    if (!lag.isPortChannel()) v.fail(lag.str() + " is not a port channel");
    auto const ports = v.elements();
    if (ports.empty()) v.fail("a port channel has one member port or more");
    auto& members = lags_[lag];
    if (!members.empty()) v.fail("port channel " + lag.str() + " is named twice");
    for (auto const& p : ports) {
      Nollo::IntfId const port = p.parsed<Nollo::IntfId>();
      if (!port.isEthernet()) p.fail(port.str() + " is not an Ethernet port");
      auto [it, fresh] = lagOfPort.emplace(port, lag);
      if (!fresh) p.fail(port.str() + " is already a member of " + it->second.str());
      members.insert(port);
    }
  }
}

void LagSection::doApplyRemovals(Agent& agent, ConfigSection const& nextSection, ConfigReport& report) {
  auto const& next = static_cast<LagSection const&>(nextSection);
  for (auto it = lags_.begin(); it != lags_.end();) {
    auto n = next.lags_.find(it->first);
    auto const leaving = n == next.lags_.end() ? minus(it->second, {}) : minus(it->second, n->second);
    if (!leaving.empty() &&
        report.doInput(lagPointer(it->first), [&] { agent.module<LagModule>().lagDel(it->first, leaving); }))
      for (auto const& p : leaving) it->second.erase(p);
    if (it->second.empty()) it = lags_.erase(it);
    else ++it;
  }
}

void LagSection::doApplyAdds(Agent& agent, ConfigSection const& nextSection, ConfigReport& report) {
  auto const& next = static_cast<LagSection const&>(nextSection);
  for (auto const& kv : next.lags_) {
    // Named, not bound: clang 14 does not capture structured bindings.
    Nollo::IntfId const& lag = kv.first;
    auto const& want = kv.second;
    auto const& have = lags_[lag];
    auto const joining = minus(want, have);
    if (!joining.empty() && report.doInput(lagPointer(lag), [&] { agent.module<LagModule>().lagAdd(lag, joining); }))
      lags_[lag].insert(joining.begin(), joining.end());
    if (lags_[lag].empty()) lags_.erase(lag);
  }
}

}  // namespace KorAgent
