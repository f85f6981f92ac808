#include "agent/resil/ResilientSection.h"

#include <stdexcept>

#include "agent/Agent.h"
#include "agent/config/ConfigNames.h"
#include "agent/config/ConfigReport.h"
#include "agent/config/ConfigValue.h"
#include "agent/resil/ResilientModule.h"

namespace KorAgent {

namespace {

std::string pointerOf(std::pair<Kor::VrfName, std::string> const& key) {
  return (nlohmann::json::json_pointer("/resilient/prefixes") / key.first.str() / key.second).to_string();
}

}  // namespace

void ResilientSection::parse(ConfigValue const& doc, ConfigNames& names) {
  if (!doc.has("resilient")) return;
  ConfigValue const r = doc.at("resilient");
  r.object({"supported", "prefixes"});
  if (r.has("supported")) supported_ = r.at("supported").boolean();
  if (!r.has("prefixes")) return;
  for (auto const& [vrfKey, vrfValue] : r.at("prefixes").members()) {
    Kor::VrfName const vrf = vrfValue.keyParsed<Kor::VrfName>(vrfKey);
    if (!names.vrfHas(vrf)) vrfValue.fail("unknown VRF '" + vrf.str() + "'");
    for (auto const& [prefixKey, v] : vrfValue.members()) {
      ResilientModule::Prefix prefix;
      try {
        prefix = ResilientModule::parsePrefix(v.keyParsed<std::string>(prefixKey));
      } catch (std::invalid_argument const& e) {
        v.fail(e.what());
      }
      v.object({"capacity", "redundancy"});
      for (char const* key : {"capacity", "redundancy"})
        if (!v.has(key)) v.fail(std::string("missing '") + key + "'");
      Kor::ResilientEcmpParams params;
      params.capacity = uint32_t(v.at("capacity").unsignedInt(1, Kor::ResilientEcmpParams::kMaxBuckets));
      params.redundancy = uint32_t(v.at("redundancy").unsignedInt(1, Kor::ResilientEcmpParams::kMaxBuckets));
      if (auto e = ResilientModule::paramsError(params); !e.empty()) v.fail(e);
      // One entry per prefix, whatever its spelling ("10.9.0.0/16", "10.9.1.0/16").
      std::string const text = ResilientModule::prefixText(prefix);
      if (prefixes_.count({vrf, text})) v.fail("prefix " + text + " is named twice");
      prefixes_[{vrf, text}] = params;
    }
  }
}

void ResilientSection::doApplyRemovals(Agent& agent, ConfigSection const& nextSection, ConfigReport& report) {
  auto const& next = static_cast<ResilientSection const&>(nextSection).prefixes_;
  doRemoveEach(
      prefixes_, report, pointerOf, [&](Key const& key, Kor::ResilientEcmpParams const&) { return !next.count(key); },
      [&](Key const& key, Kor::ResilientEcmpParams const&) {
        agent.module<ResilientModule>().prefixDel(key.first, ResilientModule::parsePrefix(key.second));
      });
}

void ResilientSection::doApplyAdds(Agent& agent, ConfigSection const& nextSection, ConfigReport& report) {
  auto const& next = static_cast<ResilientSection const&>(nextSection);
  auto& module = agent.module<ResilientModule>();
  if (supported_ != next.supported_ &&
      report.doInput("/resilient/supported", [&] { module.supportedIs(next.supported_); }))
    supported_ = next.supported_;
  for (auto const& kv : next.prefixes_) {
    Key const& key = kv.first;
    Kor::ResilientEcmpParams const& params = kv.second;
    auto it = prefixes_.find(key);
    if (it != prefixes_.end() && it->second == params) continue;
    if (report.doInput(pointerOf(key), [&] { module.prefixIs(key.first, ResilientModule::parsePrefix(key.second), params); }))
      prefixes_[key] = params;
  }
}

}  // namespace KorAgent
