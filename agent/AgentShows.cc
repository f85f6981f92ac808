#include "agent/AgentShows.h"

#include <iomanip>
#include <sstream>
#include <stdexcept>

#include "agent/Agent.h"
#include "agent/AgentInputs.h"
#include "agent/JsonString.h"
#include "kor/adj/AdjEntry.h"
#include "kor/adj/AdjSm.h"
#include "kor/adj/L2AdjHelper.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/l3/L3Status.h"
#include "kor/l3/VrfL3Status.h"
#include "kor/l3/VrfRoot.h"
#include "kor/l3/VrfRootSm.h"
#include "softchip/adj/SoftAdjSmHelper.h"
#include "softchip/l3/RouteResolverSm.h"

namespace KorAgent {

namespace {

[[noreturn]] void fail(std::string const& m) { throw std::invalid_argument(m); }

std::string js(std::string const& s) { return jsonString(s); }

std::string capacityText(size_t c) {
  return c == SoftChip::ChipTableBase::kUnlimited ? std::string("unlimited") : std::to_string(c);
}

}  // namespace

std::string AgentShows::showVrfs(bool json) const {
  std::ostringstream os;
  auto const& l3 = *a_.in_->l3Status_;
  if (json) {
    os << "{\"vrfs\": [";
    bool first = true;
    for (auto const& [name, info] : a_.in_->vrfInfoDir_->vrfInfoMap()) {
      os << (first ? "" : ", ") << "{\"name\": " << js(name) << ", \"id\": ";
      if (l3.vrfIdHas(name)) os << l3.vrfId(name).value();
      else os << "null";
      auto root = vrfRootOf(name);
      os << ", \"chip\": " << (root ? js(Kor::toString(root->hwState())) : std::string("null")) << "}";
      first = false;
    }
    os << "]}\n";
    return os.str();
  }
  os << "vrfs:\n";
  for (auto const& [name, info] : a_.in_->vrfInfoDir_->vrfInfoMap()) {
    os << "  " << std::left << std::setw(12) << name << " id ";
    if (l3.vrfIdHas(name)) os << l3.vrfId(name).value();
    else os << "-";
    // A VRF the chip has not taken says so (and how often it was retried).
    auto root = vrfRootOf(name);
    if (root && root->hwState() != Kor::VrfHwState::vrfHwInstalled)
      os << " chip " << root->hwState() << ", retries " << root->hwRetries();
    os << "\n";
  }
  return os.str();
}

Kor::VrfRoot const* AgentShows::vrfRootOf(std::string const& name) const {
  if (!a_.vrfRootSm_ || name.size() > Kor::VrfName::maxBytes) return nullptr;
  return a_.vrfRootSm_->vrfRoot(Kor::VrfName(name)).ptr();
}

std::string AgentShows::showL3(bool json) const {
  std::ostringstream os;
  auto const& l3 = *a_.in_->l3Status_;
  if (json) {
    os << "{\"vrfs\": [";
    bool first = true;
    for (auto const& [name, st] : l3.vrfL3StatusMap()) {
      os << (first ? "" : ", ") << "{\"name\": " << js(name.str()) << ", \"id\": " << l3.vrfId(name).value()
         << ", \"routingEnabled\": " << (st->routingEnabled() ? "true" : "false")
         << ", \"routing6Enabled\": " << (st->routing6Enabled() ? "true" : "false")
         << ", \"endOfV4SyncDone\": " << (st->endOfV4SyncDone() ? "true" : "false")
         << ", \"endOfV6SyncDone\": " << (st->endOfV6SyncDone() ? "true" : "false") << "}";
      first = false;
    }
    os << "], \"adjInfoList\": " << l3.adjInfoListSize() << ", \"adjInfo6List\": " << l3.adjInfo6ListSize()
       << ", \"unicastReviewPending\": " << l3.unicastReviewPending()
       << ", \"unicast6ReviewPending\": " << l3.unicast6ReviewPending() << "}\n";
    return os.str();
  }
  os << "l3 status:\n";
  for (auto const& [name, st] : l3.vrfL3StatusMap()) {
    os << "  vrf " << std::left << std::setw(12) << name.str() << " id " << l3.vrfId(name).value()
       << " routing " << (st->routingEnabled() ? "on" : "off") << "/" << (st->routing6Enabled() ? "on" : "off")
       << " endOfSync " << (st->endOfV4SyncDone() ? "yes" : "no") << "/" << (st->endOfV6SyncDone() ? "yes" : "no")
       << "\n";
  }
  os << "  adjInfoList " << l3.adjInfoListSize() << ", adjInfo6List " << l3.adjInfo6ListSize()
     << ", unicastReviewPending " << l3.unicastReviewPending() << ", unicast6ReviewPending "
     << l3.unicast6ReviewPending() << "\n";
  return os.str();
}

std::string AgentShows::showChip(bool json) const {
  std::ostringstream os;
  auto const& fi = a_.chip_->injector();
  if (json) {
    os << "{\"tables\": [";
    bool first = true;
    for (auto* t : a_.chip_->tables()) {
      auto const& c = t->counters();
      os << (first ? "" : ", ") << "{\"name\": " << js(t->name()) << ", \"capacity\": ";
      if (t->capacity() == SoftChip::ChipTableBase::kUnlimited) os << "null";
      else os << t->capacity();
      os << ", \"creates\": " << c.creates << ", \"updates\": " << c.updates << ", \"deletes\": " << c.deletes
         << ", \"syncs\": " << c.syncs << ", \"entries\": {";
      bool f2 = true;
      for (auto const& [k, v] : t->entryTexts()) {
        os << (f2 ? "" : ", ") << js(k) << ": " << js(v);
        f2 = false;
      }
      os << "}}";
      first = false;
    }
    os << "], \"calls\": {";
    first = true;
    for (auto const& [kind, c] : fi.countersMap()) {
      os << (first ? "" : ", ") << js(kind) << ": {\"calls\": " << c.calls << ", \"ok\": " << c.success
         << ", \"fail\": " << c.fail << ", \"notready\": " << c.notReady << ", \"full\": " << c.resourceFull << "}";
      first = false;
    }
    os << "}}\n";
    return os.str();
  }
  os << "chip:\n";
  for (auto* t : a_.chip_->tables()) {
    auto const& c = t->counters();
    os << "  table " << t->name() << ": " << t->size() << " of " << capacityText(t->capacity())
       << " (creates " << c.creates << ", updates " << c.updates << ", deletes " << c.deletes << ", syncs "
       << c.syncs << ")\n";
    for (auto const& [k, v] : t->entryTexts()) os << "    " << k << " -> " << v << "\n";
  }
  for (auto const& [key, a] : fi.objectFaults())
    os << "  fault " << key.first << " " << key.second << " " << SoftChip::chipAnswerName(a) << "\n";
  for (auto const& [kind, a] : fi.kindFaults()) os << "  fault " << kind << " " << SoftChip::chipAnswerName(a) << "\n";
  if (fi.rate() > 0)
    os << "  fault rate " << fi.rate() << " seed " << fi.seed() << " " << SoftChip::chipAnswerName(fi.rateAnswer())
       << "\n";
  for (auto const& [kind, c] : fi.countersMap())
    os << "  calls " << kind << ": " << c.calls << " (ok " << c.success << ", fail " << c.fail << ", notready "
       << c.notReady << ", full " << c.resourceFull << ")\n";
  return os.str();
}

std::string AgentShows::showInputs(bool json) const {
  std::ostringstream os;
  std::map<uint32_t, std::string> arpVrfName;
  for (auto const& [n, id] : a_.in_->arpVrfIds_) arpVrfName[id] = n.str();
  std::vector<std::string> vrfs, intfs, arps, macs, lags, fecs, routes;
  for (auto const& [name, info] : a_.in_->vrfInfoDir_->vrfInfoMap()) vrfs.push_back(name);
  for (auto const& [intf, vrf] : a_.in_->intfs_) {
    std::string s = intf.str();
    if (!vrf.empty()) s += " vrf " + vrf;
    if (a_.in_->intfVlanIdTable_->vlanIdHas(intf)) s += " vlan " + std::to_string(a_.in_->intfVlanIdTable_->vlanId(intf));
    auto st = a_.in_->allIntfStatusDir_->intfStatus(intf);
    if (st.routedPort) s += " routed";
    if (!st.operUp) s += " down";
    intfs.push_back(s);
  }
  std::map<std::string, std::string> sorted;
  for (auto const& [k, e] : a_.in_->arpTable_->arpEntryMap())
    sorted[arpVrfName[k.vrfId()] + " " + k.addr().str() + " " + k.intf().str()] = e.ethAddr().str();
  for (auto const& [k, e] : a_.in_->neighTable_->arpEntryMap())
    sorted[arpVrfName[k.vrfId()] + " " + k.addr().str() + " " + k.intf().str()] = e.ethAddr().str();
  for (auto const& [k, m] : sorted) arps.push_back(k + " " + m);
  for (auto const& [vlan, fdb] : a_.in_->bridgingStatus_->fdbStatusMap()) {
    std::map<std::string, std::string> byMac;
    for (auto const& [mac, host] : fdb->learnedHostMap()) byMac[mac.str()] = host.intf.str();
    for (auto const& [mac, intf] : byMac) macs.push_back("vlan " + std::to_string(vlan) + " " + mac + " " + intf);
  }
  for (auto const& [lag, ports] : a_.in_->lags_) {
    std::string s = lag.str() + ":";
    for (auto const& p : ports) s += " " + p.str();
    lags.push_back(s);
  }
  std::map<uint64_t, std::string> fecText;
  for (auto const& [id, vrf] : a_.in_->fecVrf_) {
    auto fecId = Quill::Fib::FecId::make(Quill::Fib::nexthopAdj(), id);
    auto* em = a_.in_->entityManager_.ptr();
    std::string prefix = vrf.isDefault() ? std::string() : vrf.str() + " ";
    if (auto f4 = em->forwardingStatus<Nollo::Ipv4>(vrf.str())->fec(fecId)) fecText[id] = prefix + f4->str();
    if (auto f6 = em->forwardingStatus<Nollo::Ipv6>(vrf.str())->fec(fecId)) fecText[id] = prefix + f6->str();
  }
  for (auto const& [i, t] : fecText) fecs.push_back(t);
  for (auto const& [vrf, t] : a_.in_->routes4_) {
    std::map<Nollo::IpPrefix, std::string> r;
    for (auto const& [p, route] : t->routeMap()) r[p] = route.str();
    for (auto const& [p, s] : r) routes.push_back(vrf.str() + " " + s);
  }
  for (auto const& [vrf, t] : a_.in_->routes6_) {
    std::map<Nollo::Ip6Prefix, std::string> r;
    for (auto const& [p, route] : t->routeMap()) r[p] = route.str();
    for (auto const& [p, s] : r) routes.push_back(vrf.str() + " " + s);
  }
  std::pair<char const*, std::vector<std::string>*> groups[] = {
      {"vrfs", &vrfs}, {"interfaces", &intfs}, {"arp", &arps}, {"macs", &macs},
      {"lags", &lags}, {"fecs", &fecs},       {"routes", &routes}};
  if (json) {
    os << "{";
    bool first = true;
    for (auto const& [name, list] : groups) {
      os << (first ? "" : ", ") << js(name) << ": [";
      for (size_t i = 0; i < list->size(); ++i) os << (i ? ", " : "") << js((*list)[i]);
      os << "]";
      first = false;
    }
    os << "}\n";
    return os.str();
  }
  os << "inputs:\n";
  for (auto const& [name, list] : groups) {
    os << "  " << name << ":";
    if (list->empty()) os << " none";
    os << "\n";
    for (auto const& s : *list) os << "    " << s << "\n";
  }
  return os.str();
}

std::string AgentShows::showAdj(bool json) const {
  // Every VRF's adjacency records with the L2 adjacency each is bound to.
  std::ostringstream os;
  auto const& l3 = *a_.in_->l3Status_;
  std::vector<std::string> rows;
  bool first = true;
  if (json) os << "{\"adjs\": [";
  else os << "adjacencies:\n";
  for (auto const& [name, vs] : l3.vrfL3StatusMap()) {
    std::map<uint64_t, Vix::Ptr<Kor::AdjEntry>> sorted;
    for (auto const& [fecId, e] : vs->adjEntryListMap()) sorted[fecId.index()] = e;
    for (auto const& [index, e] : sorted) {
      auto const& l2 = e->l2Adj();
      std::string state = l2 ? Kor::toString(l2->state()) : "none";
      size_t vias = e->adjVia() ? e->adjVia()->viaList().size() : e->adjVia6() ? e->adjVia6()->viaList().size() : 0;
      if (json) {
        os << (first ? "" : ", ") << "{\"vrf\": " << js(name.str()) << ", \"fec\": " << index
           << ", \"ipv\": " << int(e->ipVersion()) << ", \"routeType\": " << js(Kor::toString(e->routeType()))
           << ", \"vias\": " << vias << ", \"l2Adj\": ";
        if (l2) os << l2->index();
        else os << "null";
        os << ", \"state\": " << js(state) << "}";
      } else {
        os << "  " << std::left << std::setw(10) << name.str() << " fec " << index << " ipv" << int(e->ipVersion())
           << " " << Kor::toString(e->routeType()) << " vias " << vias << " l2adj ";
        if (l2) os << l2->index();
        else os << "-";
        os << " " << state << "\n";
      }
      first = false;
    }
  }
  if (json) os << "]}\n";
  return os.str();
}

std::string AgentShows::showL2Adj(bool json) const {
  // The L2 adjacencies of the library (shared by every VRF) with their users.
  std::ostringstream os;
  auto const& l3 = *a_.in_->l3Status_;
  std::map<uint64_t, Vix::Ptr<Kor::L2Adjacency>> sorted;
  for (auto const& [key, l2] : l3.l2AdjListMap()) sorted[key.index()] = l2;
  bool sharing = a_.l2AdjHelper_ && a_.l2AdjHelper_->adjSharing();
  bool pending = a_.l2AdjHelper_ && a_.l2AdjHelper_->pendingReset();
  if (json) {
    os << "{\"adjSharing\": " << (sharing ? "true" : "false") << ", \"pendingReset\": " << (pending ? "true" : "false")
       << ", \"adjResourceFull\": " << (l3.adjResourceFull() ? "true" : "false")
       << ", \"sharedKeys\": " << l3.nextHopsToL2AdjSize() << ", \"l2adjs\": [";
    bool first = true;
    for (auto const& [index, l2] : sorted) {
      os << (first ? "" : ", ") << "{\"index\": " << index << ", \"state\": " << js(Kor::toString(l2->state()))
         << ", \"shared\": " << (l2->shared() ? "true" : "false") << ", \"users\": [";
      bool f2 = true;
      for (uint64_t u : l2->adjEntry()) {
        os << (f2 ? "" : ", ") << Quill::Fib::FecId(u).index();
        f2 = false;
      }
      os << "], \"via\": " << js(l2->via().str()) << "}";
      first = false;
    }
    os << "]}\n";
    return os.str();
  }
  os << "l2 adjacencies: sharing " << (sharing ? "on" : "off") << (pending ? ", reset pending" : "")
     << (l3.adjResourceFull() ? ", resource full" : "") << ", shared keys " << l3.nextHopsToL2AdjSize() << "\n";
  for (auto const& [index, l2] : sorted) {
    os << "  " << index << " " << Kor::toString(l2->state()) << " fecs";
    for (uint64_t u : l2->adjEntry()) os << " " << Quill::Fib::FecId(u).index();
    os << ": " << l2->via().str() << "\n";
  }
  return os.str();
}

std::string AgentShows::vrfText(uint32_t vrfId) const {
  auto const& l3 = *a_.in_->l3Status_;
  if (l3.vrfNameHas(Kor::VrfId(vrfId))) return l3.vrfName(Kor::VrfId(vrfId)).str();
  return "#" + std::to_string(vrfId);  // a VRF the library no longer knows
}

std::string AgentShows::showRoutes(bool json) const {
  // Every VRF's routes as the chip holds them: table by table, each in
  // (VRF id, prefix) order.
  auto const& l3 = *a_.in_->l3Status_;
  struct Row {
    std::string table, vrf, prefix;
    uint32_t vrfId;
    SoftChip::ChipRoute route;
  };
  std::vector<Row> rows;
  auto addTable = [&](auto const& table) {
    using Entry = typename std::remove_reference_t<decltype(table)>::Entry;
    std::vector<Entry const*> sorted;
    for (auto const& e : table.entries()) sorted.push_back(&e);
    std::sort(sorted.begin(), sorted.end(), [](Entry const* a, Entry const* b) { return a->first < b->first; });
    for (auto const* e : sorted)
      rows.push_back({table.name(), vrfText(e->first.vrfId.value()), e->first.prefix.str(), e->first.vrfId.value(),
                      e->second});
  };
  addTable(a_.chip_->l3().route4Table());
  addTable(a_.chip_->l3().route6Table());
  addTable(a_.chip_->l3().route6EmTable());
  std::vector<unsigned> em;
  for (auto const& [len, on] : a_.in_->hwStatus_->prefixLenInExactMatchMap()) em.push_back(len.bits());
  std::sort(em.begin(), em.end());
  std::vector<Nollo::Ip6Prefix> overflow;
  for (auto const& [p, on] : l3.ip6OverflowRouteMap()) overflow.push_back(p);
  std::sort(overflow.begin(), overflow.end());
  std::ostringstream os;
  if (json) {
    os << "{\"exactMatch\": [";
    for (size_t i = 0; i < em.size(); ++i) os << (i ? ", " : "") << em[i];
    os << "], \"routingResourceFull\": " << (l3.routingResourceFull() ? "true" : "false")
       << ", \"ip6RoutingResourceFull\": " << (l3.ip6RoutingResourceFull() ? "true" : "false") << ", \"overflow\": [";
    for (size_t i = 0; i < overflow.size(); ++i) os << (i ? ", " : "") << js(overflow[i].str());
    os << "], \"routes\": [";
    for (size_t i = 0; i < rows.size(); ++i) {
      auto const& r = rows[i];
      os << (i ? ", " : "") << "{\"table\": " << js(r.table) << ", \"vrf\": " << js(r.vrf) << ", \"vrfId\": " << r.vrfId
         << ", \"prefix\": " << js(r.prefix) << ", \"routeType\": " << js(Kor::toString(r.route.routeType()))
         << ", \"fec\": " << Quill::Fib::FecId(r.route.fibAdjIndex()).index() << ", \"l2Adj\": " << r.route.l2AdjIndex()
         << "}";
    }
    os << "]}\n";
    return os.str();
  }
  os << "chip routes: exact-match";
  if (em.empty()) os << " none";
  for (unsigned b : em) os << " /" << b;
  os << "; resource full ipv4 " << (l3.routingResourceFull() ? "yes" : "no") << ", ipv6 "
     << (l3.ip6RoutingResourceFull() ? "yes" : "no") << "\n";
  for (auto const& p : overflow) os << "  overflow " << p << "\n";
  for (auto const& r : rows)
    os << "  " << std::left << std::setw(9) << r.table << std::setw(11) << r.vrf << r.prefix << " " << r.route << "\n";
  return os.str();
}

std::string AgentShows::showRouteLookup(Kor::VrfName const& vrf, Nollo::IpGenAddr const& addr, bool json) const {
  auto const& l3 = *a_.in_->l3Status_;
  if (!l3.vrfIdHas(vrf)) fail("vrf '" + vrf.str() + "' has no id");
  Kor::VrfId id = l3.vrfId(vrf);
  std::string table, prefix;
  SoftChip::ChipRoute route;
  auto take = [&](auto const& found) {
    if (!found.second) return;
    table = found.first->name();
    prefix = found.second->first.prefix.str();
    route = found.second->second;
  };
  if (addr.isV4()) take(a_.chip_->l3().routeLookup<Nollo::Ipv4>(id, addr.v4()));
  else take(a_.chip_->l3().routeLookup<Nollo::Ipv6>(id, addr.v6()));
  std::ostringstream os;
  if (json) {
    os << "{\"vrf\": " << js(vrf.str()) << ", \"address\": " << js(addr.str()) << ", \"route\": ";
    if (table.empty()) os << "null";
    else
      os << "{\"table\": " << js(table) << ", \"prefix\": " << js(prefix) << ", \"routeType\": "
         << js(Kor::toString(route.routeType())) << ", \"fec\": " << Quill::Fib::FecId(route.fibAdjIndex()).index()
         << ", \"l2Adj\": " << route.l2AdjIndex() << "}";
    os << "}\n";
    return os.str();
  }
  os << "route " << vrf.str() << " " << addr.str() << ": ";
  if (table.empty()) os << "no route\n";
  else os << table << " " << prefix << " " << route << "\n";
  return os.str();
}

}  // namespace KorAgent
