#include "agent/tunnel/TunnelSection.h"

#include "agent/Agent.h"
#include "agent/config/ConfigNames.h"
#include "agent/config/ConfigReport.h"
#include "agent/config/ConfigValue.h"
#include "agent/tunnel/TunnelModule.h"

namespace KorAgent {

namespace {

std::string pointerOf(Nollo::IntfId const& intf) {
  return (nlohmann::json::json_pointer("/tunnels") / intf.str()).to_string();
}

}  // namespace

void TunnelSection::parse(ConfigValue const& doc, ConfigNames& names) {
  if (!doc.has("tunnels")) return;
  for (auto const& [key, v] : doc.at("tunnels").members()) {
    Nollo::IntfId const intf = v.keyParsed<Nollo::IntfId>(key);
    v.object({"type", "source", "destination", "underlay", "key"});
    Tunnel::TunnelIntfConfig cfg;
    cfg.type = v.at("type").word({"ipip", "gre"}) == "gre" ? Tunnel::TunnelType::gre : Tunnel::TunnelType::ipInIp;
    cfg.src = v.at("source").parsed<Nollo::IpGenAddr>();
    cfg.dst = v.at("destination").parsed<Nollo::IpGenAddr>();
    if (v.has("underlay")) {
      Kor::VrfName vrf = v.at("underlay").parsed<Kor::VrfName>();
      if (!names.vrfHas(vrf)) v.at("underlay").fail("unknown VRF '" + vrf.str() + "'");
      cfg.underlayVrf = vrf.str();
    }
    if (v.has("key")) {
      cfg.hasGreKey = true;
      cfg.greKey = uint32_t(v.at("key").unsignedInt(0, UINT32_MAX));
    }
    if (auto e = TunnelModule::tunnelError(intf, cfg); !e.empty()) v.fail(e);
    tunnels_[intf] = cfg;
  }
}

void TunnelSection::doApplyRemovals(Agent& agent, ConfigSection const& nextSection, ConfigReport& report) {
  auto const& next = static_cast<TunnelSection const&>(nextSection).tunnels_;
  doRemoveEach(
      tunnels_, report, pointerOf,
      [&](Nollo::IntfId const& intf, Tunnel::TunnelIntfConfig const&) { return !next.count(intf); },
      [&](Nollo::IntfId const& intf, Tunnel::TunnelIntfConfig const&) {
        agent.module<TunnelModule>().tunnelDel(intf);
      });
}

void TunnelSection::doApplyAdds(Agent& agent, ConfigSection const& nextSection, ConfigReport& report) {
  for (auto const& kv : static_cast<TunnelSection const&>(nextSection).tunnels_) {
    Nollo::IntfId const& intf = kv.first;
    Tunnel::TunnelIntfConfig const& cfg = kv.second;
    auto it = tunnels_.find(intf);
    if (it != tunnels_.end() && it->second == cfg) continue;
    if (report.doInput(pointerOf(intf), [&] { agent.module<TunnelModule>().tunnelAdd(intf, cfg); }))
      tunnels_[intf] = cfg;
  }
}

}  // namespace KorAgent
