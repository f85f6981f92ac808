#include "agent/fib/FibModule.h"
#include "agent/fpm/FpmRouteSource.h"

#include <algorithm>
#include <exception>
#include <sstream>

#include "agent/chip/ChipModule.h"
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
  VrfState(FpmRouteSource* owner, Kor::VrfName const& n, uint32_t i, FibModule& fib)
      : name(n), index(i), t4(owner, fib.fibRoutes4(n)), t6(owner, fib.fibRoutes6(n)) {}
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
  // Group mode: the group FECs among `fecs`, which hold its library group.
  uint32_t groupFecs = 0;
};

namespace {


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

size_t FpmRouteSource::MoveKeyHash::operator()(MoveKey const& k) const noexcept {
  return Vix::mixHash(reinterpret_cast<uintptr_t>(k.vrf)) ^ std::hash<FibModule::Prefix>()(k.prefix);
}

FpmRouteSource::FpmRouteSource(Agent* agent, IntfLookup intfLookup, VrfLookup vrfLookup)
    : agent_(agent),
      resolver_(std::move(intfLookup)),
      vrfLookup_(std::move(vrfLookup)),
      graceClock_(agent->loop(), [this] { handleGrace(); }),
      sweepClock_(agent->loop(), [this] { handleSweep(); }),
      publisher_(agent, [this](bool on) { doModeChange(on); }),
      moves_(agent->loop(), [this] { handleMovePass(); }) {
  moves_.laneAdd([this](MoveKey const& k, bool&) { return doMove(k); });
}

// What was written stays in the FIB, as a routing agent's table outlives it.
FpmRouteSource::~FpmRouteSource() = default;

size_t FpmRouteSource::routes() const {
  size_t n = 0;
  for (auto const& v : vrfs_) n += v->t4.size() + v->t6.size();
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
    vrfs_.push_back(
        std::make_unique<VrfState>(this, *name, uint32_t(vrfs_.size()), agent_->module<FibModule>()));
    v = vrfs_.back().get();
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

// zebra's latest message for a prefix replaces a route held for it.
template <class AF>
void FpmRouteSource::doRoute(NlRoute const& r, Nollo::IpPrefixT<AF> const& prefix) {
  bool const wasHeld = held_.drop(r.table, r.prefix, !r.add);
  VrfState* vrf = vrfFor(r.table);
  if (!vrf) return doSkip(Fault::unknownTable, prefix.str(), r.table, "no VRF has this table");
  auto& t = vrf->template table<AF>();
  if (!r.add) {
    if (t.del(prefix, r.priority)) ++counters_.routeDels;
    else if (!wasHeld) ++counters_.routeDelUnknown;
    return;
  }
  FecEntry* fe = nullptr;
  std::string why;
  if (Fault f = fecFor<AF>(*vrf, r, &fe, &why); f != Fault::none) {
    if (f == Fault::unknownNexthop && r.nhId && doHold(r, prefix.str(), why)) return;
    return doSkip(f, prefix.str(), r.table, why);
  }
  switch (t.add(prefix, r.priority, fe, gen_)) {
    case Table<AF>::Added::written: ++counters_.routeWrites; break;
    case Table<AF>::Added::unchanged: ++counters_.routeUnchanged; break;
    case Table<AF>::Added::shadowed: ++counters_.routeShadowed; break;
  }
}

bool FpmRouteSource::doHold(NlRoute const& r, std::string const& prefix, std::string const& why) {
  if (held_.hold(r, gen_)) return true;
  std::string full = why;
  full += "; ";
  full += std::to_string(held_.size());
  full += " routes wait for their next-hop objects already";
  doSkip(Fault::unknownNexthop, prefix, r.table, full);
  return true;
}

// Object `id` came (or changed): the routes waiting for it, or for a group
// it is a member of, are applied as if they came now.
void FpmRouteSource::doReleaseHeld(uint32_t id) {
  if (!held_.size()) return;
  auto it = objects_.find(id);
  if (it == objects_.end()) return;
  std::vector<uint32_t> ids{id};
  ids.insert(ids.end(), it->second->parents.begin(), it->second->parents.end());
  for (uint32_t w : ids)
    for (NlRoute const& r : held_.take(w)) {
      if (auto const* p4 = std::get_if<Nollo::IpPrefix>(&r.prefix)) doRoute<Nollo::Ipv4>(r, *p4);
      else doRoute<Nollo::Ipv6>(r, std::get<Nollo::Ip6Prefix>(r.prefix));
    }
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
    if (Fault f = resolver_.hops<AF>(key_.hops, &vias_, &type, why); f != Fault::none) return f;
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
  bool const group = publisher_.groupMode() && !o.o.group.empty() && type == FecType::forward;
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
  if (!publisher_.publish(o.o.id, vias_, why)) return Fault::refused;
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

template <class AF>
FpmRouteSource::Fault FpmRouteSource::resolveObject(NhObject const& o, std::vector<FibModule::Via>* vias, FecType* type,
                                                    std::string* why) {
  return resolver_.object<AF>(
      o.o,
      [this](uint32_t id) -> NlNexthopObject const* {
        auto it = objects_.find(id);
        return it == objects_.end() ? nullptr : &it->second->o;
      },
      vias, type, why);
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
      if (fe->group && --o.groupFecs == 0) publisher_.withdraw(id);
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
  doNexthopAdd(o);
  doReleaseHeld(o.id);
}

void FpmRouteSource::doNexthopAdd(NlNexthopObject const& o) {
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
    if (f == Fault::none && !publisher_.publish(o.o.id, vias, &why)) f = Fault::refused;
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

// Moving every route in the turn of the change would hold the loop for the
// whole table: the change only detaches the old kind's FECs and queues the
// prefixes over them (a key copy each); the moves' review loop writes them a
// quantum per pass. Until a prefix's pass, its route stays on its old FEC,
// which the library already treats by the new flag (a route over a group
// is unprogrammed for that while when the flag goes off). A route zebra sends
// in the meantime takes the new kind at once; a flag turned back before
// the moves ended finds the queued prefixes' FECs attached again, and they
// stay.
void FpmRouteSource::doModeChange(bool on) {
  ++counters_.modeChanges;
  // The object FECs of the other kind leave the keys, so the routes moved
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
    doQueueMoves<Nollo::Ipv4>(*v);
    doQueueMoves<Nollo::Ipv6>(*v);
  }
  moves_.schedule();
}

template <class AF>
void FpmRouteSource::doQueueMoves(VrfState& vrf) {
  auto& t = vrf.template table<AF>();
  for (auto const& [p, e] : t.routes()) {
    bool move = e.fec->detached;
    if (!move && e.alt)
      for (auto const& c : t.others(p)) move |= c.fec->detached;
    if (move) moves_.enqueue(0, MoveKey{&vrf, p});
  }
}

void FpmRouteSource::handleMovePass() { moves_.runPass(); }

Vix::ReviewAction FpmRouteSource::doMove(MoveKey const& k) {
  if (auto const* p4 = std::get_if<Nollo::IpPrefix>(&k.prefix)) doMoveRoute(*k.vrf, *p4);
  else doMoveRoute(*k.vrf, std::get<Nollo::Ip6Prefix>(k.prefix));
  return Vix::ReviewAction::done;
}

// The prefix's entries on a detached FEC take their object's FEC of the
// kind in force; one whose new FEC cannot be had keeps forwarding as it did.
template <class AF>
void FpmRouteSource::doMoveRoute(VrfState& vrf, Nollo::IpPrefixT<AF> const& p) {
  if (vrf.template table<AF>().move(p, [&](FecEntry* fe) { return reexpressed<AF>(vrf, fe); })) ++counters_.routeMoves;
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
  // The flag turned back first: `fe` is the object's FEC again.
  return out == fe ? nullptr : out;
}

// ---------------------------------------------------------------------------
// Connections and the stale sweep.

void FpmRouteSource::handleConnectionUp() {
  ++counters_.connections;
  gen_ = (gen_ + 1) & Table<Nollo::Ipv4>::kGenMask;
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
  for (auto const& [p, e] : vrf.template table<AF>().routes())
    if (stale(e.gen) || e.alt) out.emplace_back(&vrf, p);
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
      counters_.routeStale += v->t4.sweep(p, gen_);
    } else {
      auto [v, p] = stale6_.back();
      stale6_.pop_back();
      counters_.routeStale += v->t6.sweep(p, gen_);
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
  // Routes the old connection left waiting for objects its successor did
  // not re-send: nothing will release them.
  held_.dropStale(gen_);
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
    r4 += v->t4.size();
    r6 += v->t6.size();
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
  auto const& pc = publisher_.counters();
  auto const& hc = held_.counters();
  std::pair<char const*, uint64_t> const more[][8] = {
      {{"held", publisher_.groups()}, {"adds", pc.adds}, {"updates", pc.updates}, {"deletes", pc.dels},
       {"modeChanges", c.modeChanges}, {"routeMoves", c.routeMoves}, {"routesToMove", moves_.size()}, {nullptr, 0}},
      {{"waiting", held_.size()}, {"limit", held_.limit()}, {"held", hc.held}, {"released", hc.released},
       {"replaced", hc.replaced}, {"dropped", hc.dropped}, {"overflow", hc.overflow}, {nullptr, 0}},
  };
  char const* const names[] = {"routes", "nexthops", "fecs", "skipped", "groups", "heldRoutes"};
  auto line = [&](size_t g) -> std::pair<char const*, uint64_t> const* { return g < 4 ? groups[g] : more[g - 4]; };
  bool const groupMode = publisher_.groupMode();
  char const* const mode = groupMode ? "nexthopGroups" : "fecs";
  std::ostringstream os;
  if (json) {
    os << "{\"ipv4Routes\": " << r4 << ", \"ipv6Routes\": " << r6 << ", \"fecs\": " << fecs_.size()
       << ", \"idleFecs\": " << idle << ", \"nexthopObjects\": " << objects_.size()
       << ", \"connections\": " << c.connections << ", \"sweepPending\": " << (sweepPending() ? "true" : "false")
       << ", \"mode\": \"" << mode << '"';
    for (size_t g = 0; g < 6; ++g) {
      os << ", \"" << names[g] << "\": {";
      for (size_t i = 0; line(g)[i].first; ++i) os << (i ? ", " : "") << '"' << line(g)[i].first << "\": " << line(g)[i].second;
      os << "}";
    }
    os << "}";
    return os.str();
  }
  os << "fpm routes: ipv4 " << r4 << ", ipv6 " << r6 << "; fecs " << fecs_.size() << " (idle " << idle
     << "); next-hop objects " << objects_.size() << " as " << (groupMode ? "next-hop groups" : "FECs")
     << "; connections " << c.connections
     << (replayAwaited_ ? "; stale sweep waits for the replay" : sweepPending() ? "; stale sweep pending" : "")
     << "\n";
  for (size_t g = 0; g < 6; ++g) {
    os << "  " << names[g] << ":";
    for (size_t i = 0; line(g)[i].first; ++i) os << (i ? ", " : " ") << line(g)[i].first << " " << line(g)[i].second;
    os << "\n";
  }
  return os.str();
}

}  // namespace KorAgent
