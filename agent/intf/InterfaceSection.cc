#include "agent/intf/InterfaceSection.h"

#include <algorithm>
#include <iterator>

#include "agent/Agent.h"
#include "agent/intf/IntfModule.h"
#include "agent/config/ConfigNames.h"
#include "agent/config/ConfigReport.h"
#include "agent/config/ConfigValue.h"

namespace KorAgent {

namespace {

using Pointer = nlohmann::json::json_pointer;

std::string intfPointer(Nollo::IntfId const& intf) { return (Pointer("/interfaces") / intf.str()).to_string(); }

}  // namespace

void InterfaceSection::parse(ConfigValue const& doc, ConfigNames& names) {
  if (doc.has("interfaces")) {
    for (auto const& [key, v] : doc.at("interfaces").members()) {
      Nollo::IntfId const intf = v.keyParsed<Nollo::IntfId>(key);
      if (intf.isNone()) v.fail("empty interface name");
      v.object({"vrf", "vlan", "routed", "link"});
      Intf i;
      if (v.has("vrf")) {
        i.vrf = v.at("vrf").parsed<Kor::VrfName>();
        if (!names.vrfHas(*i.vrf)) v.at("vrf").fail("no VRF '" + i.vrf->str() + "' in /vrfs");
      }
      if (v.has("vlan")) i.vlan = Kor::VlanId(int64_t(v.at("vlan").unsignedInt(Kor::VlanId::min, Kor::VlanId::max)));
      if (v.has("routed")) i.routed = v.at("routed").boolean();
      if (v.has("link")) i.up = v.at("link").word({"up", "down"}) == "up";
      // The agent's own checks, made here so that a file it would refuse
      // part of is refused whole before anything is applied.
      if (i.routed && intf.isVlan()) v.at("routed").fail("a VLAN interface cannot be a routed port");
      if (intf.subIntfId() > Kor::VlanId::max)
        v.fail("sub-interface number " + std::to_string(intf.subIntfId()) + " of " + intf.str() +
               " is not a VLAN id (1-" + std::to_string(Kor::VlanId::max) + ")");
      if (!intfs_.emplace(intf, i).second) v.fail("interface " + intf.str() + " is named twice");
    }
  }
}

void InterfaceSection::doApplyRemovals(Agent& agent, ConfigSection const& nextSection, ConfigReport& report) {
  auto const& next = static_cast<InterfaceSection const&>(nextSection);
  // A new VRF or a new routed flag: removed here, added again with the adds.
  doRemoveEach(
      intfs_, report, intfPointer,
      [&](Nollo::IntfId const& intf, Intf const& have) {
        auto n = next.intfs_.find(intf);
        return n == next.intfs_.end() || n->second.vrf != have.vrf || n->second.routed != have.routed;
      },
      [&](Nollo::IntfId const& intf, Intf const&) { agent.module<IntfModule>().intfDel(intf); });
}

void InterfaceSection::doApplyAdds(Agent& agent, ConfigSection const& nextSection, ConfigReport& report) {
  auto const& next = static_cast<InterfaceSection const&>(nextSection);
  for (auto const& kv : next.intfs_) {
    Nollo::IntfId const& intf = kv.first;
    Intf const& want = kv.second;
    std::string const p = intfPointer(intf);
    auto it = intfs_.find(intf);
    if (it == intfs_.end()) {
      if (report.doInput(p, [&] { agent.module<IntfModule>().intfAdd(intf, want.vrf, want.vlan, want.routed, want.up); }))
        intfs_.emplace(intf, want);
      continue;
    }
    Intf& have = it->second;
    if (have.vlan != want.vlan && report.doInput(p, [&] { agent.module<IntfModule>().intfVlanIs(intf, want.vlan); })) have.vlan = want.vlan;
    if (have.up != want.up && report.doInput(p, [&] { agent.module<IntfModule>().intfLinkIs(intf, want.up); })) have.up = want.up;
  }
}

}  // namespace KorAgent
