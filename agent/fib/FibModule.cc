#include "agent/fib/FibModule.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <type_traits>

#include "agent/Agent.h"
#include "agent/ShowRenderer.h"
#include "agent/StatementTable.h"
#include "agent/chip/ChipModule.h"
#include "agent/fib/FecRouteSection.h"
#include "agent/nhg/NhgModule.h"
#include "agent/vrf/VrfModule.h"
#include "kor/adj/AdjSm.h"
#include "kor/records/L3Status.h"

namespace KorAgent {

namespace {

[[noreturn]] void fail(std::string const& m) { throw std::invalid_argument(m); }

Quill::Fib::FecId fecIdOf(uint64_t index) { return Quill::Fib::FecId::make(Quill::Fib::nexthopAdj(), index); }

// via IP INTF [vlan N] [label L[,L]...] [backup]
FibModule::Via parseVia(StatementArgs& a) {
  a.keyword("via");
  FibModule::Via v;
  v.hop = Nollo::IpGenAddr(a.next("next-hop address"));
  v.intf = Nollo::IntfId(a.next("interface name"));
  while (a.more() && a.peek() != "via") {
    if (a.accept("vlan")) {
      if (v.vlan) fail("option 'vlan' given twice in one via");
      v.vlan = StatementArgs::parseVlan(a.next("VLAN id")).value();
    } else if (a.accept("label")) {
      if (!v.labels.empty()) fail("option 'label' given twice in one via");
      std::string const& t = a.next("MPLS labels");
      size_t start = 0;
      while (true) {
        size_t comma = t.find(',', start);
        std::string one = t.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
        v.labels.push_back(uint32_t(StatementArgs::parseUnsigned(one, "MPLS label", FibModule::kMaxMplsLabel)));
        if (comma == std::string::npos) break;
        start = comma + 1;
      }
    } else if (a.accept("backup")) {
      if (v.backup) fail("option 'backup' given twice in one via");
      v.backup = true;
    } else {
      fail("expected vlan, label, backup or via, got '" + a.peek() + "'");
    }
  }
  return v;
}

std::vector<FibModule::Via> parseVias(StatementArgs& a) {
  std::vector<FibModule::Via> vias;
  do vias.push_back(parseVia(a));
  while (a.more());
  return vias;
}

FibModule::Prefix parsePrefix(std::string const& t) {
  if (t.find(':') != std::string::npos) return Nollo::Ip6Prefix(t);
  return Nollo::IpPrefix(t);
}

}  // namespace

std::vector<FibModule::Via> FibModule::parseVias(StatementArgs& a) { return KorAgent::parseVias(a); }

// A FEC id is unique across the VRFs' FEC tables, but a route machine reads
// only its own VRF's table: a route naming another VRF's FEC would stay
// unprogrammed for good, so it is refused.
void FibModule::checkFec(Kor::VrfName const& vrf, uint64_t fecIndex, bool v6) const {
  auto* em = entityManager_.ptr();
  auto const fecId = fecIdOf(fecIndex);
  // The FEC's name is made only for an error: this runs once per route.
  auto fec = [&] { return std::string(v6 ? "IPv6" : "IPv4") + " FEC " + std::to_string(fecIndex); };
  auto it = fecVrf_.find(fecIndex);
  bool has = it != fecVrf_.end() && (v6 ? em->forwardingStatus<Nollo::Ipv6>(it->second.str())->fecHas(fecId)
                                        : em->forwardingStatus<Nollo::Ipv4>(it->second.str())->fecHas(fecId));
  if (!has) fail("no " + fec());
  if (it->second != vrf) fail(fec() + " is in vrf '" + it->second.str() + "', not in '" + vrf.str() + "'");
}

void FibModule::checkVias(uint64_t id, std::vector<Via> const& vias, Quill::Fib::FecType type) const {
  using Quill::Fib::FecType;
  std::string const fec = "FEC " + std::to_string(id);
  if (type != FecType::forward && type != FecType::attached && type != FecType::drop)
    fail(fec + ": type " + Quill::Fib::str(type) + " not supported");
  if (type == FecType::drop) {
    if (!vias.empty()) fail(fec + ": a drop FEC has no via");
    return;
  }
  if (vias.empty()) fail(fec + " has no via");
  if (type == FecType::attached && (vias.size() != 1 || !vias[0].hop.isZero()))
    fail(fec + ": an attached FEC has one via, an interface without address");
  bool v6 = vias.at(0).hop.isV6();
  uint64_t paths = 0;
  for (auto const& v : vias) {
    if (v.hop.isV6() != v6) fail(fec + " mixes IPv4 and IPv6 next hops");
    if (v.intf.isNone()) fail("empty interface name");
    if (v.weight == 0) fail(fec + ": weight 0");
    for (uint32_t l : v.labels)
      if (l > kMaxMplsLabel) fail("bad MPLS label " + std::to_string(l));
    paths += v.weight;
  }
  // The library holds at most kMaxPaths paths per FEC (a via of weight w is
  // w paths): more is refused here, whole, rather than cut where nobody sees.
  if (paths > Kor::AdjSm::kMaxPaths)
    fail(fec + " has " + std::to_string(paths) + " paths, more than the " + std::to_string(Kor::AdjSm::kMaxPaths) +
         " one FEC can hold");
}

template <class AF>
void FibModule::doWriteFec(Kor::VrfName const& vrf, uint64_t id, std::vector<Via> const& vias,
                           Quill::Fib::FecType type) {
  Quill::Fib::FecT<AF> f(fecIdOf(id), type);
  for (auto const& v : vias) {
    Quill::Fib::ViaT<AF> via;
    if constexpr (std::is_same_v<AF, Nollo::Ipv4>) via.nextHopIs(v.hop.v4());
    else via.nextHopIs(v.hop.v6());
    via.intfIs(v.intf);
    via.vlanIs(v.vlan);
    via.mplsLabelsIs(v.labels);
    via.backupIs(v.backup);
    via.weightIs(v.weight);
    f.viaAdd(via);
  }
  entityManager_->forwardingStatus<AF>(vrf.str())->fecIs(f);
}

void FibModule::fecAdd(uint64_t id, std::vector<Via> const& vias, Kor::VrfName const& vrf, Quill::Fib::FecType type,
                       bool v6) {
  checkVias(id, vias, type);
  agent_->module<VrfModule>().checkAnnounced(vrf);
  if (fecVrf_.count(id)) fail("FEC " + std::to_string(id) + " already added");
  fecVrf_[id] = vrf;
  if (vias.empty() ? v6 : vias[0].hop.isV6()) doWriteFec<Nollo::Ipv6>(vrf, id, vias, type);
  else doWriteFec<Nollo::Ipv4>(vrf, id, vias, type);
}

void FibModule::fecUpdate(uint64_t id, std::vector<Via> const& vias, Quill::Fib::FecType type) {
  checkVias(id, vias, type);
  auto it = fecVrf_.find(id);
  if (it == fecVrf_.end()) fail("no FEC " + std::to_string(id));
  bool wasV6 = entityManager_->forwardingStatus<Nollo::Ipv6>(it->second.str())->fecHas(fecIdOf(id));
  if (!vias.empty() && wasV6 != vias[0].hop.isV6())
    fail("FEC " + std::to_string(id) + " cannot change its address family");
  if (wasV6) doWriteFec<Nollo::Ipv6>(it->second, id, vias, type);
  else doWriteFec<Nollo::Ipv4>(it->second, id, vias, type);
}

void FibModule::fecDel(uint64_t id) {
  auto it = fecVrf_.find(id);
  if (it == fecVrf_.end()) fail("no FEC " + std::to_string(id));
  auto* em = entityManager_.ptr();
  em->forwardingStatus<Nollo::Ipv4>(it->second.str())->fecDel(fecIdOf(id));
  em->forwardingStatus<Nollo::Ipv6>(it->second.str())->fecDel(fecIdOf(id));
  fecVrf_.erase(it);
}

void FibModule::routeAdd(Kor::VrfName const& vrf, Prefix const& prefix, uint64_t fecIndex) {
  agent_->module<VrfModule>().checkAnnounced(vrf);
  if (auto const* p4 = std::get_if<Nollo::IpPrefix>(&prefix)) {
    checkFec(vrf, fecIndex, false);
    // The VRF's table of the shared-memory FIB: the one its route machine reads.
    fibRoutes4(vrf)->routeIs(Quill::Fib::Route(*p4, fecIdOf(fecIndex)));
  } else {
    checkFec(vrf, fecIndex, true);
    fibRoutes6(vrf)->routeIs(Quill::Fib6::Route(std::get<Nollo::Ip6Prefix>(prefix), fecIdOf(fecIndex)));
  }
}

Vix::Ptr<Quill::Fib::RouteStatus> FibModule::fibRoutes4(Kor::VrfName const& vrf) {
  auto& t = routes4_[vrf];
  if (!t) t = entityManager_->routeStatus<Nollo::Ipv4>(vrf.str());
  return t;
}

Vix::Ptr<Quill::Fib6::RouteStatus> FibModule::fibRoutes6(Kor::VrfName const& vrf) {
  auto& t = routes6_[vrf];
  if (!t) t = entityManager_->routeStatus<Nollo::Ipv6>(vrf.str());
  return t;
}

void FibModule::routeDel(Kor::VrfName const& vrf, Prefix const& prefix) {
  if (auto const* p4 = std::get_if<Nollo::IpPrefix>(&prefix)) {
    auto it = routes4_.find(vrf);
    if (it == routes4_.end() || !it->second->routeHas(*p4)) fail("no route " + p4->str() + " in vrf '" + vrf.str() + "'");
    it->second->routeDel(*p4);
  } else {
    auto const& p6 = std::get<Nollo::Ip6Prefix>(prefix);
    auto it = routes6_.find(vrf);
    if (it == routes6_.end() || !it->second->routeHas(p6)) fail("no route " + p6.str() + " in vrf '" + vrf.str() + "'");
    it->second->routeDel(p6);
  }
}

// ---------------------------------------------------------------------------
// Statements and shows.

void FibModule::configSectionsAdd(std::vector<std::unique_ptr<ConfigSection>>& out) const {
  out.push_back(std::make_unique<FecRouteSection>());
}

void FibModule::statementsAdd(StatementTable& t) {
  using A = StatementArgs;
  auto fecIdArg = [](A& a) { return A::parseUnsigned(a.next("FEC id"), "FEC id", kRouteSourceFecBase - 1); };
  t.statementAdd({{"fec", "add"}, "ID [vrf NAME] VIA...",
                  "a FEC in a VRF's FIB FEC table (default unless named), IPv4 or IPv6 by its next hops", true,
                  [this, fecIdArg](A& a) -> Statement::Apply {
                    uint64_t id = fecIdArg(a);
                    Kor::VrfName vrf("default");
                    if (a.accept("vrf")) vrf = Kor::VrfName(a.next("VRF name"));
                    auto vias = parseVias(a);
                    return [=, this](std::ostream&) { fecAdd(id, vias, vrf); };
                  }});
  t.statementAdd({{"fec", "update"}, "ID VIA...", "new vias for an existing FEC (same VRF and family)", true,
                  [this, fecIdArg](A& a) -> Statement::Apply {
                    uint64_t id = fecIdArg(a);
                    auto vias = parseVias(a);
                    return [=, this](std::ostream&) { fecUpdate(id, vias); };
                  }});
  t.statementAdd({{"fec", "del"}, "ID", "remove it", true, [this, fecIdArg](A& a) -> Statement::Apply {
                    uint64_t id = fecIdArg(a);
                    return [=, this](std::ostream&) { fecDel(id); };
                  }});
  t.statementAdd({{"route", "add"}, "VRF PREFIX fec ID", "a FIB route (IPv4 or IPv6 prefix) pointing at a FEC", true,
                  [this](A& a) -> Statement::Apply {
                    Kor::VrfName vrf(a.next("VRF name"));
                    Prefix prefix = parsePrefix(a.next("prefix"));
                    a.keyword("fec");
                    uint64_t id = A::parseUnsigned(a.next("FEC id"), "FEC id");
                    return [=, this](std::ostream&) { routeAdd(vrf, prefix, id); };
                  }});
  t.statementAdd({{"route", "del"}, "VRF PREFIX", "remove it", true, [this](A& a) -> Statement::Apply {
                    Kor::VrfName vrf(a.next("VRF name"));
                    Prefix prefix = parsePrefix(a.next("prefix"));
                    return [=, this](std::ostream&) { routeDel(vrf, prefix); };
                  }});
  t.statementAdd({{"show", "route"}, "VRF ADDRESS [json]",
                  "the chip route a packet to ADDRESS in VRF takes (its longest match), or no route", false,
                  [this](A& a) -> Statement::Apply {
                    Kor::VrfName vrf(a.next("VRF name"));
                    Nollo::IpGenAddr addr(a.next("IP address"));
                    bool json = a.accept("json");
                    return [=, this](std::ostream& out) {
                      std::string shown = showRouteLookup(vrf, addr, json);
                      agent_->drainEvents(out);  // what the statement traced comes before its answer
                      out << shown;
                    };
                  }});
}

void FibModule::showsAdd() {
  agent_->showAdd("routes", [this](bool json) { return ShowRenderer::render(routesShow(), json); });
}

std::vector<AgentModule::InputGroup> FibModule::inputGroups() const {
  InputGroup fecs{60, "fecs", {}}, routes{70, "routes", {}};
  auto* em = entityManager_.ptr();
  for (auto const& [id, vrf] : fecVrf_) {
    std::string prefix = vrf.isDefault() ? std::string() : vrf.str() + " ";
    if (auto f4 = em->forwardingStatus<Nollo::Ipv4>(vrf.str())->fec(fecIdOf(id))) fecs.lines.push_back(prefix + f4->str());
    else if (auto f6 = em->forwardingStatus<Nollo::Ipv6>(vrf.str())->fec(fecIdOf(id)))
      fecs.lines.push_back(prefix + f6->str());
  }
  auto addRoutes = [&](auto const& tables) {
    for (auto const& [vrf, t] : tables) {
      std::map<std::decay_t<decltype(t->routeMap().begin()->first)>, std::string> sorted;
      for (auto const& [p, route] : t->routeMap()) sorted[p] = route.str();
      for (auto const& [p, s] : sorted) routes.lines.push_back(vrf.str() + " " + s);
    }
  };
  addRoutes(routes4_);
  addRoutes(routes6_);
  return {fecs, routes};
}

ShowModel FibModule::routesShow() const {
  // Every VRF's routes as the chip holds them: table by table, each in
  // (VRF id, prefix) order.
  using M = ShowModel;
  auto const& l3 = *agent_->l3StatusPtr();
  auto* chip = agent_->chip();
  std::vector<unsigned> em;
  for (auto const& [len, on] : agent_->module<ChipModule>().hwStatus()->prefixLenInExactMatchMap()) em.push_back(len.bits());
  std::sort(em.begin(), em.end());
  std::string emJson, emText;
  for (unsigned b : em) {
    emJson += (emJson.empty() ? "" : ", ") + std::to_string(b);
    emText += " /" + std::to_string(b);
  }
  M m;
  m.fieldAdd("exactMatch", "chip routes: exact-match", M::raw("[" + emJson + "]", em.empty() ? " none" : emText));
  m.fieldAdd("routingResourceFull", "; resource full ipv4 ", M::flag(l3.routingResourceFull(), "yes", "no"));
  m.fieldAdd("ip6RoutingResourceFull", ", ipv6 ", M::flag(l3.ip6RoutingResourceFull(), "yes", "no"));
  m.lineAdd("\n");
  std::vector<Nollo::Ip6Prefix> overflow;
  for (auto const& [p, on] : l3.ip6OverflowRouteMap()) overflow.push_back(p);
  std::sort(overflow.begin(), overflow.end());
  m.tableAdd("overflow", "  ", {M::col("prefix", "overflow ")}, M::Form::values);
  for (auto const& p : overflow) m.rowAdd({M::str(p.str())});
  m.tableAdd("routes", "  ",
             {M::col("table", "", 9), M::col("vrf", "", 11), M::jsonOnly("vrfId"), M::col("prefix"),
              M::jsonOnly("routeType"), M::jsonOnly("fec"), M::jsonOnly("l2Adj"), M::textOnly(" ")});
  auto vrfText = [&](uint32_t vrfId) {
    if (l3.vrfNameHas(Kor::VrfId(vrfId))) return l3.vrfName(Kor::VrfId(vrfId)).str();
    return "#" + std::to_string(vrfId);  // a VRF the library no longer knows
  };
  auto addTable = [&](auto const& table) {
    using Entry = typename std::remove_reference_t<decltype(table)>::Entry;
    std::vector<Entry const*> sorted;
    for (auto const& e : table.entries()) sorted.push_back(&e);
    std::sort(sorted.begin(), sorted.end(), [](Entry const* a, Entry const* b) { return a->first < b->first; });
    for (auto const* e : sorted) {
      auto const& r = e->second;
      std::ostringstream routeText;
      routeText << r;
      m.rowAdd({M::str(table.name()), M::str(vrfText(e->first.vrfId.value())), M::num(e->first.vrfId.value()),
                M::str(e->first.prefix.str()), M::str(Kor::toString(r.routeType())),
                M::str(Quill::Fib::FecId(r.fibAdjIndex()).str()), M::num(r.l2AdjIndex()),
                M::raw("", routeText.str())});
    }
  };
  addTable(chip->l3().route4Table());
  addTable(chip->l3().route6Table());
  addTable(chip->l3().route6EmTable());
  return m;
}

ShowModel FibModule::routeLookupShow(Kor::VrfName const& vrf, Nollo::IpGenAddr const& addr) const {
  using M = ShowModel;
  auto const& l3 = *agent_->l3StatusPtr();
  if (!l3.vrfIdHas(vrf)) fail("vrf '" + vrf.str() + "' has no id");
  Kor::VrfId id = l3.vrfId(vrf);
  M::Cell route = M::raw("null", "no route");
  M::Cell group = M::raw("null", "");
  auto take = [&](auto const& found) {
    if (!found.second) return;
    auto const& r = found.second->second;
    std::string const table = found.first->name(), prefix = found.second->first.prefix.str();
    std::ostringstream text;
    text << table << " " << prefix << " " << r;
    route = M::object({{"table", M::str(table)},
                       {"prefix", M::str(prefix)},
                       {"routeType", M::str(Kor::toString(r.routeType()))},
                       {"fec", M::str(Quill::Fib::FecId(r.fibAdjIndex()).str())},
                       {"l2Adj", M::num(r.l2AdjIndex())}},
                      text.str());
    group = agent_->module<NhgModule>().routeGroupCell(vrf, Quill::Fib::FecId(r.fibAdjIndex()));
  };
  if (addr.isV4()) take(agent_->chip()->l3().routeLookup<Nollo::Ipv4>(id, addr.v4()));
  else take(agent_->chip()->l3().routeLookup<Nollo::Ipv6>(id, addr.v6()));
  M m;
  m.fieldAdd("vrf", "route ", M::str(vrf.str()));
  m.fieldAdd("address", " ", M::str(addr.str()));
  m.fieldAdd("route", ": ", route);
  m.fieldAdd("group", "", group);
  m.lineAdd("\n");
  return m;
}

std::string FibModule::showRouteLookup(Kor::VrfName const& vrf, Nollo::IpGenAddr const& addr, bool json) const {
  return ShowRenderer::render(routeLookupShow(vrf, addr), json);
}

}  // namespace KorAgent
