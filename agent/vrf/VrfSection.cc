#include "agent/vrf/VrfSection.h"

#include "agent/Agent.h"
#include "agent/vrf/VrfModule.h"
#include "agent/config/ConfigNames.h"
#include "agent/config/ConfigReport.h"
#include "agent/config/ConfigValue.h"

namespace KorAgent {

namespace {

std::string pointerOf(Kor::VrfName const& vrf) { return (nlohmann::json::json_pointer("/vrfs") / vrf.str()).to_string(); }

}  // namespace

VrfSection::Routing VrfSection::startRouting(Kor::VrfName const& vrf) {
  return vrf.isDefault() ? Routing{false, false} : Routing{true, true};
}

void VrfSection::parse(ConfigValue const& doc, ConfigNames& names) {
  if (!doc.has("vrfs")) return;
  for (auto const& [key, v] : doc.at("vrfs").members()) {
    Kor::VrfName const vrf = v.keyParsed<Kor::VrfName>(key);
    v.object({"ipv4", "ipv6"});
    Routing r = startRouting(vrf);
    if (v.has("ipv4")) r.v4 = v.at("ipv4").boolean();
    if (v.has("ipv6")) r.v6 = v.at("ipv6").boolean();
    vrfs_[vrf] = r;
    names.vrfAdd(vrf);
  }
}

void VrfSection::doRoutingIs(Agent& agent, Kor::VrfName const& vrf, Routing from, Routing const& to,
                             ConfigReport& report) {
  // One call per direction: routingIs switches the families it names to one state.
  for (bool on : {false, true}) {
    bool const v4 = from.v4 != to.v4 && to.v4 == on, v6 = from.v6 != to.v6 && to.v6 == on;
    if (!v4 && !v6) continue;
    if (!report.doInput(pointerOf(vrf), [&] { agent.module<VrfModule>().routingIs(vrf, v4, v6, on); })) continue;
    Routing& applied = vrfs_[vrf];
    if (v4) applied.v4 = on;
    if (v6) applied.v6 = on;
  }
}

void VrfSection::doApplyRemovals(Agent& agent, ConfigSection const& nextSection, ConfigReport& report) {
  auto const& next = static_cast<VrfSection const&>(nextSection).vrfs_;
  // "default" cannot be withdrawn: leaving the file, it gets its start
  // routing back.
  Kor::VrfName const def("default");
  if (auto d = vrfs_.find(def); d != vrfs_.end() && !next.count(def)) {
    doRoutingIs(agent, def, d->second, startRouting(def), report);
    if (vrfs_[def] == startRouting(def)) vrfs_.erase(def);
  }
  doRemoveEach(
      vrfs_, report, pointerOf, [&](Kor::VrfName const& vrf, Routing const&) { return !vrf.isDefault() && !next.count(vrf); },
      [&](Kor::VrfName const& vrf, Routing const&) { agent.module<VrfModule>().vrfDel(vrf); });
}

void VrfSection::doApplyAdds(Agent& agent, ConfigSection const& nextSection, ConfigReport& report) {
  for (auto const& kv : static_cast<VrfSection const&>(nextSection).vrfs_) {
    Kor::VrfName const& vrf = kv.first;
    Routing const& routing = kv.second;
    auto it = vrfs_.find(vrf);
    if (it == vrfs_.end()) {
      if (!vrf.isDefault() && !report.doInput(pointerOf(vrf), [&] { agent.module<VrfModule>().vrfAdd(vrf); })) continue;
      vrfs_[vrf] = startRouting(vrf);
    }
    doRoutingIs(agent, vrf, vrfs_[vrf], routing, report);
  }
}

}  // namespace KorAgent
