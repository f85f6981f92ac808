#include "agent/stp/StpSection.h"

#include "agent/Agent.h"
#include "agent/VlanList.h"
#include "agent/config/ConfigNames.h"
#include "agent/config/ConfigReport.h"
#include "agent/config/ConfigValue.h"
#include "agent/stp/StpModule.h"

namespace KorAgent {

namespace {

std::string pointerOf(std::string const& topo) {
  return (nlohmann::json::json_pointer("/stp/topologies") / topo).to_string();
}

}  // namespace

void StpSection::parse(ConfigValue const& doc, ConfigNames&) {
  if (!doc.has("stp")) return;
  ConfigValue const stp = doc.at("stp");
  stp.object({"topologies", "bpduTrapping", "pvst", "mode"});
  if (stp.has("bpduTrapping")) bpduTrapping_ = stp.at("bpduTrapping").boolean();
  if (stp.has("pvst")) pvst_ = stp.at("pvst").boolean();
  if (stp.has("mode")) tapAgg_ = stp.at("mode").word({"regular", "tap-aggregation"}) == "tap-aggregation";
  if (!stp.has("topologies")) return;
  std::map<uint16_t, std::string> topoOfVlan;
  for (auto const& [name, v] : stp.at("topologies").members()) {
    v.object({"vlans"});
    if (name.empty() || name == "TapAggTopo") v.fail("topology name '" + name + "' is not allowed");
    auto& vlans = topologies_[name];
    if (!v.has("vlans")) continue;
    ConfigValue const list = v.at("vlans");
    try {
      vlans = VlanList::parsed(list.name());
    } catch (std::exception const& e) {  // a bad list or a VLAN out of range
      list.fail(e.what());
    }
    for (uint16_t vid : vlans) {
      auto [it, fresh] = topoOfVlan.emplace(vid, name);
      if (!fresh) list.fail("VLAN " + std::to_string(vid) + " is in topology " + it->second + " already");
    }
  }
}

void StpSection::doApplyRemovals(Agent& agent, ConfigSection const& nextSection, ConfigReport& report) {
  auto const& next = static_cast<StpSection const&>(nextSection).topologies_;
  doRemoveEach(
      topologies_, report, pointerOf,
      [&](std::string const& name, std::set<uint16_t> const& vlans) {
        auto it = next.find(name);
        return it == next.end() || it->second != vlans;
      },
      [&](std::string const& name, std::set<uint16_t> const&) { agent.module<StpModule>().topologyDel(name); });
}

void StpSection::doApplyAdds(Agent& agent, ConfigSection const& nextSection, ConfigReport& report) {
  auto const& next = static_cast<StpSection const&>(nextSection);
  StpModule& stp = agent.module<StpModule>();
  for (auto const& kv : next.topologies_) {
    auto const& name = kv.first;
    auto const& vlans = kv.second;
    if (topologies_.count(name)) continue;
    if (report.doInput(pointerOf(name), [&] { stp.topologyAdd(name, vlans); })) topologies_[name] = vlans;
  }
  if (next.bpduTrapping_ != bpduTrapping_ &&
      report.doInput("/stp/bpduTrapping", [&] { stp.bpduTrappingIs(next.bpduTrapping_.value_or(false)); }))
    bpduTrapping_ = next.bpduTrapping_;
  if (next.pvst_ != pvst_ && report.doInput("/stp/pvst", [&] { stp.pvstIs(next.pvst_.value_or(false)); }))
    pvst_ = next.pvst_;
  if (next.tapAgg_ != tapAgg_ &&
      report.doInput("/stp/mode", [&] {
        stp.operationalModeIs(next.tapAgg_.value_or(false) ? Kor::modeTapAgg : Kor::modeNormal);
      }))
    tapAgg_ = next.tapAgg_;
}

}  // namespace KorAgent
