#include "kor/records/L3Status.h"

namespace Kor {

namespace {

template <class F>
bool anyVrf(std::map<VrfName, Vix::Ptr<VrfL3Status>> const& m, F f) {
  for (auto const& [name, s] : m)
    if (f(*s)) return true;
  return false;
}

template <class F>
uint64_t sumVrfs(std::map<VrfName, Vix::Ptr<VrfL3Status>> const& m, F f) {
  uint64_t n = 0;
  for (auto const& [name, s] : m) n += f(*s);
  return n;
}

}  // namespace

L3Status::L3Status(std::string name)
    : Entity(std::move(name)),
      bfdV4StatusInfo_(Vix::makePtr<BfdStatusInfo>("bfdV4StatusInfo")),
      bfdV6StatusInfo_(Vix::makePtr<BfdStatusInfo>("bfdV6StatusInfo")) {}

bool L3Status::routingEnabledInAnyVrf() const {
  return anyVrf(vrfL3Status_, [](auto const& s) { return s.routingEnabled(); });
}
bool L3Status::routing6EnabledInAnyVrf() const {
  return anyVrf(vrfL3Status_, [](auto const& s) { return s.routing6Enabled(); });
}
bool L3Status::routingEnabledInDefaultVrf() const {
  auto s = vrfL3Status(VrfName(VrfName::defaultVrfName));
  return s && s->routingEnabled();
}
bool L3Status::routing6EnabledInDefaultVrf() const {
  auto s = vrfL3Status(VrfName(VrfName::defaultVrfName));
  return s && s->routing6Enabled();
}

void L3Status::vrfIdPairIs(Kor::VrfName const& name, VrfId id) {
  auto old = vrfId_.find(name);
  if (old != vrfId_.end()) {
    if (old->second == id) return;
    vrfIdPairDel(name);
  }
  auto taken = vrfName_.find(id);
  if (taken != vrfName_.end()) vrfIdPairDel(taken->second);
  vrfName_[id] = name;
  vrfId_[name] = id;
  notify(&Notifiee::handleVrfName, id);
  notify(&Notifiee::handleVrfId, name);
}

void L3Status::vrfIdPairDel(Kor::VrfName const& name) {
  auto it = vrfId_.find(name);
  if (it == vrfId_.end()) return;
  VrfId id = it->second;
  vrfId_.erase(it);
  vrfName_.erase(id);
  notify(&Notifiee::handleVrfName, id);
  notify(&Notifiee::handleVrfId, name);
}

Kor::VrfName L3Status::vrfName(VrfId const& id) const {
  auto it = vrfName_.find(id);
  return it == vrfName_.end() ? Kor::VrfName() : it->second;
}

VrfId L3Status::vrfId(Kor::VrfName const& name) const {
  auto it = vrfId_.find(name);
  return it == vrfId_.end() ? VrfId() : it->second;
}

void L3Status::adjEntryUpdatesDel(Vix::Ptr<AdjEntry> const& adjEntry) {
  adjUpdateListDel(adjEntry);
  adjUpdate6ListDel(adjEntry);
  nexthopAdjUpdateListDel(adjEntry);
}

bool L3Status::waitForRoutingDisabledInVrfs() const {
  return anyVrf(vrfL3Status_, [](auto const& s) { return s.waitForRoutingDisabled(); });
}
bool L3Status::waitForRouting6DisabledInVrfs() const {
  return anyVrf(vrfL3Status_, [](auto const& s) { return s.waitForRouting6Disabled(); });
}
bool L3Status::v4SyncPendingInAnyVrf() const {
  return anyVrf(vrfL3Status_, [](auto const& s) { return !s.endOfV4SyncDone(); });
}
bool L3Status::v6SyncPendingInAnyVrf() const {
  return anyVrf(vrfL3Status_, [](auto const& s) { return !s.endOfV6SyncDone(); });
}
bool L3Status::unprogrammedV4RoutesInAnyVrf() const {
  return anyVrf(vrfL3Status_, [](auto const& s) { return s.numUnprogrammedRoutes() != 0; });
}
bool L3Status::unprogrammedV6RoutesInAnyVrf() const {
  return anyVrf(vrfL3Status_, [](auto const& s) { return s.numUnprogrammedV6Routes() != 0; });
}
uint64_t L3Status::numUnprogrammedRoutes() const {
  return sumVrfs(vrfL3Status_, [](auto const& s) { return s.numUnprogrammedRoutes(); });
}
uint64_t L3Status::numUnprogrammedV6Routes() const {
  return sumVrfs(vrfL3Status_, [](auto const& s) { return s.numUnprogrammedV6Routes(); });
}
uint64_t L3Status::numParentDropRoutes() const {
  return sumVrfs(vrfL3Status_, [](auto const& s) { return s.numParentDropRoutes(); });
}
uint64_t L3Status::numParentDropV6Routes() const {
  return sumVrfs(vrfL3Status_, [](auto const& s) { return s.numParentDropV6Routes(); });
}

}  // namespace Kor
