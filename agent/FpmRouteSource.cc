#include "agent/fib/FibModule.h"
#include "agent/FpmRouteSource.h"

#include <algorithm>
#include <exception>
#include <sstream>

#include "agent/chip/ChipModule.h"
#include "agent/nhg/NhgModule.h"
#include "models/routing/hardware/Status.h"
#include "nollo/Ipv4.h"
#include "nollo/Ipv6.h"
#include "quill/FecId.h"
#include "vix/ActivityLoop.h"
#include "vix/Log.h"

VIX_LOG_EVENT(FPM_ROUTE_SKIPPED, 4, "FPM route %s in table %u skipped: %s",
              "zebra sent a route the agent cannot apply; nothing of it was applied.",
              "Check that the interfaces, VRFs and next-hop objects it names are known ('show fpm' counts each cause).",
              1.0);
VIX_LOG_EVENT(FPM_NEXTHOP_SKIPPED, 4, "FPM next-hop object %u skipped: %s",
              "zebra sent a next-hop object the agent cannot apply; the object is unchanged.",
              "Check the group's members ('show fpm' counts each cause).", 1.0);
VIX_LOG_EVENT(FPM_FEC_KEPT, 4, "FPM next-hop object %u changed; FEC %llu in vrf %s kept as it was: %s",
              "A next-hop object changed to something the agent cannot apply; its routes keep the old next hops.",
              "Check the interfaces the object names ('show fpm' counts each cause).", 1.0);
VIX_LOG_EVENT(FPM_STALE_REMOVED, 5, "FPM replay over: %llu stale routes and %llu stale next-hop objects removed",
              "zebra's new connection re-sent its table; what it did not re-send was removed.", "None.", 0.0);

namespace KorAgent {

using KorFeeds::NlNexthop;
using KorFeeds::NlNexthopObject;
using KorFeeds::NlRoute;
using Quill::Fib::FecType;

struct FpmRouteSource::FecEntry {
  uint64_t index = 0;
  Quill::Fib::FecId fecId;
  VrfState* vrf = nullptr;
  bool v6 = false;
  FecType type = FecType::forward;
  std::vector<FibModule::Via> vias;  // as written to the FIB
  uint32_t refs = 0;             // routes (and shadowed entries) using it
  Vix::Seconds idleUntil = Vix::kNever;
  // Built from a next-hop object (nhId) or an inline set (key).
  uint32_t nhId = 0;
  SetKey key;
  // A group FEC (fecId names the object's library group; `index` is only
  // this source's key for it).
  bool group = false;
  // The flag changed: no longer the object's FEC for new routes; its
  // routes are moving off it.
  bool detached = false;
};

struct FpmRouteSource::VrfState {
  Kor::VrfName name;
  uint32_t index = 0;
  Table<Nollo::Ipv4> t4;
  Table<Nollo::Ipv6> t6;
  template <class AF>
  Table<AF>& table() {
    if constexpr (AF::version == 6) return t6;
    else return t4;
  }
};

struct FpmRouteSource::NhObject {
  NlNexthopObject o;
  uint32_t gen = 0;
  bool gone = false;               // deleted, kept while FECs or groups use it
  std::vector<uint32_t> parents;   // groups naming it (once per mention)
  std::vector<FecEntry*> fecs;     // FECs built from it, one per VRF and family
  // Group mode: published as a library group with these members; the
  // group FECs among `fecs` that hold it.
  bool published = false;
  std::vector<FibModule::Via> groupVias;
  uint32_t groupFecs = 0;
};

class FpmRouteSource::HwStatusReactor : public Routing::Hardware::Status::Notifiee {
 public:
  HwStatusReactor(Vix::Ptr<Routing::Hardware::Status> const& s, FpmRouteSource* src)
      : Notifiee(Vix::Ptr<Routing::Hardware::Status const>(s)), src_(src) {}
  void handleNexthopGroupSupported() override { src_->handleGroupSupported(); }

