#include "agent/xlate/XlateSection.h"

#include "agent/Agent.h"
#include "agent/config/ConfigNames.h"
#include "agent/config/ConfigReport.h"
#include "agent/config/ConfigValue.h"
#include "agent/xlate/XlateModule.h"
#include "kor/common/VlanId.h"
#include "vix/RangeError.h"

namespace KorAgent {

namespace {

std::string pointerOf(Nollo::IntfId const& intf) {
  return (nlohmann::json::json_pointer("/vlanTranslations") / intf.str()).to_string();
}

uint16_t vlanOf(ConfigValue const& v) {
  try {
    return Kor::VlanId(int64_t(v.unsignedInt(0, UINT16_MAX))).value();
  } catch (Vix::RangeError const& e) {
    v.fail(e.what());
  }
}

void mapsOf(ConfigValue const& v, std::map<Bridging::VlanXlateKey, uint16_t>& out) {
  for (auto const& [key, m] : v.members()) {
    Bridging::VlanXlateKey k;
    try {
      k = XlateModule::parseKey(key);
    } catch (std::exception const& e) {
      m.fail(e.what());
    }
    out[k] = vlanOf(m);
  }
}

}  // namespace

void XlateSection::parse(ConfigValue const& doc, ConfigNames&) {
  if (!doc.has("vlanTranslations")) return;
  for (auto const& [key, v] : doc.at("vlanTranslations").members()) {
    Nollo::IntfId const intf = v.keyParsed<Nollo::IntfId>(key);
    if (auto e = XlateModule::intfError(intf); !e.empty()) v.fail(e);
    v.object({"ingress", "egress", "nativeIngress", "nativeEgress"});
    Bridging::VlanXlateIntfConfig cfg;
    if (v.has("ingress")) mapsOf(v.at("ingress"), cfg.ingress);
    if (v.has("egress")) mapsOf(v.at("egress"), cfg.egress);
    for (bool egress : {false, true}) {
      char const* name = egress ? "nativeEgress" : "nativeIngress";
      if (!v.has(name)) continue;
      ConfigValue const n = v.at(name);
      n.object({"vlan", "to"});
      (egress ? cfg.egressNativeVlan : cfg.ingressNativeVlan) = vlanOf(n.at("vlan"));
      (egress ? cfg.egressNativeMapped : cfg.ingressNativeMapped) = vlanOf(n.at("to"));
    }
    configs_[intf] = cfg;
  }
}

void XlateSection::doApplyRemovals(Agent& agent, ConfigSection const& nextSection, ConfigReport& report) {
  auto const& next = static_cast<XlateSection const&>(nextSection).configs_;
  doRemoveEach(
      configs_, report, pointerOf,
      [&](Nollo::IntfId const& intf, Bridging::VlanXlateIntfConfig const&) { return !next.count(intf); },
      [&](Nollo::IntfId const& intf, Bridging::VlanXlateIntfConfig const&) {
        agent.module<XlateModule>().xlateConfig()->intfConfigDel(intf);
      });
}

void XlateSection::doApplyAdds(Agent& agent, ConfigSection const& nextSection, ConfigReport& report) {
  for (auto const& kv : static_cast<XlateSection const&>(nextSection).configs_) {
    auto const& intf = kv.first;
    auto const& cfg = kv.second;
    auto it = configs_.find(intf);
    if (it != configs_.end() && it->second == cfg) continue;
    if (report.doInput(pointerOf(intf), [&] { agent.module<XlateModule>().xlateConfig()->intfConfigIs(intf, cfg); }))
      configs_[intf] = cfg;
  }
}

}  // namespace KorAgent
