#include "agent/nhg/NhgSection.h"

#include "agent/Agent.h"
#include "agent/config/ConfigNames.h"
#include "agent/config/ConfigReport.h"
#include "agent/config/ConfigValue.h"
#include "agent/fib/ConfigRouteTables.h"
#include "agent/nhg/NhgModule.h"
#include "kor/adj/AdjSm.h"
#include "nollo/IpPrefix.h"

namespace KorAgent {

namespace {

using Pointer = nlohmann::json::json_pointer;

std::string groupPointer(std::string const& name) { return (Pointer("/nhg/groups") / name).to_string(); }
std::string routePointer(NhgSection::RouteKey const& k) {
  return (Pointer("/nhg/routes") / k.first.str() / k.second).to_string();
}

FibModule::Via parseMember(ConfigValue const& v) {
  v.object({"nextHop", "interface", "vlan", "labels", "weight"});
  FibModule::Via m;
  if (!v.has("nextHop")) v.fail("missing key 'nextHop'");
  if (!v.has("interface")) v.fail("missing key 'interface'");
  m.hop = v.at("nextHop").parsed<Nollo::IpGenAddr>();
  m.intf = v.at("interface").parsed<Nollo::IntfId>();
  if (v.has("vlan")) m.vlan = uint16_t(v.at("vlan").unsignedInt(Kor::VlanId::min, Kor::VlanId::max));
  if (v.has("labels"))
    for (auto const& l : v.at("labels").elements()) m.labels.push_back(uint32_t(l.unsignedInt(0, FibModule::kMaxMplsLabel)));
  if (v.has("weight")) m.weight = uint32_t(v.at("weight").unsignedInt(1, Kor::AdjSm::kMaxPaths));
  return m;
}

}  // namespace

void NhgSection::parse(ConfigValue const& doc, ConfigNames& names) {
  if (!doc.has("nhg")) return;
  ConfigValue const nhg = doc.at("nhg");
  nhg.object({"supported", "groups", "routes"});
  if (nhg.has("supported")) supported_ = nhg.at("supported").boolean();
  if (nhg.has("groups")) {
    std::map<uint64_t, std::string> byId;
    for (auto const& [key, v] : nhg.at("groups").members()) {
      std::string const name = v.keyParsed<std::string>(key);
      Group g = doParseGroup(v);
      if (auto [it, fresh] = byId.emplace(g.id, name); !fresh)
        v.at("id").fail("group id " + std::to_string(g.id) + " is taken by group '" + it->second + "'");
      groups_.emplace(name, std::move(g));
    }
  }
  if (nhg.has("routes")) doParseRoutes(nhg.at("routes"), names);
}

NhgSection::Group NhgSection::doParseGroup(ConfigValue const& v) const {
  v.object({"id", "members"});
  if (!v.has("id")) v.fail("missing key 'id'");
  if (!v.has("members")) v.fail("missing key 'members'");
  Group g;
  g.id = v.at("id").unsignedInt(0, NhgModule::kMaxGroupId);
  auto const members = v.at("members").elements();
  if (members.empty()) v.at("members").fail("a group has one member or more");
  uint64_t paths = 0;
  for (auto const& m : members) {
    g.members.push_back(parseMember(m));
    bool const v6 = g.members.back().hop.isV6();
    if (v6 != g.members.front().hop.isV6())
      m.at("nextHop").fail(std::string("an ") + (v6 ? "IPv6" : "IPv4") + " next hop in an " + (v6 ? "IPv4" : "IPv6") +
                           " group");
    paths += g.members.back().weight;
  }
  if (paths > Kor::AdjSm::kMaxPaths)
    v.at("members").fail(std::to_string(paths) + " paths, more than the " + std::to_string(Kor::AdjSm::kMaxPaths) +
                         " one group can hold");
  return g;
}

void NhgSection::doParseRoutes(ConfigValue const& routes, ConfigNames const& names) {
  ConfigRouteTables::forEach(routes, names, [&](Kor::VrfName const& vrf, FibModule::Prefix const& prefix,
                                                 std::string const& text, ConfigValue const& v) {
    Route r;
    r.prefix = prefix;
    v.object({"group"});
    if (!v.has("group")) v.fail("missing key 'group'");
    r.group = v.at("group").name();
    if (!groups_.count(r.group)) v.at("group").fail("no group '" + r.group + "' in /nhg/groups");
    if (!routes_.emplace(RouteKey{vrf, text}, r).second)
      v.fail("prefix " + text + " is named twice in vrf '" + vrf.str() + "'");
  });
}

void NhgSection::doApplyRemovals(Agent& agent, ConfigSection const& nextSection, ConfigReport& report) {
  auto const& next = static_cast<NhgSection const&>(nextSection);
  auto& nhg = agent.module<NhgModule>();
  // Routes before groups; a route whose group changes is written again by
  // the adds, over the new group's FEC.
  doRemoveEach(
      routes_, report, routePointer, [&](RouteKey const& k, Route const&) { return !next.routes_.count(k); },
      [&](RouteKey const& k, Route const& r) { agent.module<FibModule>().routeDel(k.first, r.prefix); });
  // A group whose id changes goes and comes back: a name keeps its id.
  doRemoveEach(
      groups_, report, groupPointer,
      [&](std::string const& name, Group const& have) {
        auto n = next.groups_.find(name);
        return n == next.groups_.end() || n->second.id != have.id;
      },
      [&](std::string const& name, Group const&) { nhg.groupDel(name); });
}

void NhgSection::doApplyAdds(Agent& agent, ConfigSection const& nextSection, ConfigReport& report) {
  auto const& next = static_cast<NhgSection const&>(nextSection);
  auto& nhg = agent.module<NhgModule>();
  if (next.supported_ && next.supported_ != supported_ &&
      report.doInput("/nhg/supported", [&] { nhg.nexthopGroupSupportedIs(*next.supported_); }))
    supported_ = next.supported_;
  // Groups before the routes over them.
  // Not structured bindings: the lambdas below capture them (clang 14).
  for (auto const& kv : next.groups_) {
    std::string const& name = kv.first;
    Group const& want = kv.second;
    auto it = groups_.find(name);
    if (it != groups_.end() && it->second == want) continue;
    if (report.doInput(groupPointer(name), [&] { nhg.groupAdd(name, want.id, want.members); })) groups_[name] = want;
  }
  for (auto const& kv : next.routes_) {
    RouteKey const& key = kv.first;
    Route const& want = kv.second;
    auto it = routes_.find(key);
    if (it != routes_.end() && it->second == want) continue;
    if (report.doInput(routePointer(key), [&] { nhg.routeAdd(key.first, want.prefix, want.group); })) routes_[key] = want;
  }
}

}  // namespace KorAgent
