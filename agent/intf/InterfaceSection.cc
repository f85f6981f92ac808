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
std::string lagPointer(Nollo::IntfId const& lag) { return (Pointer("/lags") / lag.str()).to_string(); }

std::vector<Nollo::IntfId> minus(std::set<Nollo::IntfId> const& a, std::set<Nollo::IntfId> const& b) {
  std::vector<Nollo::IntfId> d;
  std::set_difference(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(d));
  return d;
}

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
  if (doc.has("lags")) doParseLags(doc.at("lags"));
}

void InterfaceSection::doParseLags(ConfigValue const& lags) {
  std::map<Nollo::IntfId, Nollo::IntfId> lagOfPort;
  for (auto const& [key, v] : lags.members()) {
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

void InterfaceSection::doApplyRemovals(Agent& agent, ConfigSection const& nextSection, ConfigReport& report) {
  auto const& next = static_cast<InterfaceSection const&>(nextSection);
  // Ports leave their port channels before interfaces go: the reverse of
  // the order they came in.
  for (auto it = lags_.begin(); it != lags_.end();) {
    auto n = next.lags_.find(it->first);
    auto const leaving = n == next.lags_.end() ? minus(it->second, {}) : minus(it->second, n->second);
    if (!leaving.empty() && report.doInput(lagPointer(it->first), [&] { agent.module<IntfModule>().lagDel(it->first, leaving); }))
      for (auto const& p : leaving) it->second.erase(p);
    if (it->second.empty()) it = lags_.erase(it);
    else ++it;
  }
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
  // Memberships after the interfaces, as a port channel's ports come up
  // before they join it.
  for (auto const& kv : next.lags_) {
    Nollo::IntfId const& lag = kv.first;
    auto const& want = kv.second;
    auto const& have = lags_[lag];
    auto const joining = minus(want, have);
    if (!joining.empty() && report.doInput(lagPointer(lag), [&] { agent.module<IntfModule>().lagAdd(lag, joining); }))
      lags_[lag].insert(joining.begin(), joining.end());
    if (lags_[lag].empty()) lags_.erase(lag);
  }
}

}  // namespace KorAgent
