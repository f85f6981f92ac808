#include "agent/nhg/NhgModule.h"

#include <optional>
#include <stdexcept>

#include "agent/Agent.h"
#include "agent/ShowRenderer.h"
#include "agent/StatementTable.h"
#include "agent/chip/ChipModule.h"
#include "agent/nhg/NhgSection.h"
#include "agent/vrf/VrfModule.h"
#include "kor/adj/AdjSm.h"
#include "kor/records/L2Adjacency.h"
#include "kor/records/L3Status.h"

namespace KorAgent {

namespace {

[[noreturn]] void fail(std::string const& m) { throw std::invalid_argument(m); }

// As the library's NexthopGroupRouteSm::adjIndexFromNexthopGroupId.
Quill::Fib::FecId groupFecId(uint64_t id) { return Quill::Fib::FecId::make(Quill::Fib::AdjType::nextHopGroupAdj, id); }

// One member as JSON: next hop, interface, VLAN, weight, labels (and, for
// a route's group, whether it resolved).
ShowModel::Cell memberCell(NexthopGroup::NexthopGroupEntry const& e, std::optional<bool> resolved) {
  using M = ShowModel;
  std::string labels;
  for (uint32_t l : e.labels()) labels += (labels.empty() ? "" : ", ") + std::to_string(l);
  std::vector<std::pair<std::string, M::Cell>> fields{{"nextHop", M::str(e.nextHop().str())},
                                                      {"intf", M::str(e.intf().str())},
                                                      {"vlan", e.vlan() ? M::num(e.vlan()) : M::raw("null", "")},
                                                      {"weight", M::num(e.weight())},
                                                      {"labels", M::raw("[" + labels + "]", "")}};
  if (resolved) fields.emplace_back("resolved", M::flag(*resolved, "", ""));
  return M::object(fields, e.str());
}

}  // namespace

void NhgModule::groupAdd(std::string const& name, uint64_t id, std::vector<FibModule::Via> const& vias) {
  std::string const group = "nexthop group '" + name + "'";
  if (vias.empty()) fail(group + " has no via");
  uint64_t paths = 0;
  for (auto const& v : vias) {
    if (v.hop.isV6() != vias[0].hop.isV6()) fail(group + " mixes IPv4 and IPv6 next hops");
    if (v.backup) fail(group + ": a group member is no backup");
    paths += v.weight;
  }
  if (paths > Kor::AdjSm::kMaxPaths)
    fail(group + " has " + std::to_string(paths) + " paths, more than the " + std::to_string(Kor::AdjSm::kMaxPaths) +
         " one group can hold");
  if (auto other = groupNames_.find(id); other != groupNames_.end() && other->second != name)
    fail("nexthop group id " + std::to_string(id) + " is taken by '" + other->second + "'");
  if (status_->groupHas(name) && status_->groupMap().at(name).id() != id)
    fail(group + " has id " + std::to_string(status_->groupMap().at(name).id()));
  std::vector<NexthopGroup::NexthopGroupEntry> members;
  for (auto const& v : vias) members.emplace_back(v.hop, v.intf, v.vlan, v.weight, v.labels);
  status_->groupIs(name, NexthopGroup::Group(id, std::move(members)));
  groupNames_[id] = name;
}

// The group's FECs stay: the routes over them wait, deferred, for a group
// of that id to be published again.
void NhgModule::groupDel(std::string const& name) {
  if (!status_->groupHas(name)) fail("no nexthop group '" + name + "'");
  groupNames_.erase(status_->groupMap().at(name).id());
  status_->groupDel(name);
}

void NhgModule::routeAdd(Kor::VrfName const& vrf, FibModule::Prefix const& prefix, std::string const& name) {
  agent_->module<VrfModule>().checkAnnounced(vrf);
  if (!status_->groupHas(name)) fail("no nexthop group '" + name + "'");
  uint64_t id = status_->groupMap().at(name).id();
  auto fecId = groupFecId(id);
  auto& fib = agent_->module<FibModule>();
  auto* em = fib.entityManager().ptr();
  bool v6 = std::holds_alternative<Nollo::Ip6Prefix>(prefix);
  if (fecs_[id].insert({vrf, v6}).second) {
    if (v6) em->forwardingStatus<Nollo::Ipv6>(vrf.str())->fecIs(Quill::Fib6::Fec(fecId, Quill::Fib::FecType::nexthopGroup));
    else em->forwardingStatus<Nollo::Ipv4>(vrf.str())->fecIs(Quill::Fib::Fec(fecId, Quill::Fib::FecType::nexthopGroup));
  }
  if (v6) fib.fibRoutes6(vrf)->routeIs(Quill::Fib6::Route(std::get<Nollo::Ip6Prefix>(prefix), fecId));
  else fib.fibRoutes4(vrf)->routeIs(Quill::Fib::Route(std::get<Nollo::IpPrefix>(prefix), fecId));
}

void NhgModule::nexthopGroupSupportedIs(bool on) {
  auto const& hw = agent_->module<ChipModule>().hwStatus();
  hw->nexthopGroupSupportedIs(on);
  hw->nexthopGroupSupportedInNonDefaultVrfIs(on);
}

void NhgModule::configSectionsAdd(std::vector<std::unique_ptr<ConfigSection>>& out) const {
  out.push_back(std::make_unique<NhgSection>());
}

void NhgModule::statementsAdd(StatementTable& t) {
  using A = StatementArgs;
  using Apply = Statement::Apply;
  t.statementAdd({{"nhg", "add"}, "NAME id N VIA...",
                  "publishes a next-hop group (new members for an existing name), IPv4 or IPv6 by its next hops",
                  true, [this](A& a) -> Apply {
                    std::string name = a.next("group name");
                    a.keyword("id");
                    uint64_t id = A::parseUnsigned(a.next("group id"), "group id", kMaxGroupId);
                    auto vias = FibModule::parseVias(a);
                    return [=, this](std::ostream&) { groupAdd(name, id, vias); };
                  }});
  t.statementAdd({{"nhg", "del"}, "NAME", "unpublishes it (routes over it stay, deferred until a group of its id comes)", true,
                  [this](A& a) -> Apply {
                    std::string name = a.next("group name");
                    a.end();
                    return [=, this](std::ostream&) { groupDel(name); };
                  }});
  t.statementAdd({{"nhg", "route"}, "VRF PREFIX NAME", "a FIB route over the group's FEC (remove with route del)", true,
                  [this](A& a) -> Apply {
                    Kor::VrfName vrf(a.next("VRF name"));
                    std::string const& p = a.next("prefix");
                    FibModule::Prefix prefix;
                    if (p.find(':') != std::string::npos) prefix = Nollo::Ip6Prefix(p);
                    else prefix = Nollo::IpPrefix(p);
                    std::string name = a.next("group name");
                    a.end();
                    return [=, this](std::ostream&) { routeAdd(vrf, prefix, name); };
                  }});
  t.statementAdd({{"set", "nexthopGroupSupported"}, "on|off",
                  "the hardware status's next-hop-group capability (all VRFs)", false, [this](A& a) -> Apply {
                    bool on = A::parseOnOff(a.next("value"));
                    a.end();
                    return [=, this](std::ostream&) { nexthopGroupSupportedIs(on); };
                  }});
}

void NhgModule::showsAdd() {
  agent_->showAdd("nhg", [this](bool json) { return ShowRenderer::render(groupsShow(), json); });
}

std::vector<AgentModule::InputGroup> NhgModule::inputGroups() const {
  InputGroup groups{65, "nexthop groups", {}};
  for (auto const& [name, g] : status_->groupMap()) {
    std::string line = name + " id " + std::to_string(g.id());
    for (auto const& m : g.entries()) line += " [" + m.str() + "]";
    groups.lines.push_back(line);
  }
  return {groups};
}

// A member is resolved when the group's L2 adjacency holds its next hop
// resolved (ARP or neighbour known, MAC learned); without an L2 adjacency
// (the group deferred) no member is.
ShowModel::Cell NhgModule::routeGroupCell(Kor::VrfName const& vrf, Quill::Fib::FecId fecId) const {
  using M = ShowModel;
  if (fecId.adjType() != Quill::Fib::AdjType::nextHopGroupAdj) return M::raw("null", "");
  uint64_t const id = fecId.index();
  auto named = groupNames_.find(id);
  std::string const name = named == groupNames_.end() ? std::string() : named->second;
  std::string text = "\n  group ";
  text += name.empty() ? std::string("(not published)") : name;
  text += " id ";
  text += std::to_string(id);
  if (name.empty())
    return M::object({{"name", M::raw("null", "")}, {"id", M::num(id)}, {"members", M::raw("[]", "")}}, text);
  auto const& l3 = *agent_->l3StatusPtr();
  auto vs = l3.vrfL3Status(vrf);
  Vix::Ptr<Kor::AdjEntry> adj;
  if (vs) adj = vs->adjEntryList(fecId);
  auto const* l2 = adj && adj->l2Adj() ? &adj->l2Adj()->via() : nullptr;
  std::string members;
  for (auto const& e : status_->groupMap().at(name).entries()) {
    auto hop = l2 ? l2->nextHop().find(e.nextHop()) : Kor::NextHopL2InfoCollection::NextHopMap::const_iterator();
    bool resolved = l2 && hop != l2->nextHop().end() && hop->second.type() == Kor::NextHopEntryType::nextHopArpResolved;
    members += (members.empty() ? "" : ", ") + memberCell(e, resolved).json;
    text += "\n    ";
    text += e.str();
    text += resolved ? " resolved" : " unresolved";
  }
  return M::object({{"name", M::str(name)}, {"id", M::num(id)}, {"members", M::raw("[" + members + "]", "")}}, text);
}

// Each group with its members, then its adjacency in each VRF that uses it:
// the L2 adjacency and its state, or "deferred".
ShowModel NhgModule::groupsShow() const {
  using M = ShowModel;
  M m;
  m.fieldAdd("supported", "nexthop groups: supported ",
             M::flag(agent_->module<ChipModule>().hwStatus()->nexthopGroupSupported(), "yes", "no"));
  m.lineAdd("\n");
  m.tableAdd("groups", "  ", {M::col("name"), M::col("id", " id "), M::col("members", " members "),
                              M::col("adjs", " adjs ")});
  auto const& l3 = *agent_->l3StatusPtr();
  for (auto const& [name, g] : status_->groupMap()) {
    std::string members, membersJson, adjs, adjsJson;
    for (auto const& e : g.entries()) {
      members += (members.empty() ? "" : "; ") + e.str();
      membersJson += (membersJson.empty() ? "" : ", ") + memberCell(e, std::nullopt).json;
    }
    for (auto const& [vrfName, vs] : l3.vrfL3StatusMap()) {
      if (!vs) continue;
      auto e = vs->adjEntryList(groupFecId(g.id()));
      if (!e) continue;
      std::string state = e->l2Adj() ? "l2adj " + std::to_string(e->l2Adj()->index()) + " " +
                                           Kor::toString(e->l2Adj()->state())
                                     : std::string("deferred");
      adjs += (adjs.empty() ? "" : "; ") + vrfName.str() + " " + state;
      M::Cell adj = M::object({{"vrf", M::str(vrfName.str())},
                               {"fec", M::str(e->fecId().str())},
                               {"l2Adj", e->l2Adj() ? M::num(e->l2Adj()->index()) : M::raw("null", "")},
                               {"state", M::str(e->l2Adj() ? Kor::toString(e->l2Adj()->state()) : "deferred")}},
                              "");
      adjsJson += (adjsJson.empty() ? "" : ", ") + adj.json;
    }
    m.rowAdd({M::str(name), M::num(g.id()), M::raw("[" + membersJson + "]", "{" + members + "}"),
              M::raw("[" + adjsJson + "]", adjs.empty() ? "none" : adjs)});
  }
  return m;
}

}  // namespace KorAgent
