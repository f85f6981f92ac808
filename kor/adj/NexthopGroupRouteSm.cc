#include "kor/adj/NexthopGroupRouteSm.h"

#include <set>

#include "kor/common/KorAssert.h"
#include "quill/FecId.h"
#include "vix/NestedReactor.h"

namespace Kor {

class NexthopGroupRouteSm::VixStatus : public Vix::NestedReactor<NexthopGroupRouteSm, NexthopGroup::Status::Notifiee> {
 public:
  void handleGroup(std::string const& name) override { sm_->handleNextHopEntryListColl(name); }
};

class NexthopGroupRouteSm::VixWatched
    : public Vix::NestedReactor<NexthopGroupRouteSm, NexthopGroup::WatchedNexthopGroupConfig::Notifiee> {
 public:
  void handleGroup(std::string const& name) override { sm_->handleWatched(name); }
};

NexthopGroupRouteSm::NexthopGroupRouteSm(Vix::Ptr<KorCommonSmData> const& acsd, VrfName const& vrfName,
                                         Vix::Ptr<NexthopGroup::WatchedNexthopGroupConfig> const& watched,
                                         Vix::Ptr<NexthopGroup::Status const> const& status)
    : KorBaseSm(acsd, "KorNexthopGroupRouteSm"), vrfName_(vrfName), watched_(watched), status_(status) {
  if (status_)
    for (auto const& [name, group] : status_->groupMap()) {
      statusIdToName_[group.id()] = name;
      statusNameToId_[name] = group.id();
    }
  vixReactors_.watch<VixStatus>(status_);
  vixReactors_.watch<VixWatched>(watched_);
}

NexthopGroupRouteSm::~NexthopGroupRouteSm() = default;

uint64_t NexthopGroupRouteSm::adjIndexFromNexthopGroupId(uint64_t nhgId) {
  return Quill::Fib::FecId::make(Quill::Fib::AdjType::nextHopGroupAdj, nhgId).value();
}

uint64_t NexthopGroupRouteSm::nexthopGroupIdFromAdjIndex(uint64_t adjIndex) {
  Quill::Fib::FecId fecId(adjIndex);
  if (fecId.adjType() != Quill::Fib::AdjType::nextHopGroupAdj) korAssert("adjType == Quill::Fib::nextHopGroupAdj()");
  return fecId.index();
}

Vix::Ptr<NexthopGroupSm> NexthopGroupRouteSm::nexthopGroupSm(uint64_t nhgId) const {
  auto it = nexthopGroupSm_.find(nhgId);
  return it == nexthopGroupSm_.end() ? nullptr : it->second;
}

NexthopGroup::Group const* NexthopGroupRouteSm::publishedGroup(uint64_t nhgId) const {
  auto it = statusIdToName_.find(nhgId);
  if (it == statusIdToName_.end() || !status_) return nullptr;
  auto g = status_->groupMap().find(it->second);
  return g == status_->groupMap().end() ? nullptr : &g->second;
}

std::optional<uint64_t> NexthopGroupRouteSm::handleWatchedNexthopGroup(std::string const& name) {
  if (auto it = nexthopGroupNameToId_.find(name); it != nexthopGroupNameToId_.end()) {
    KOR_TRACE(8, "Found nhgId in nameToId mapping");
    return it->second;
  }
  if (status_) {
    auto it = status_->groupMap().find(name);
    if (it != status_->groupMap().end()) {
      KOR_TRACE(8, "Found nhgId in nexthopGroup status");
      return it->second.id();
    }
  }
  KOR_TRACE(5, "Id of nexthop group " << name << " is not known");
  return std::nullopt;
}

void NexthopGroupRouteSm::doMapName(uint64_t nhgId, std::string const& name) {
  auto sm = nexthopGroupSm(nhgId);
  if (!sm) return;
  if (!sm->name().empty()) {
    nexthopGroupNameToId_.erase(sm->name());
    nexthopGroupIdToName_.erase(nhgId);
  }
  sm->nameIs(name);
  if (name.empty()) return;
  nexthopGroupNameToId_[name] = nhgId;
  nexthopGroupIdToName_[nhgId] = name;
}

Vix::Ptr<NexthopGroupSm> NexthopGroupRouteSm::doCreateNexthopGroupSm(uint64_t nhgId, uint64_t adjIndex) {
  auto& sm = nexthopGroupSm_[nhgId];
  if (!sm) {
    KOR_TRACE(5, "doCreateNexthopGroupSm nhgId: " << nhgId << ", vrf: " << vrfName_);
    sm = Vix::makePtr<NexthopGroupSm>(acsd(), nhgId);
    auto it = statusIdToName_.find(nhgId);
    if (it != statusIdToName_.end()) doMapName(nhgId, it->second);
  }
  sm->doAddRef(adjIndex);
  return sm;
}

void NexthopGroupRouteSm::doReleaseNexthopGroupSm(uint64_t nhgId, uint64_t adjIndex) {
  auto it = nexthopGroupSm_.find(nhgId);
  if (it == nexthopGroupSm_.end()) {
    korAssert("nexthopGroupSm");
    return;
  }
  if (it->second->doDelRef(adjIndex)) return;
  if (!it->second->name().empty()) {
    KOR_TRACE(5, "Remove nameToId for " << it->second->name());
    nexthopGroupNameToId_.erase(it->second->name());
    nexthopGroupIdToName_.erase(nhgId);
  }
  KOR_TRACE(5, "Delete nexthopGroupSm nhgId: " << nhgId << ", vrf: " << vrfName_);
  nexthopGroupSm_.erase(it);
}

bool NexthopGroupRouteSm::doCreateNexthopGroupSmForAdj(uint64_t adjIndex) {
  if (!groupAdjs_.insert(adjIndex).second) return false;
  doCreateNexthopGroupSm(nexthopGroupIdFromAdjIndex(adjIndex), adjIndex);
  return true;
}

void NexthopGroupRouteSm::doReleaseNexthopGroupSmForAdj(uint64_t adjIndex) {
  if (!groupAdjs_.erase(adjIndex)) return;
  doReleaseNexthopGroupSm(nexthopGroupIdFromAdjIndex(adjIndex), adjIndex);
}

void NexthopGroupRouteSm::doReview(uint64_t nhgId) {
  if (nexthopGroupSm_.count(nhgId) && reviewHandler_) reviewHandler_(adjIndexFromNexthopGroupId(nhgId));
}

void NexthopGroupRouteSm::handleNextHopEntryListColl(std::string const& name) {
  std::optional<uint64_t> oldId, newId;
  if (auto it = statusNameToId_.find(name); it != statusNameToId_.end()) oldId = it->second;
  if (status_) {
    auto it = status_->groupMap().find(name);
    if (it != status_->groupMap().end()) newId = it->second.id();
  }
  if (oldId) {
    statusNameToId_.erase(name);
    auto it = statusIdToName_.find(*oldId);
    if (it != statusIdToName_.end() && it->second == name) statusIdToName_.erase(it);
  }
  if (newId) {
    // An id taken over from another name leaves that name unpublished here.
    auto it = statusIdToName_.find(*newId);
    if (it != statusIdToName_.end() && it->second != name) statusNameToId_.erase(it->second);
    statusIdToName_[*newId] = name;
    statusNameToId_[name] = *newId;
  }
  std::set<uint64_t> ids;
  if (oldId) ids.insert(*oldId);
  if (newId) ids.insert(*newId);
  for (uint64_t id : ids) {
    KOR_TRACE(5, "NextHopEntryListColl change for nhReqId: " << id << ", nexthop group " << name);
    auto published = statusIdToName_.find(id);
    doMapName(id, published == statusIdToName_.end() ? std::string() : published->second);
    doReview(id);
  }
  // A request for the group follows its id.
  if (watched_ && (watched_->groupHas(name) || requests_.count(name))) handleWatched(name);
}

void NexthopGroupRouteSm::handleWatched(std::string const& name) {
  bool wanted = watched_ && watched_->group(name);
  std::optional<uint64_t> id;
  if (wanted) id = handleWatchedNexthopGroup(name);
  auto held = requests_.find(name);
  if (held != requests_.end()) {
    if (id && *id == held->second) return;
    uint64_t oldId = held->second;
    requests_.erase(held);
    KOR_TRACE(5, "deleting the nexthopGroupRequest in nexthopGroupConfig " << name);
    uint64_t adjIndex = adjIndexFromNexthopGroupId(oldId);
    if (requestHandler_) requestHandler_(adjIndex, false);
    doReleaseNexthopGroupSm(oldId, adjIndex);
  }
  if (!id) return;
  uint64_t nhgId = id.value_or(0);
  KOR_TRACE(5, "requesting the nexthopGroup resolution " << name << ", nhgId: " << nhgId);
  requests_[name] = nhgId;
  uint64_t adjIndex = adjIndexFromNexthopGroupId(nhgId);
  doCreateNexthopGroupSm(nhgId, adjIndex);
  if (requestHandler_) requestHandler_(adjIndex, true);
}

void NexthopGroupRouteSm::handleVerify() {
  std::string faults;
  for (auto const& [name, id] : nexthopGroupNameToId_) {
    auto back = nexthopGroupIdToName_.find(id);
    if (back == nexthopGroupIdToName_.end() || back->second != name)
      faults += "group " + name + " id " + std::to_string(id) + " has no id-to-name entry; ";
    if (!nexthopGroupSm_.count(id)) faults += "group " + name + " id " + std::to_string(id) + " has no machine; ";
  }
  if (nexthopGroupIdToName_.size() != nexthopGroupNameToId_.size())
    faults += "name and id maps differ in size; ";
  if (faults.empty())
    KOR_VERIFY_REPORT(KorTypes::verifySuccess, "vrf " + vrfName_.str() + " next-hop groups consistent");
  else
    KOR_VERIFY_REPORT(KorTypes::verifyFail, "vrf " + vrfName_.str() + ": " + faults);
}

}  // namespace Kor
