#include "agent/vlan/VlanSection.h"

#include "agent/Agent.h"
#include "agent/config/ConfigNames.h"
#include "agent/config/ConfigReport.h"
#include "agent/config/ConfigValue.h"
#include "agent/vlan/VlanModule.h"
#include "kor/common/KorPortVlanTpidData.h"
#include "kor/common/VlanId.h"

namespace KorAgent {

namespace {

uint16_t vlanOf(ConfigValue const& v) {
  int64_t n = v.signedInt(INT32_MIN, INT32_MAX);
  try {
    return Kor::VlanId(n).value();
  } catch (std::exception const& e) {
    v.fail(e.what());
  }
}

int64_t tpidOf(ConfigValue const& v) {
  int64_t n = 0;
  if (v.json().is_string()) {
    std::string t = v.json().get<std::string>();
    try {
      size_t used = 0;
      n = std::stoll(t, &used, 0);
      if (used != t.size()) v.fail("expected a TPID, got '" + t + "'");
    } catch (std::logic_error const&) {
      v.fail("expected a TPID, got '" + t + "'");
    }
  } else {
    n = v.signedInt(INT32_MIN, INT32_MAX);
  }
  try {
    (void)Kor::KorPortVlanTpidData(Kor::KorPortVlanTpidData::defaultTpid, n, false);
  } catch (std::exception const& e) {
    v.fail(e.what());
  }
  return n;
}

std::string pointerOf(char const* key, std::string const& item) {
  return (nlohmann::json::json_pointer() / std::string(key) / item).to_string();
}

}  // namespace

void VlanSection::parse(ConfigValue const& doc, ConfigNames&) {
  if (doc.has("vlans"))
    for (auto const& e : doc.at("vlans").elements()) vlans_[vlanOf(e)] = true;
  if (!doc.has("switchports")) return;
  for (auto const& [key, v] : doc.at("switchports").members()) {
    Nollo::IntfId const intf = v.keyParsed<Nollo::IntfId>(key);
    v.object({"mode", "vlan", "allowed", "native", "tpid"});
    Bridging::SwitchportConfig c;
    if (v.has("mode")) {
      auto m = v.at("mode").word({"access", "trunk", "dot1q-tunnel"});
      c.mode = m == "trunk"    ? Bridging::SwitchportConfig::Mode::trunk
               : m == "access" ? Bridging::SwitchportConfig::Mode::access
                               : Bridging::SwitchportConfig::Mode::dot1qTunnel;
    }
    if (v.has("vlan")) c.accessVlan = vlanOf(v.at("vlan"));
    if (v.has("native")) c.nativeVlan = vlanOf(v.at("native"));
    if (v.has("allowed")) {
      c.allowedAll = false;
      for (auto const& e : v.at("allowed").elements()) c.allowedVlans.insert(vlanOf(e));
    }
    if (v.has("tpid")) c.vlanTpid = tpidOf(v.at("tpid"));
    if (auto e = VlanModule::switchportError(intf, c); !e.empty()) v.fail(e);
    switchports_[intf] = c;
  }
}

void VlanSection::doApplyRemovals(Agent& agent, ConfigSection const& nextSection, ConfigReport& report) {
  auto const& next = static_cast<VlanSection const&>(nextSection);
  auto& m = agent.module<VlanModule>();
  // Ports leave before the VLANs they are in.
  doRemoveEach(
      switchports_, report, [](Nollo::IntfId const& i) { return pointerOf("switchports", i.str()); },
      [&](Nollo::IntfId const& i, Bridging::SwitchportConfig const&) { return !next.switchports_.count(i); },
      [&](Nollo::IntfId const& i, Bridging::SwitchportConfig const&) { m.switchportDel(i); });
  doRemoveEach(
      vlans_, report, [](uint16_t v) { return pointerOf("vlans", std::to_string(v)); },
      [&](uint16_t v, bool) { return !next.vlans_.count(v); },
      [&](uint16_t v, bool) { m.vlanDel(Kor::VlanId(v)); });
}

void VlanSection::doApplyAdds(Agent& agent, ConfigSection const& nextSection, ConfigReport& report) {
  auto const& next = static_cast<VlanSection const&>(nextSection);
  auto& m = agent.module<VlanModule>();
  for (auto const& kv : next.vlans_) {
    if (vlans_.count(kv.first)) continue;
    if (report.doInput(pointerOf("vlans", std::to_string(kv.first)), [&] { m.vlanAdd(Kor::VlanId(kv.first)); }))
      vlans_[kv.first] = true;
  }
  for (auto const& kv : next.switchports_) {
    Nollo::IntfId const& intf = kv.first;
    Bridging::SwitchportConfig const& cfg = kv.second;
    auto it = switchports_.find(intf);
    if (it != switchports_.end() && it->second == cfg) continue;
    if (report.doInput(pointerOf("switchports", intf.str()), [&] { m.switchportIs(intf, cfg); }))
      switchports_[intf] = cfg;
  }
}

}  // namespace KorAgent