 private:
  FpmRouteSource* src_;
};

namespace {

constexpr uint32_t kGenMask = 0x7fffffff;

uint64_t objectKey(uint32_t vrf, bool v6, uint32_t nhId) {
  return uint64_t(vrf) << 33 | uint64_t(v6) << 32 | nhId;
}

bool dropType(uint8_t type) { return type == 6 || type == 7 || type == 8; }  // blackhole, unreachable, prohibit

}  // namespace

size_t FpmRouteSource::SetKeyHash::operator()(SetKey const& k) const noexcept {
  uint64_t h = uint64_t(k.vrf) << 1 | k.v6;
  for (auto const& n : k.hops) {
    uint64_t g = n.gateway ? std::hash<Nollo::IpGenAddr>()(*n.gateway) : 0x9e3779b9u;
    h = Vix::mixHash(h ^ g) + (uint64_t(n.oif) << 20 ^ n.weight);
  }
  return h;
}

FpmRouteSource::FpmRouteSource(Agent* agent, IntfLookup intfLookup, VrfLookup vrfLookup)
    : agent_(agent),
      intfLookup_(std::move(intfLookup)),
      vrfLookup_(std::move(vrfLookup)),
      graceClock_(agent->loop(), [this] { handleGrace(); }),
      sweepClock_(agent->loop(), [this] { handleSweep(); }),
      modeClock_(agent->loop(), [this] { doModeChange(); }) {
  auto const& hw = agent_->module<ChipModule>().hwStatus();
  groupMode_ = hw->nexthopGroupSupported();
  hwReactor_ = std::make_unique<HwStatusReactor>(hw, this);
}

std::string FpmRouteSource::groupName(uint32_t nhId) {
  std::string name = "fpm-nhg-";
  name += std::to_string(nhId);
  return name;
}

// What was written stays in the FIB, as a routing agent's table outlives it.
FpmRouteSource::~FpmRouteSource() = default;

size_t FpmRouteSource::routes() const {
  size_t n = 0;
  for (auto const& v : vrfs_) n += v->t4.routes.size() + v->t6.routes.size();
  return n;
}

FpmRouteSource::VrfState* FpmRouteSource::vrfFor(uint32_t table) {
  if (auto it = tableVrf_.find(table); it != tableVrf_.end()) return it->second;
  std::optional<Kor::VrfName> name;
  if (table == kMainTable) name = Kor::VrfName(Kor::VrfName::defaultVrfName);
  else if (vrfLookup_) name = vrfLookup_(table);
  if (!name) return nullptr;
  VrfState* v = nullptr;
  for (auto const& s : vrfs_)
    if (s->name == *name) v = s.get();
  if (!v) {
    vrfs_.push_back(std::make_unique<VrfState>());
    v = vrfs_.back().get();
    v->name = *name;
    v->index = uint32_t(vrfs_.size() - 1);
    v->t4.fib = agent_->module<FibModule>().fibRoutes4(*name);
    v->t6.fib = agent_->module<FibModule>().fibRoutes6(*name);
  }
  tableVrf_[table] = v;
  return v;
}

void FpmRouteSource::handleTablesChanged() { tableVrf_.clear(); }

// ---------------------------------------------------------------------------
// Routes.

void FpmRouteSource::handle(NlRoute const& r) {
  ++messages_;
  if (replayAwaited_) doReplayStarted();
  if (auto const* p4 = std::get_if<Nollo::IpPrefix>(&r.prefix)) doRoute<Nollo::Ipv4>(r, *p4);
  else doRoute<Nollo::Ipv6>(r, std::get<Nollo::Ip6Prefix>(r.prefix));
}

template <class AF>
void FpmRouteSource::doRoute(NlRoute const& r, Nollo::IpPrefixT<AF> const& prefix) {
  VrfState* vrf = vrfFor(r.table);
  if (!vrf) return doSkip(Fault::unknownTable, prefix.str(), r.table, "no VRF has this table");
  auto& t = vrf->template table<AF>();
  if (!r.add) return doRouteDel(t, prefix, r.priority);
  FecEntry* fe = nullptr;
  std::string why;
  if (Fault f = fecFor<AF>(*vrf, r, &fe, &why); f != Fault::none) return doSkip(f, prefix.str(), r.table, why);
  doRouteAdd(t, prefix, r.priority, fe);
}

template <class AF>
void FpmRouteSource::doRouteAdd(Table<AF>& t, Nollo::IpPrefixT<AF> const& p, uint32_t priority, FecEntry* fe) {
  using Route = Quill::Fib::RouteT<AF>;
  auto [it, fresh] = t.routes.try_emplace(p);
  Entry& e = it->second;
  if (fresh) {
    e.fec = fe;
    e.priority = priority;
    e.gen = gen_;
    doRef(fe);
    t.fib->routeIs(Route(p, fe->fecId));
    ++counters_.routeWrites;
    return;
  }
  if (e.priority == priority) {
    e.gen = gen_;
    if (e.fec == fe) {
      ++counters_.routeUnchanged;
      return;
    }
    FecEntry* old = e.fec;
    e.fec = fe;
    doRef(fe);
    t.fib->routeIs(Route(p, fe->fecId));
    ++counters_.routeWrites;
    doUnref(old);
    return;
  }
  auto& others = t.others[p];
  if (priority < e.priority) {
    // The new lowest metric takes the FIB; the old one waits behind it.
    others.insert(others.begin(), Candidate{e.fec, e.priority, e.gen});
    e.fec = fe;
    e.priority = priority;
    e.gen = gen_;
    e.alt = 1;
    doRef(fe);
    t.fib->routeIs(Route(p, fe->fecId));
    ++counters_.routeWrites;
    return;
  }
  auto c = std::lower_bound(others.begin(), others.end(), priority,
                            [](Candidate const& a, uint32_t pr) { return a.priority < pr; });
  doRef(fe);
  if (c != others.end() && c->priority == priority) {
    doUnref(c->fec);
    c->fec = fe;
    c->gen = gen_;
  } else {
    others.insert(c, Candidate{fe, priority, gen_});
  }
  e.alt = 1;
  ++counters_.routeShadowed;
}

template <class AF>
void FpmRouteSource::doRouteDel(Table<AF>& t, Nollo::IpPrefixT<AF> const& p, uint32_t priority) {
  auto it = t.routes.find(p);
  if (it == t.routes.end()) {
    ++counters_.routeDelUnknown;
    return;
  }
  Entry& e = it->second;
  // A delete without metric takes the route in the FIB, as the kernel's does.
  if (priority && priority != e.priority) {
    if (e.alt) {
      auto& others = t.others.find(p)->second;
      auto c = std::find_if(others.begin(), others.end(), [&](Candidate const& a) { return a.priority == priority; });
      if (c != others.end()) {
        FecEntry* old = c->fec;
        others.erase(c);
        if (others.empty()) {
          t.others.erase(p);
          e.alt = 0;
        }
        doUnref(old);
        ++counters_.routeDels;
        return;
      }
    }
    ++counters_.routeDelUnknown;
    return;
  }
  doRemoveCurrent(t, p, e);
  ++counters_.routeDels;
}

template <class AF>
void FpmRouteSource::doRemoveCurrent(Table<AF>& t, Nollo::IpPrefixT<AF> const& p, Entry& e) {
  FecEntry* old = e.fec;
  if (e.alt) doPromote(t, p, e);
  else {
    t.routes.erase(p);
    t.fib->routeDel(p);
  }
  doUnref(old);
}

template <class AF>
void FpmRouteSource::doPromote(Table<AF>& t, Nollo::IpPrefixT<AF> const& p, Entry& e) {
  auto oit = t.others.find(p);
  Candidate c = oit->second.front();
  oit->second.erase(oit->second.begin());
  if (oit->second.empty()) {
    t.others.erase(p);
    e.alt = 0;
  }
  bool write = c.fec != e.fec;
  e.fec = c.fec;
  e.priority = c.priority;
  e.gen = c.gen & kGenMask;
  if (write) t.fib->routeIs(Quill::Fib::RouteT<AF>(p, c.fec->fecId));
}

// ---------------------------------------------------------------------------
// FECs.

template <class AF>
FpmRouteSource::Fault FpmRouteSource::fecFor(VrfState& vrf, NlRoute const& r, FecEntry** out, std::string* why) {
  constexpr bool v6 = AF::version == 6;
  bool const drop = dropType(r.type);
  if (!drop && r.type != 1) {
    *why = "route type " + std::to_string(r.type) + " not supported";
    return Fault::unsupported;
  }
  if (!drop && r.nhId) {
    auto oit = objects_.find(r.nhId);
    if (oit == objects_.end() || oit->second->gone) {
      *why = "next-hop object " + std::to_string(r.nhId) + " unknown";
      return Fault::unknownNexthop;
    }
    uint64_t const k = objectKey(vrf.index, v6, r.nhId);
    if (auto it = objectFecs_.find(k); it != objectFecs_.end()) {
      *out = it->second;
      return Fault::none;
    }
    return objectFec<AF>(vrf, *oit->second, out, why);
  }
  key_.vrf = vrf.index;
  key_.v6 = v6;
  key_.hops.clear();
  if (!drop) {
    if (r.nexthops.empty()) {
      *why = "no next hop";
      return Fault::unsupported;
    }
    key_.hops.assign(r.nexthops.begin(), r.nexthops.end());
    std::sort(key_.hops.begin(), key_.hops.end());
  }
  if (auto it = setFecs_.find(key_); it != setFecs_.end()) {
    *out = it->second;
    return Fault::none;
  }
  FecType type = FecType::drop;
  vias_.clear();
  if (!drop)
    if (Fault f = resolveHops<AF>(key_.hops, &vias_, &type, why); f != Fault::none) return f;
  if (Fault f = doCreateFec(vrf, v6, type, vias_, out, why); f != Fault::none) return f;
  (*out)->key = key_;
  setFecs_.try_emplace(key_, *out);
  return Fault::none;
}

template <class AF>
FpmRouteSource::Fault FpmRouteSource::objectFec(VrfState& vrf, NhObject& o, FecEntry** out, std::string* why) {
  constexpr bool v6 = AF::version == 6;
  uint64_t const k = objectKey(vrf.index, v6, o.o.id);
  if (auto it = objectFecs_.find(k); it != objectFecs_.end()) {
    *out = it->second;
    return Fault::none;
  }
  FecType type;
  vias_.clear();
  if (Fault f = resolveObject<AF>(o, &vias_, &type, why); f != Fault::none) return f;
  bool const group = groupMode_ && !o.o.group.empty() && type == FecType::forward;
  // The flag turned back within the grace: the FEC its routes left is taken
  // again (two group FECs of one VRF and family would share one FIB FEC).
  auto again = std::find_if(o.fecs.begin(), o.fecs.end(),
                            [&](FecEntry* fe) { return fe->vrf == &vrf && fe->v6 == v6 && fe->group == group; });
  if (again != o.fecs.end()) {
    *out = *again;
    (*out)->detached = false;
    objectFecs_.try_emplace(k, *out);
    return Fault::none;
  }
  if (group) {
    if (Fault f = doCreateGroupFec<AF>(vrf, o, out, why); f != Fault::none) return f;
  } else if (Fault f = doCreateFec(vrf, v6, type, vias_, out, why); f != Fault::none) {
    return f;
  }
  (*out)->nhId = o.o.id;
  objectFecs_.try_emplace(k, *out);
  o.fecs.push_back(*out);
  return Fault::none;
}

// The group is published before its FEC is written, so the adjacency
// machine finds it at the FEC's first review.
template <class AF>
FpmRouteSource::Fault FpmRouteSource::doCreateGroupFec(VrfState& vrf, NhObject& o, FecEntry** out, std::string* why) {
  if (Fault f = doPublish(o, vias_, why); f != Fault::none) return f;
  auto fecId = Quill::Fib::FecId::make(Quill::Fib::AdjType::nextHopGroupAdj, groupId(o.o.id));
  agent_->module<FibModule>().entityManager()->forwardingStatus<AF>(vrf.name.str())->fecIs(
      Quill::Fib::FecT<AF>(fecId, FecType::nexthopGroup));
  auto fe = std::make_unique<FecEntry>();
  fe->index = nextFecIndex_++;
  fe->fecId = fecId;
  fe->vrf = &vrf;
  fe->v6 = AF::version == 6;
  fe->type = FecType::nexthopGroup;
  fe->group = true;
  *out = fe.get();
  fecs_.try_emplace(fe->index, std::move(fe));
  ++o.groupFecs;
  ++counters_.fecAdds;
  return Fault::none;
}

FpmRouteSource::Fault FpmRouteSource::doPublish(NhObject& o, std::vector<FibModule::Via> const& vias,
                                                std::string* why) {
  if (o.published && o.groupVias == vias) return Fault::none;
  try {
    agent_->module<NhgModule>().groupAdd(groupName(o.o.id), groupId(o.o.id), vias);
  } catch (std::exception const& e) {
    *why = e.what();
    return Fault::refused;
  }
  if (o.published) {
    ++counters_.groupUpdates;
  } else {
    ++counters_.groupAdds;
    ++groups_;
  }
  o.published = true;
  o.groupVias = vias;
  return Fault::none;
}

void FpmRouteSource::doWithdraw(NhObject& o) {
  if (!o.published) return;
  try {
    agent_->module<NhgModule>().groupDel(groupName(o.o.id));
  } catch (std::exception const&) {
    // Not published any more: nothing to undo.
  }
  o.published = false;
  o.groupVias.clear();
  --groups_;
  ++counters_.groupDels;
}

template <class AF>
FpmRouteSource::Fault FpmRouteSource::resolveHops(std::vector<NlNexthop> const& hops, std::vector<FibModule::Via>* vias,
                                                  FecType* type, std::string* why) {
  constexpr bool v6 = AF::version == 6;
  auto intfOf = [&](uint32_t ifindex) -> std::optional<Nollo::IntfId> {
    auto intf = intfLookup_ ? intfLookup_(ifindex) : std::nullopt;
    if (!intf || intf->isNone()) {
      *why = "interface index " + std::to_string(ifindex) + " unknown";
      return std::nullopt;
    }
    return intf;
  };
  if (hops.size() == 1 && !hops[0].gateway) {
    // A connected subnet: the next hop is the destination, on the interface.
    auto intf = intfOf(hops[0].oif);
    if (!intf) return Fault::unknownIntf;
    FibModule::Via v;
    v.hop = Nollo::IpGenAddr(typename AF::Addr{});
    v.intf = *intf;
    vias->push_back(std::move(v));
    *type = FecType::attached;
    return Fault::none;
  }
  for (auto const& h : hops) {
    if (!h.gateway) {
      *why = "a next hop without gateway among " + std::to_string(hops.size());
      return Fault::unsupported;
    }
    if (h.gateway->isV6() != v6) {
      *why = "next hop " + h.gateway->str() + " of the other address family";
      return Fault::familyMismatch;
    }
    auto intf = intfOf(h.oif);
    if (!intf) return Fault::unknownIntf;
    FibModule::Via v;
    v.hop = *h.gateway;
    v.intf = *intf;
    v.weight = h.weight;
    vias->push_back(std::move(v));
  }
  *type = FecType::forward;
  return Fault::none;
}

template <class AF>
FpmRouteSource::Fault FpmRouteSource::resolveObject(NhObject const& o, std::vector<FibModule::Via>* vias, FecType* type,
                                                    std::string* why) {
  if (o.o.blackhole) {
    *type = FecType::drop;
    return Fault::none;
  }
  groupHops_.clear();
  if (o.o.group.empty()) {
    groupHops_.push_back(o.o.nexthop);
    return resolveHops<AF>(groupHops_, vias, type, why);
  }
  size_t blackholes = 0;
  for (auto const& m : o.o.group) {
    auto it = objects_.find(m.id);
    // A deleted member still in a group resolves as it last was.
    if (it == objects_.end()) {
      *why = "member " + std::to_string(m.id) + " of group " + std::to_string(o.o.id) + " unknown";
      return Fault::unknownNexthop;
    }
    auto const& mo = it->second->o;
    if (!mo.group.empty()) {
      *why = "member " + std::to_string(m.id) + " of group " + std::to_string(o.o.id) + " is a group";
      return Fault::unsupported;
    }
    if (mo.blackhole) {
      ++blackholes;
      continue;
    }
    NlNexthop h = mo.nexthop;
    h.weight = m.weight;
    groupHops_.push_back(h);
  }
  if (blackholes == o.o.group.size()) {
    *type = FecType::drop;
    return Fault::none;
  }
  if (blackholes) {
    *why = "group " + std::to_string(o.o.id) + " mixes blackhole and forwarding members";
    return Fault::unsupported;
  }
  return resolveHops<AF>(groupHops_, vias, type, why);
}

FpmRouteSource::Fault FpmRouteSource::doCreateFec(VrfState& vrf, bool v6, FecType type,
                                                  std::vector<FibModule::Via> const& vias, FecEntry** out,
                                                  std::string* why) {
  uint64_t const index = nextFecIndex_;
  try {
    agent_->module<FibModule>().fecAdd(index, vias, vrf.name, type, v6);
  } catch (std::exception const& e) {
    *why = e.what();
    return Fault::refused;
  }
  ++nextFecIndex_;
  auto fe = std::make_unique<FecEntry>();
  fe->index = index;
  fe->fecId = Quill::Fib::FecId::make(Quill::Fib::nexthopAdj(), index);
  fe->vrf = &vrf;
  fe->v6 = v6;
  fe->type = type;
  fe->vias = vias;
  *out = fe.get();
  fecs_.try_emplace(index, std::move(fe));
  ++counters_.fecAdds;
  return Fault::none;
}

void FpmRouteSource::doRef(FecEntry* fe) {
  if (fe->refs++ == 0 && fe->idleUntil != Vix::kNever) {
    fe->idleUntil = Vix::kNever;
    ++counters_.fecReuses;
  }
}

void FpmRouteSource::doUnref(FecEntry* fe) {
  if (--fe->refs) return;
  fe->idleUntil = agent_->loop()->now() + kFecGrace;
  idle_.push_back({fe, fe->idleUntil});
  if (!graceClock_.armed()) graceClock_.timeMinIs(fe->idleUntil);
}

void FpmRouteSource::handleGrace() {
  Vix::Seconds const now = agent_->loop()->now();
  while (!idle_.empty() && idle_.front().due <= now) {
    Idle i = idle_.front();
    idle_.pop_front();
    if (i.fec->refs == 0 && i.fec->idleUntil == i.due) doFecDel(i.fec);
  }
  if (!idle_.empty()) graceClock_.timeMinIs(idle_.front().due);
}

void FpmRouteSource::doFecDel(FecEntry* fe) {
  if (fe->group) {
    auto* em = agent_->module<FibModule>().entityManager().ptr();
    if (fe->v6) em->forwardingStatus<Nollo::Ipv6>(fe->vrf->name.str())->fecDel(fe->fecId);
    else em->forwardingStatus<Nollo::Ipv4>(fe->vrf->name.str())->fecDel(fe->fecId);
  } else {
    try {
      agent_->module<FibModule>().fecDel(fe->index);
    } catch (std::exception const&) {
      // Already gone from the FIB: nothing more to undo there.
    }
  }
  ++counters_.fecDels;
  if (uint32_t const id = fe->nhId) {
    // A detached FEC's key may name its successor already.
    if (auto k = objectFecs_.find(objectKey(fe->vrf->index, fe->v6, id)); k != objectFecs_.end() && k->second == fe)
      objectFecs_.erase(k);
    if (auto oit = objects_.find(id); oit != objects_.end()) {
      NhObject& o = *oit->second;
      o.fecs.erase(std::find(o.fecs.begin(), o.fecs.end(), fe));
      // The group leaves the library with its last FEC: no FEC names it.
      if (fe->group && --o.groupFecs == 0) doWithdraw(o);
    }
    fecs_.erase(fe->index);
    doMaybeEraseObject(id);
    return;
  }
  setFecs_.erase(fe->key);
  fecs_.erase(fe->index);
}

// ---------------------------------------------------------------------------
// Next-hop objects.

void FpmRouteSource::handle(NlNexthopObject const& o) {
  ++messages_;
  if (replayAwaited_) doReplayStarted();
  if (!o.add) return doNexthopDel(o.id);
  auto skip = [&](Fault f, std::string const& why) {
    doSkip(f, o.id, why);
  };
  if (!o.id) return skip(Fault::unsupported, "no id");
  // zebra may announce a group before its members: a member not known yet
  // is linked when it comes, and the group resolves from then on.
  for (auto const& m : o.group) {
    if (m.id == o.id) return skip(Fault::unsupported, "a group naming itself");
    auto it = objects_.find(m.id);
    if (it != objects_.end() && !it->second->o.group.empty())
      return skip(Fault::unsupported, "member " + std::to_string(m.id) + " is a group");
  }
  auto [it, fresh] = objects_.try_emplace(o.id);
  if (fresh) {
    it->second = std::make_unique<NhObject>();
    NhObject& n = *it->second;
    n.o = o;
    n.gen = gen_;
    doParentsIs(o.id, o.group, true);
    ++counters_.nexthopAdds;
    if (auto w = orphans_.find(o.id); w != orphans_.end()) {
      n.parents = std::move(w->second);
      orphans_.erase(o.id);
      doRefreshObject(n);
    }
    return;
  }
  NhObject& n = *it->second;
  if (!o.group.empty() && !n.parents.empty())
    return skip(Fault::unsupported, "a member of a group cannot become a group");
  n.gen = gen_;
  n.gone = false;
  if (n.o.blackhole == o.blackhole && n.o.nexthop == o.nexthop && n.o.group == o.group) {
    ++counters_.nexthopUnchanged;
    return;
  }
  auto oldGroup = std::move(n.o.group);
  n.o = o;
  doParentsIs(o.id, o.group, true);
  doParentsIs(o.id, oldGroup, false);
  ++counters_.nexthopUpdates;
  doRefreshObject(n);
}

void FpmRouteSource::doRefreshObject(NhObject& n) {
  for (FecEntry* fe : n.fecs) doRebuild(*fe);
  for (uint32_t parent : n.parents)
    if (auto it = objects_.find(parent); it != objects_.end())
      for (FecEntry* fe : it->second->fecs) doRebuild(*fe);
}

void FpmRouteSource::doRebuild(FecEntry& fe) {
  NhObject& o = *objects_.find(fe.nhId)->second;
  std::vector<FibModule::Via> vias;
  FecType type = FecType::forward;
  std::string why;
  Fault f = fe.v6 ? resolveObject<Nollo::Ipv6>(o, &vias, &type, &why) : resolveObject<Nollo::Ipv4>(o, &vias, &type, &why);
  if (fe.group) {
    // Replaced in place: the group takes the new members under its id and
    // name, its FECs and routes stay as they are.
    if (f == Fault::none && type != FecType::forward) {
      f = Fault::unsupported;
      why = "a group of blackhole members is no chip next-hop group";
    }
    if (f == Fault::none) f = doPublish(o, vias, &why);
    if (f == Fault::none) return;
    doCount(f);
    FPM_FEC_KEPT.raise(agent_->loop()->now(), fe.nhId, static_cast<unsigned long long>(fe.fecId.index()),
                       fe.vrf->name.str().c_str(), why.c_str());
    return;
  }
  if (f == Fault::none && type == fe.type && vias == fe.vias) return;
  if (f == Fault::none) {
    try {
      agent_->module<FibModule>().fecUpdate(fe.index, vias, type);
      fe.type = type;
      fe.vias = std::move(vias);
      ++counters_.fecUpdates;
      return;
    } catch (std::exception const& e) {
      f = Fault::refused;
      why = e.what();
    }
  }
  doCount(f);
  FPM_FEC_KEPT.raise(agent_->loop()->now(), fe.nhId, static_cast<unsigned long long>(fe.index),
                     fe.vrf->name.str().c_str(), why.c_str());
}

void FpmRouteSource::doParentsIs(uint32_t id, std::vector<NlNexthopObject::Member> const& members, bool add) {
  for (auto const& m : members) {
    auto it = objects_.find(m.id);
    if (it == objects_.end()) {
      if (add) {
        orphans_[m.id].push_back(id);
      } else if (auto w = orphans_.find(m.id); w != orphans_.end()) {
        if (auto p = std::find(w->second.begin(), w->second.end(), id); p != w->second.end()) w->second.erase(p);
        if (w->second.empty()) orphans_.erase(m.id);
      }
      continue;
    }
    auto& parents = it->second->parents;
    if (add) {
      parents.push_back(id);
      continue;
    }
    if (auto p = std::find(parents.begin(), parents.end(), id); p != parents.end()) parents.erase(p);
    doMaybeEraseObject(m.id);
  }
}

void FpmRouteSource::doNexthopDel(uint32_t id) {
  auto it = objects_.find(id);
  if (it == objects_.end() || it->second->gone) {
    ++counters_.nexthopDelUnknown;
    return;
  }
  // Routes still naming it keep their FEC until they go (zebra withdraws
  // them first); new routes and groups may not name it.
  it->second->gone = true;
  ++counters_.nexthopDels;
  doMaybeEraseObject(id);
}

void FpmRouteSource::doMaybeEraseObject(uint32_t id) {
  auto it = objects_.find(id);
  if (it == objects_.end()) return;
  NhObject& n = *it->second;
  if (!n.gone || !n.fecs.empty() || !n.parents.empty()) return;
  auto members = std::move(n.o.group);
  objects_.erase(id);
  doParentsIs(id, members, false);
}

// ---------------------------------------------------------------------------
// The hardware's next-hop group flag.

// Re-expressing writes routes: done on a loop turn of its own, not inside
// the hardware status's notification.
void FpmRouteSource::handleGroupSupported() { modeClock_.timeMinIs(agent_->loop()->now()); }

void FpmRouteSource::doModeChange() {
  bool const on = agent_->module<ChipModule>().hwStatus()->nexthopGroupSupported();
  if (on == groupMode_) return;
  groupMode_ = on;
  ++counters_.modeChanges;
  // The object FECs of the other kind leave the keys, so the routes below
  // take FECs of the new kind under them; the old ones go with their last
  // route, after the grace.
  std::vector<uint64_t> keys;
  for (auto const& [k, fe] : objectFecs_) {
    bool const wantGroup = on && (fe->group || fe->type == FecType::forward) &&
                           !objects_.find(fe->nhId)->second->o.group.empty();
    if (fe->group != wantGroup) keys.push_back(k);
  }
  for (uint64_t k : keys) {
    objectFecs_.find(k)->second->detached = true;
    objectFecs_.erase(k);
  }
  if (keys.empty()) return;
  for (auto const& v : vrfs_) {
    doReexpress<Nollo::Ipv4>(*v);
    doReexpress<Nollo::Ipv6>(*v);
  }
}

template <class AF>
void FpmRouteSource::doReexpress(VrfState& vrf) {
  auto& t = vrf.template table<AF>();
  for (auto& [p, e] : t.routes) {
    if (FecEntry* fe = reexpressed<AF>(vrf, e.fec)) {
      FecEntry* old = e.fec;
      e.fec = fe;
      doRef(fe);
      t.fib->routeIs(Quill::Fib::RouteT<AF>(p, fe->fecId));
      doUnref(old);
      ++counters_.routeMoves;
    }
  }
  for (auto& [p, others] : t.others)
    for (auto& c : others)
      if (FecEntry* fe = reexpressed<AF>(vrf, c.fec)) {
        doRef(fe);
        doUnref(c.fec);
        c.fec = fe;
      }
}

// The FEC a route on `fe` moves to, or null: `fe` stays (not detached, or
// the new kind cannot be had - the route keeps forwarding as it did).
template <class AF>
FpmRouteSource::FecEntry* FpmRouteSource::reexpressed(VrfState& vrf, FecEntry* fe) {
  if (!fe->detached) return nullptr;
  FecEntry* out = nullptr;
  std::string why;
  if (Fault f = objectFec<AF>(vrf, *objects_.find(fe->nhId)->second, &out, &why); f != Fault::none) {
    doCount(f);
    FPM_FEC_KEPT.raise(agent_->loop()->now(), fe->nhId, static_cast<unsigned long long>(fe->fecId.index()),
                       vrf.name.str().c_str(), why.c_str());
    return nullptr;
  }
  return out;
}

// ---------------------------------------------------------------------------
// Connections and the stale sweep.

void FpmRouteSource::handleConnectionUp() {
  ++counters_.connections;
  gen_ = (gen_ + 1) & kGenMask;
  sweeping_ = false;
  stale4_.clear();
  stale6_.clear();
  // The sweep's quiet period starts with the replay's first message: a
  // connection that sends nothing has replayed nothing, and removes nothing.
  sweepClock_.timeMinIs(Vix::kNever);
  replayAwaited_ = true;
}

void FpmRouteSource::doReplayStarted() {
  replayAwaited_ = false;
  messagesAtCheck_ = messages_;
  sweepClock_.timeMinIs(agent_->loop()->now() + staleQuiet_);
}

void FpmRouteSource::handleConnectionDown() {
  sweepClock_.timeMinIs(Vix::kNever);
  replayAwaited_ = false;
  sweeping_ = false;
  stale4_.clear();
  stale6_.clear();
}

template <class AF>
void FpmRouteSource::doCollectStale(VrfState& vrf) {
  auto& out = [&]() -> auto& {
    if constexpr (AF::version == 6) return stale6_;
    else return stale4_;
  }();
  for (auto const& [p, e] : vrf.template table<AF>().routes)
    if (stale(e.gen) || e.alt) out.emplace_back(&vrf, p);
}

template <class AF>
void FpmRouteSource::doSweepOne(Table<AF>& t, Nollo::IpPrefixT<AF> const& p) {
  auto it = t.routes.find(p);
  if (it == t.routes.end()) return;
  Entry& e = it->second;
  if (e.alt) {
    auto& others = t.others.find(p)->second;
    for (auto c = others.begin(); c != others.end();) {
      if (!stale(c->gen)) {
        ++c;
        continue;
      }
      doUnref(c->fec);
      c = others.erase(c);
      ++counters_.routeStale;
    }
    if (others.empty()) {
      t.others.erase(p);
      e.alt = 0;
    }
  }
  if (!stale(e.gen)) return;
  doRemoveCurrent(t, p, e);
  ++counters_.routeStale;
}

void FpmRouteSource::handleSweep() {
  Vix::Seconds const now = agent_->loop()->now();
  if (!sweeping_) {
    if (messages_ != messagesAtCheck_) {
      // Still replaying: wait for a whole quiet period.
      messagesAtCheck_ = messages_;
      sweepClock_.timeMinIs(now + staleQuiet_);
      return;
    }
    sweeping_ = true;
    staleAtStart_ = counters_.routeStale;
    for (auto const& v : vrfs_) {
      doCollectStale<Nollo::Ipv4>(*v);
      doCollectStale<Nollo::Ipv6>(*v);
    }
  }
  for (size_t budget = kSweepBatch; budget && (!stale4_.empty() || !stale6_.empty()); --budget) {
    if (!stale4_.empty()) {
      auto [v, p] = stale4_.back();
      stale4_.pop_back();
      doSweepOne(v->t4, p);
    } else {
      auto [v, p] = stale6_.back();
      stale6_.pop_back();
      doSweepOne(v->t6, p);
    }
  }
  if (!stale4_.empty() || !stale6_.empty()) {
    sweepClock_.timeMinIs(now);
    return;
  }
  sweeping_ = false;
  // Next-hop objects last: the stale routes that named them are gone.
  std::vector<uint32_t> ids;
  for (auto const& [id, n] : objects_)
    if (stale(n->gen) && !n->gone) ids.push_back(id);
  for (uint32_t id : ids) {
    objects_.find(id)->second->gone = true;
    ++counters_.nexthopStale;
    doMaybeEraseObject(id);
  }
  FPM_STALE_REMOVED.raise(now, static_cast<unsigned long long>(counters_.routeStale - staleAtStart_),
                          static_cast<unsigned long long>(ids.size()));
}

// ---------------------------------------------------------------------------
// Bad input and the show.

void FpmRouteSource::doCount(Fault f) {
  switch (f) {
    case Fault::none: break;
    case Fault::unknownTable: ++counters_.unknownTable; break;
    case Fault::unknownNexthop: ++counters_.unknownNexthop; break;
    case Fault::unknownIntf: ++counters_.unknownIntf; break;
    case Fault::familyMismatch: ++counters_.familyMismatch; break;
    case Fault::unsupported: ++counters_.unsupported; break;
    case Fault::refused: ++counters_.refused; break;
  }
}

void FpmRouteSource::doSkip(Fault f, std::string const& prefix, uint32_t table, std::string const& why) {
  doCount(f);
  FPM_ROUTE_SKIPPED.raise(agent_->loop()->now(), prefix.c_str(), table, why.c_str());
}

void FpmRouteSource::doSkip(Fault f, uint32_t nhId, std::string const& why) {
  doCount(f);
  FPM_NEXTHOP_SKIPPED.raise(agent_->loop()->now(), nhId, why.c_str());
}

std::string FpmRouteSource::show(bool json) const {
  size_t r4 = 0, r6 = 0, idle = 0;
  for (auto const& v : vrfs_) {
    r4 += v->t4.routes.size();
    r6 += v->t6.routes.size();
  }
  for (auto const& [i, fe] : fecs_) idle += fe->refs == 0;
  auto const& c = counters_;
  std::pair<char const*, uint64_t> const groups[][7] = {
      {{"writes", c.routeWrites}, {"unchanged", c.routeUnchanged}, {"shadowed", c.routeShadowed},
       {"deletes", c.routeDels}, {"deleteUnknown", c.routeDelUnknown}, {"stale", c.routeStale}, {nullptr, 0}},
      {{"adds", c.nexthopAdds}, {"updates", c.nexthopUpdates}, {"unchanged", c.nexthopUnchanged},
       {"deletes", c.nexthopDels}, {"deleteUnknown", c.nexthopDelUnknown}, {"stale", c.nexthopStale}, {nullptr, 0}},
      {{"adds", c.fecAdds}, {"updates", c.fecUpdates}, {"reuses", c.fecReuses}, {"deletes", c.fecDels},
       {nullptr, 0}},
      {{"unknownTable", c.unknownTable}, {"unknownNexthop", c.unknownNexthop}, {"unknownInterface", c.unknownIntf},
       {"familyMismatch", c.familyMismatch}, {"unsupported", c.unsupported}, {"refused", c.refused}, {nullptr, 0}},
  };
  std::pair<char const*, uint64_t> const groupsLine[] = {
      {"held", groups_}, {"adds", c.groupAdds}, {"updates", c.groupUpdates}, {"deletes", c.groupDels},
      {"modeChanges", c.modeChanges}, {"routeMoves", c.routeMoves}, {nullptr, 0}};
  char const* const names[] = {"routes", "nexthops", "fecs", "skipped", "groups"};
  auto line = [&](size_t g) -> std::pair<char const*, uint64_t> const* { return g < 4 ? groups[g] : groupsLine; };
  char const* const mode = groupMode_ ? "nexthopGroups" : "fecs";
  std::ostringstream os;
  if (json) {
    os << "{\"ipv4Routes\": " << r4 << ", \"ipv6Routes\": " << r6 << ", \"fecs\": " << fecs_.size()
       << ", \"idleFecs\": " << idle << ", \"nexthopObjects\": " << objects_.size()
       << ", \"connections\": " << c.connections << ", \"sweepPending\": " << (sweepPending() ? "true" : "false")
       << ", \"mode\": \"" << mode << '"';
    for (size_t g = 0; g < 5; ++g) {
      os << ", \"" << names[g] << "\": {";
      for (size_t i = 0; line(g)[i].first; ++i) os << (i ? ", " : "") << '"' << line(g)[i].first << "\": " << line(g)[i].second;
      os << "}";
    }
    os << "}";
    return os.str();
  }
  os << "fpm routes: ipv4 " << r4 << ", ipv6 " << r6 << "; fecs " << fecs_.size() << " (idle " << idle
     << "); next-hop objects " << objects_.size() << " as " << (groupMode_ ? "next-hop groups" : "FECs")
     << "; connections " << c.connections
     << (replayAwaited_ ? "; stale sweep waits for the replay" : sweepPending() ? "; stale sweep pending" : "")
     << "\n";
  for (size_t g = 0; g < 5; ++g) {
    os << "  " << names[g] << ":";
    for (size_t i = 0; line(g)[i].first; ++i) os << (i ? ", " : " ") << line(g)[i].first << " " << line(g)[i].second;
    os << "\n";
  }
  return os.str();
}

}  // namespace KorAgent
