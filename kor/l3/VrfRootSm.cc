#include "kor/l3/VrfRootSm.h"

#include <sys/resource.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <set>
#include <sstream>

#include "kor/l3/VrfRootSmCliCallback.h"
#include "vix/Log.h"
#include "vix/RangeError.h"

namespace Kor {

VIX_LOG_EVENT(VRF_HW_NOT_PROGRAMMED, 3, "Vrf %s (vrfId %u) not programmed in hardware: %s",
              "The hardware did not take the VRF. It is retried until the hardware takes it; until then its "
              "routes may not forward.",
              "Check the hardware's VRF resources; 'show vrfs' shows the VRF's state.", 0);
VIX_LOG_EVENT(VRF_HW_PROGRAMMED, 5, "Vrf %s (vrfId %u) programmed in hardware after %u retries",
              "The hardware took a VRF it had refused.", "None.", 0);

namespace {

VrfName const kDefaultVrf(VrfName::defaultVrfName);

char const* const kVrfStatusPaths[] = {"forwarding/vrf/status/%s", "routing/vrf/status/%s",
                                       "forwarding6/vrf/status/%s", "routing6/vrf/status/%s"};

std::string vrfStatusPath(char const* format, VrfName const& vrfName) {
  char buf[256];
  std::snprintf(buf, sizeof(buf), format, vrfName.str().c_str());
  return buf;
}

}  // namespace

// The VRF root starts when the agent declares its inputs complete.
class VrfRootSm::VixKorCommonSmData : public Vix::NestedReactor<VrfRootSm, KorCommonSmData::Notifiee> {
 public:
  void onInitialized() override { sm_->initializedIs(notifier()->initialized()); }
};

// Announcements of both routing directories: a change of one VRF's entry.
template <class T>
class VrfRootSm::VixVrfInfoDir : public Vix::NestedReactor<VrfRootSm, typename T::Notifiee> {
 public:
  void handleVrfInfo(std::string const& name) override { this->sm_->doHandleVrfInfoChange(name); }
};

// A VRF waiting for its id from the hardware route status gets it.
class VrfRootSm::VixRouteStatus : public Vix::NestedReactor<VrfRootSm, Routing::Hardware::RouteStatus::Notifiee> {
 public:
  void handleVrfStatus(std::string const& name) override {
    if (!sm_->initialized() || !notifier()->vrfStatusHas(name)) return;
    try {
      VrfName vrfName(name);
      if (!sm_->vrfRootHas(vrfName) && sm_->announced(vrfName)) sm_->handleVrfCreation(vrfName);
    } catch (Vix::RangeError const&) {
    }
  }
};

class VrfRootSm::VixArpVrfIdMap : public Vix::NestedReactor<VrfRootSm, Quill::Arp::VrfIdMap::Notifiee> {
 public:
  void handleVrfName(uint32_t const& id) override {
    if (sm_->initialized()) sm_->handleArpQuillVrfId(id);
  }
};

// The platform's VRF table has room again.
class VrfRootSm::VixL3Status : public Vix::NestedReactor<VrfRootSm, L3Status::Notifiee> {
 public:
  void handleVrfResourceFull() override { sm_->handleVrfResourceFull(); }
};

template <class AF>
class VrfRootSm::VixArpTable : public Vix::NestedReactor<VrfRootSm, typename Quill::Arp::ArpTableT<AF>::Notifiee> {
 public:
  using Table = Quill::Arp::ArpTableT<AF>;
  void handleArpEntry(typename Table::Key const& key) override {
    if (this->sm_->initialized()) this->sm_->template handleNeighEntry<AF>(key);
  }
};

VrfRootSm::VrfRootSm(VrfRootSmInputs const& inputs)
    : KorBaseSm(inputs.acsd, "KorVrfRootSm"),
      in_(inputs),
      clock_(inputs.acsd->activityLoop().ptr(), [this] { doReviewPendingDelete(); }),
      fbuPriorityProcessingTimer_(inputs.acsd->activityLoop().ptr(), [this] { handleFbuPriorityProcessingTimer(); }),
      vrfRetryClock_(inputs.acsd->activityLoop().ptr(), [this] { handleVrfRetry(); }) {
  deleteReviewInterval_ = 1.0;
  totalTimeForRouteUpdates_ = 0.2;
  fbuPriorityProcessingStartDelay_ = 30.0;
  fbuPriorityProcessingV4First_ = 60.0;
  fbuPriorityProcessingEndInterval_ = 60.0;
  fbuRouteProcessQuantaMax_ = maxTimeSlice;
  fbuRouteProcessQuantaMin_ = minTimeSlice;
  fbuAdjProcessQuantaMin_ = minTimeSlice;
  vixReactors_.watch<VixKorCommonSmData>(in_.acsd);
  vixReactors_.watch<VixVrfInfoDir<Routing::VrfInfoDir>>(in_.routingVrfInfoDir);
  if (in_.routing6VrfInfoDir != in_.routingVrfInfoDir)
    vixReactors_.watch<VixVrfInfoDir<Routing6::VrfInfoDir>>(in_.routing6VrfInfoDir);
  vixReactors_.watch<VixRouteStatus>(in_.routingHwRouteStatus);
  vixReactors_.watch<VixL3Status>(in_.l3Status);
  vixReactors_.watch<VixArpVrfIdMap>(in_.arpVrfIdMap);
  vixReactors_.watch<VixArpTable<Nollo::Ipv4>>(in_.arpTableStatus);
  vixReactors_.watch<VixArpTable<Nollo::Ipv6>>(in_.neighTableStatus);
  in_.acsd->verifiableSmAdd(this);
}

VrfRootSm::~VrfRootSm() {
  vixReactors_.clear();
  // Machines report to their root while they live; stop them all first.
  for (auto const& [name, root] : vrfRootMap()) root->doStopSm();
}

bool VrfRootSm::announced(VrfName const& vrfName) const {
  return in_.routingVrfInfoDir->vrfInfo(vrfName.str()) && in_.routing6VrfInfoDir->vrfInfo(vrfName.str());
}

void VrfRootSm::handleInitialized() {
  KOR_TRACE(4, "handleInitialized");
  bool firstRun = !firstRunDone_;
  if (firstRun) {
    firstRunDone_ = true;
    arpDef_ = Vix::makePtr<KorArpDef<Nollo::Ipv4>>("arpDefReqList");
    neighDef_ = Vix::makePtr<KorArpDef<Nollo::Ipv6>>("neighDefReqList");
    for (auto const& [name, info] : in_.routingVrfInfoDir->vrfInfoMap())
      if (info && name.size() <= VrfName::maxBytes) currentStateOnInitIs(VrfName(name), info->routingEnabled());
    for (auto const& [name, info] : in_.routing6VrfInfoDir->vrfInfoMap())
      if (info && name.size() <= VrfName::maxBytes) currentIp6StateOnInitIs(VrfName(name), info->routingEnabled());
  }

  if (!vrfRootHas(kDefaultVrf)) createVrf(VrfId(VrfId::defaultVrfId), kDefaultVrf, false);
  // The default VRF's routing state can only be restored once its
  // VrfL3Status exists.
  if (firstRun && in_.l3Config && in_.l3Config->hitlessRestart()) restoreForHitlessRestart();

  if (firstRun) {
    uint32_t maxVrfs = in_.vrfCapability->maxVrfs();
    KOR_TRACE(1, "MaxVrfs: " << maxVrfs);
    for (uint32_t i = 1; i <= maxVrfs; ++i) freeVrfIndexEnq(VrfId(i));
    for (auto const& [id, name] : in_.l3Status->vrfNameMap()) freeVrfIndexRemove(id);

    cliCallback_ = std::make_unique<VrfRootSmCliCallback>(this);
    if (in_.cliRequestDir) in_.cliRequestDir->callbackIs("VrfRootCli", "kor");
    KOR_TRACE(1, "Kor CliCommand callback has been initialized");
  }

  handleVrfCreation();
  handleStaleVrfsOnInit();
  doStartWaitingVrfs();
  for (auto const& [name, root] : vrfRootMap()) doRebindIntfs(name, root->vrfId());
  if (in_.arpVrfIdMap)
    for (auto const& [id, name] : in_.arpVrfIdMap->vrfNameMap()) handleArpQuillVrfId(id);

  if (acsd()->fbuFastBoot()) {
    KOR_TRACE(1, ", Setting fbuPPTimer to " << fbuPriorityProcessingStartDelay_);
    fbuPriorityProcessingTimer_.timeMinIs(acsd()->activityLoop()->now() + fbuPriorityProcessingStartDelay_);
  }
  vrfCreationCompleteIs(true);
  handleEndOfSync();
  handleEndOfV6Sync();
}

void VrfRootSm::restoreForHitlessRestart() {
  KOR_TRACE(1, ", Syncing current state on init");
  auto status = in_.l3Status->vrfL3Status(kDefaultVrf);
  if (!status || !in_.routingStatusSmHelper) return;
  status->routingEnabledIs(in_.routingStatusSmHelper->routingEnabled(kDefaultVrf));
  status->routing6EnabledIs(in_.routingStatusSmHelper->routing6Enabled(kDefaultVrf));
}

VrfRoot* VrfRootSm::getKorVrfRootFromVrfId(VrfId vrfId) const {
  auto name = in_.l3Status->vrfName(vrfId);
  if (name.empty()) return nullptr;
  return vrfRoot(name).ptr();
}

void VrfRootSm::doHandleVrfInfoChange(std::string const& name) {
  if (!initialized()) return;
  VrfName vrfName;
  try {
    vrfName = VrfName(name);
  } catch (Vix::RangeError const&) {
    KOR_TRACE(0, "Ignoring vrf with a name over 100 bytes: " << name.substr(0, 100));
    return;
  }
  if (announced(vrfName)) {
    handleVrfCreation(vrfName);
    return;
  }
  doDropDeferredRequests(vrfName);
  if (!vrfRootHas(vrfName) || vrfName.isDefault() || pendingDeleteHas(vrfName)) return;
  auto status = in_.l3Status->vrfL3Status(vrfName);
  // A VRF whose routing is still being switched off keeps its machines until
  // the review, so they can unwind what they programmed.
  if (status && (status->waitForRoutingDisabled() || status->waitForRouting6Disabled())) {
    pendingDeleteIs(vrfName, true);
    doScheduleReview();
    return;
  }
  deleteVrf(vrfName);
  doStartWaitingVrfs();
  handleEndOfSync();
  handleEndOfV6Sync();
}

void VrfRootSm::handleVrfCreation(VrfName const& vrfName) {
  if (!announced(vrfName) || pendingDeleteHas(vrfName)) return;
  doHandleVrfCreation(vrfName, false);
}

void VrfRootSm::handleVrfCreation() {
  std::vector<VrfName> names;
  for (auto const& [name, info] : in_.routingVrfInfoDir->vrfInfoMap())
    if (name.size() <= VrfName::maxBytes) names.emplace_back(name);
  for (auto const& name : names) handleVrfCreation(name);
}

void VrfRootSm::doHandleVrfCreation(VrfName const& vrfName, bool hitless) {
  if (auto root = vrfRoot(vrfName)) {
    KOR_TRACE(5, "Vrf already created");
    if (root->routingInfo() == in_.routingVrfInfoDir->vrfInfo(vrfName.str()) &&
        root->routing6Info() == in_.routing6VrfInfoDir->vrfInfo(vrfName.str()))
      return;
    KOR_TRACE(0, "RoutingInfo mismatch!!!");
    KOR_TRACE(0, "Vrf entity mismatch detected. Delete and create back the vrf");
    deleteVrf(vrfName);
  }
  KOR_TRACE(1, "Create vrfRoot for vrf " << vrfName);

  VrfId id(VrfId::defaultVrfId);
  if (vrfName.isDefault()) {
    createVrf(id, vrfName, hitless);
    return;
  }
  auto const& hw = in_.routingHwRouteStatus;
  auto const& hw6 = in_.routing6HwRouteStatus;
  if (auto vrfStatus = hw->vrfStatus(vrfName.str())) {
    uint32_t index = vrfStatus->vrfId();
    auto vrfStatus6 = hw6->vrfStatus(vrfName.str());
    if (!vrfStatus6 || index != vrfStatus6->vrfId())
      korAssert("index == routing6HwRouteStatus()->vrfStatus( vrfName )->vrfId()");
    id = VrfId(index);
    freeVrfIndexRemove(id);
    KOR_TRACE(1, "RoutingHwRouteStatus has vrfId already allocated");
  } else if (in_.allocateVrfId) {
    KOR_TRACE(1, "VrfRootSm needs to allocate vrfId for vrf " << vrfName);
    if (in_.l3Status->vrfIdHas(vrfName) && !in_.l3Status->vrfId(vrfName).isDefault()) {
      // Left by an earlier run over the same L3 status: keep it.
      id = in_.l3Status->vrfId(vrfName);
      freeVrfIndexRemove(id);
      KOR_TRACE(1, "Reusing vrfId " << id);
    } else {
      if (freeVrfIndexSize() == 0) {
        KOR_TRACE(0, "No vrfId to allocate for vrf " << vrfName);
        return;
      }
      id = freeVrfIndexDeq();
      KOR_TRACE(1, "Allocated vrfId " << id);
    }
  } else {
    KOR_TRACE(1, "Not starting vrfRoot. Allocate vrfId " << vrfName);
    return;
  }
  if (id.isDefault()) {
    KOR_TRACE(0, "Got vrfId 0 for vrf " << vrfName << ". Not starting vrfRoot");
    return;
  }
  createVrf(id, vrfName, hitless);
}

void VrfRootSm::createVrf(VrfId vrfId, VrfName const& vrfName, bool hitless) {
  KOR_TRACE(1, ", vrf: " << vrfName << ", vrfId: " << vrfId);
  auto const& l3 = in_.l3Status;
  l3->vrfIdPairIs(vrfName, vrfId);
  if (!in_.packedArgs->routingInfo()) korAssert("packedArgs()->routingInfo()");
  if (!in_.packedArgs->routing6Info()) korAssert("packedArgs()->routing6Info()");
  auto routingInfo = in_.routingVrfInfoDir->vrfInfo(vrfName.str());
  auto routing6Info = in_.routing6VrfInfoDir->vrfInfo(vrfName.str());
  if (!routingInfo) korAssert("routingVrfInfoDir()->vrfInfo( vrfName )");
  if (!routing6Info) korAssert("routing6VrfInfoDir()->vrfInfo( vrfName )");
  auto status = l3->vrfL3Status(vrfName);
  if (!status) status = l3->newVrfL3Status(vrfName);
  // A status kept from an earlier run carries that run's end of sync: the
  // new root's route machines have handed over nothing yet, so its sync
  // starts again and ends with their first complete review, as at start.
  status->endOfV4SyncDoneIs(false);
  status->endOfV6SyncDoneIs(false);
  auto root = Vix::makePtr<VrfRoot>(this, vrfName, vrfId, routingInfo, routing6Info, status);
  vrfRootIs(vrfName, root);
  if (!vrfName.isDefault())
    for (char const* path : kVrfStatusPaths) in_.entityManager->entityIs(vrfStatusPath(path, vrfName), true);
  doProgramVrf(*root);
  vrfCreateCountInc();
  root->initializedIs(true);
  updateTimeSlices();
  if (arpQuillVrfNameToIdHas(vrfName)) {
    root->arpQuillVrfIdIs(arpQuillVrfNameToId(vrfName));
    populateArpInfoOnVrfs({vrfName});
    doDrainDeferredRequests(vrfName);
  }
  doRebindIntfs(vrfName, vrfId);
}

void VrfRootSm::doRebindIntfs(VrfName const& vrfName, VrfId vrfId) {
  if (in_.ipStatus)
    for (auto const& [intf, vrf] : in_.ipStatus->currentVrfMap())
      if (vrf == vrfName.str()) in_.l3Status->l3IntfVrfIdIs(intf, vrfId);
  if (in_.ip6Status)
    for (auto const& [intf, vrf] : in_.ip6Status->currentVrfMap())
      if (vrf == vrfName.str()) in_.l3Status->l3IntfVrfIdIs(intf, vrfId);
}

void VrfRootSm::deleteVrf(VrfName const& vrfName) {
  auto root = vrfRoot(vrfName);
  if (!root) return;
  KOR_TRACE(1, "Delete vrfRoot for vrf " << vrfName);
  VrfId id = root->vrfId();
  // Routes before adjacencies: the stopped route machines took the VRF's
  // routes out of the hand-over lists, then its L2 adjacencies may go.
  root->doStopSm();
  if (auto status = in_.l3Status->vrfL3Status(vrfName)) doReleaseAdjacencies(*status);
  unprogrammedVrfs_.erase(vrfName);
  vrfRootDel(vrfName);
  vrfDeleteCountInc();
  updateTimeSlices();
  auto const& l3 = in_.l3Status;
  l3->vrfL3StatusDel(vrfName);
  l3->vrfIdPairDel(vrfName);
  if (in_.vrfHelper) in_.vrfHelper->vrfDeleted(vrfName, id);
  if (!vrfName.isDefault()) {
    KOR_TRACE(1, "Delete vrfStatus");
    freeVrfIndexEnq(id);
    for (char const* path : kVrfStatusPaths) in_.entityManager->entityDel(vrfStatusPath(path, vrfName));
  }
  // Interfaces bound into the VRF lose their binding; collect first, the
  // deletions change the maps being walked.
  if (in_.ipStatus) {
    std::vector<Nollo::IntfId> bound;
    for (auto const& [intf, vrf] : in_.ipStatus->currentVrfMap())
      if (vrf == vrfName.str()) bound.push_back(intf);
    for (auto const& intf : bound) {
      KOR_TRACE(1, "Ip4: Making currentVrf of intf: " << intf << " as NULL");
      in_.ipStatus->currentVrfDel(intf);
      l3->l3IntfVrfIdDel(intf);
    }
  }
  if (in_.ip6Status) {
    std::vector<Nollo::IntfId> bound;
    for (auto const& [intf, vrf] : in_.ip6Status->currentVrfMap())
      if (vrf == vrfName.str()) bound.push_back(intf);
    for (auto const& intf : bound) {
      KOR_TRACE(1, "Ip6: Making currentVrf of intf: " << intf << " as NULL");
      in_.ip6Status->currentVrfDel(intf);
      l3->l3IntfVrfIdDel(intf);
    }
  }
}

// Every adjacency record of the VRF leaves its L2 adjacency and the
// platform's update lists; an L2 adjacency nothing else uses leaves the chip
// and L3Status::l2AdjList (the slow-receive one stays, as always). The
// adjacency machine is gone by now: the adjacencies of FECs deleted just
// before the VRF, whose review it never ran, are among them.
void VrfRootSm::doReleaseAdjacencies(VrfL3Status& status) {
  std::vector<Vix::Ptr<AdjEntry>> entries;
  for (auto const& kv : status.adjEntryListMap())
    if (kv.second) entries.push_back(kv.second);
  KOR_TRACE(5, "Release " << entries.size() << " adjs of vrf " << status.vrfName());
  for (auto const& entry : entries) {
    if (in_.l2AdjHelper && entry->l2Adj()) in_.l2AdjHelper->doRemoveAdjEntryFromL2Adj(entry->l2Adj(), *entry);
    entry->l2AdjIs(nullptr);
    in_.l3Status->adjEntryUpdatesDel(entry);
  }
  status.adjEntryListDelAll();
}

// A refusal for lack of room waits for the platform to clear
// L3Status::vrfResourceFull (polling a full table finds it full); a failed
// or not-ready VRF is asked again after vrfRetryInterval, as long as it
// takes.
void VrfRootSm::doProgramVrf(VrfRoot& root) {
  VrfHwState state = in_.vrfHelper ? in_.vrfHelper->vrfCreated(root.vrfName(), root.vrfId())
                                   : VrfHwState::vrfHwInstalled;
  if (state == VrfHwState::vrfHwPending) state = VrfHwState::vrfHwFailed;
  root.hwStateIs(state);
  Vix::Seconds now = acsd()->activityLoop()->now();
  if (state == VrfHwState::vrfHwInstalled) {
    if (unprogrammedVrfs_.erase(root.vrfName())) {
      KOR_TRACE(1, "Vrf " << root.vrfName() << " programmed after " << root.hwRetries() << " retries");
      VRF_HW_PROGRAMMED.raise(now, root.vrfName().str().c_str(), root.vrfId().value(), root.hwRetries());
    }
    return;
  }
  KOR_TRACE(1, "Vrf " << root.vrfName() << " not programmed: " << state);
  if (unprogrammedVrfs_.insert(root.vrfName()).second)
    VRF_HW_NOT_PROGRAMMED.raise(now, root.vrfName().str().c_str(), root.vrfId().value(), toString(state));
  if (state != VrfHwState::vrfHwFull) vrfRetryClock_.timeMinEarlierIs(now + vrfRetryInterval_);
}

void VrfRootSm::doRetryVrfs(bool full) {
  std::vector<VrfName> names(unprogrammedVrfs_.begin(), unprogrammedVrfs_.end());
  for (auto const& name : names) {
    auto root = vrfRoot(name);
    if (!root) {
      unprogrammedVrfs_.erase(name);
      continue;
    }
    if ((root->hwState() == VrfHwState::vrfHwFull) != full) continue;
    KOR_TRACE(5, "Retry programming vrf " << name << ", state: " << root->hwState());
    root->hwRetriesInc();
    doProgramVrf(*root);
  }
}

void VrfRootSm::handleVrfRetry() {
  vrfRetryClock_.timeMinIs(Vix::kNever);
  doRetryVrfs(false);
}

void VrfRootSm::handleVrfResourceFull() {
  if (in_.l3Status->vrfResourceFull() || unprogrammedVrfs_.empty()) return;
  KOR_TRACE(1, "Recovered from vrf resource full condition");
  doRetryVrfs(true);
}

void VrfRootSm::doScheduleReview() {
  if (pendingDeleteSize() == 0) {
    clock_.timeMinIs(Vix::kNever);
    return;
  }
  Vix::Seconds when = acsd()->activityLoop()->now() + deleteReviewInterval_;
  KOR_TRACE(5, "Review for pending delete vrfRoot scheduled at " << when);
  clock_.timeMinIs(when);
}

void VrfRootSm::doReviewPendingDelete() {
  std::vector<VrfName> names;
  for (auto const& [name, pending] : pendingDeleteMap()) names.push_back(name);
  for (auto const& name : names) {
    deleteVrf(name);
    pendingDeleteDel(name);
    // It may have been announced again meanwhile.
    handleVrfCreation(name);
  }
  doStartWaitingVrfs();
  doScheduleReview();
  handleEndOfSync();
  handleEndOfV6Sync();
}

void VrfRootSm::handleStaleVrfsOnInit() {
  auto const& l3 = in_.l3Status;
  std::set<VrfId> ids;
  for (auto const& [key, info] : l3->adjInfoListMap()) ids.insert(key.vrfId);
  for (auto const& [key, info] : l3->adjInfo6ListMap()) ids.insert(key.vrfId);
  for (VrfId id : ids) {
    if (id.isDefault()) continue;
    VrfName name = l3->vrfName(id);
    if (!name.empty() && vrfRootHas(name)) continue;
    KOR_TRACE(1, "Deleting stale vrf " << name);
    std::vector<VrfAndPrefix> routes;
    for (auto const& [key, info] : l3->adjInfoListMap())
      if (key.vrfId == id) routes.push_back(key);
    for (auto const& k : routes) l3->adjInfoListDel(k);
    std::vector<VrfAndIp6Prefix> routes6;
    for (auto const& [key, info] : l3->adjInfo6ListMap())
      if (key.vrfId == id) routes6.push_back(key);
    for (auto const& k : routes6) l3->adjInfo6ListDel(k);
    if (!name.empty()) {
      l3->vrfL3StatusDel(name);
      l3->vrfIdPairDel(name);
    }
    if (id.value() <= in_.vrfCapability->maxVrfs() && !freeVrfIndexHas(id)) freeVrfIndexEnq(id);
  }
  // Name/id pairs of VRFs no longer announced: the hand-over lists that would
  // name them may be gone (a restart drops them), the pair alone must not
  // keep its id out of circulation.
  std::vector<std::pair<VrfId, VrfName>> pairs;
  for (auto const& [id, name] : l3->vrfNameMap())
    if (!id.isDefault() && !vrfRootHas(name) && !announced(name)) pairs.emplace_back(id, name);
  for (auto const& [id, name] : pairs) {
    KOR_TRACE(1, "Deleting stale vrf " << name);
    l3->vrfL3StatusDel(name);
    l3->vrfIdPairDel(name);
    if (id.value() <= in_.vrfCapability->maxVrfs() && !freeVrfIndexHas(id)) freeVrfIndexEnq(id);
  }
  // The hand-over lists may have been lost with the earlier run while its
  // routes stay in the chip: a VRF id no VRF holds now has only stale ones.
  std::set<VrfId> live;
  for (auto const& [name, root] : vrfRootMap()) live.insert(root->vrfId());
  auto purge = [&](auto* helper) {
    if (!helper) return;
    std::vector<VrfId> stale;
    helper->forEachHardwareVrf([&](VrfId id) {
      if (!live.count(id)) stale.push_back(id);
    });
    for (VrfId id : stale) {
      using Prefix = typename std::remove_pointer_t<decltype(helper)>::Prefix;
      std::vector<Prefix> prefixes;
      helper->forEachHardwareRoute(id, [&](Prefix const& p, uint64_t) { prefixes.push_back(p); });
      KOR_TRACE(1, "Deleting " << prefixes.size() << " chip routes of stale vrf id " << id);
      for (auto const& p : prefixes) helper->deleteHardwareRoute(id, p);
    }
  };
  purge(in_.routeSmHelper.ptr());
  purge(in_.route6SmHelper.ptr());
}

bool VrfRootSm::freeVrfIndexHas(VrfId id) const {
  return std::find(freeVrfIndexQueue().begin(), freeVrfIndexQueue().end(), id) != freeVrfIndexQueue().end();
}

void VrfRootSm::doStartWaitingVrfs() {
  if (freeVrfIndexSize() == 0) return;
  std::vector<VrfName> waiting;
  for (auto const& [name, info] : in_.routingVrfInfoDir->vrfInfoMap()) {
    if (name.size() > VrfName::maxBytes) continue;
    VrfName vrfName(name);
    if (!vrfRootHas(vrfName) && !pendingDeleteHas(vrfName) && announced(vrfName)) waiting.push_back(vrfName);
  }
  for (auto const& name : waiting) {
    if (freeVrfIndexSize() == 0) return;
    KOR_TRACE(1, "Vrf " << name << " was waiting for a vrfId");
    handleVrfCreation(name);
  }
}

void VrfRootSm::handleEndOfSync() {
  KOR_TRACE_FUNC();
  if (endOfV4SyncSent_) {
    // Also where a deleted VRF is accounted for: it may have been the last
    // one whose adjacency machine still had FECs to review.
    doMaybeEndL2AdjSync();
    return;
  }
  if (!vrfCreationComplete_) {
    KOR_TRACE(5, "Vrf creation not complete yet");
    return;
  }
  if (in_.l3Status->v4SyncPendingInAnyVrf()) {
    KOR_TRACE(5, "Sync still pending in some vrf");
    return;
  }
  KOR_TRACE(1, "Sending notification for end of sync");
  endOfV4SyncSentIs(true);
  if (endOfV6SyncSent_) in_.l3Status->initializedIs(true);
  doMaybeEndL2AdjSync();
}

void VrfRootSm::handleEndOfV6Sync() {
  KOR_TRACE_FUNC();
  if (endOfV6SyncSent_) return;
  if (!vrfCreationComplete_) {
    KOR_TRACE(5, "Vrf creation not complete yet");
    return;
  }
  if (in_.l3Status->v6SyncPendingInAnyVrf()) {
    KOR_TRACE(5, "Sync still pending in some vrf");
    return;
  }
  KOR_TRACE(1, "Sending notification for end of sync");
  endOfV6SyncSentIs(true);
  if (endOfV4SyncSent_) in_.l3Status->initializedIs(true);
  doMaybeEndL2AdjSync();
}

void VrfRootSm::handleAdjReviewDrained() { doMaybeEndL2AdjSync(); }

// The L2 adjacencies the chip held from an earlier run and nobody claimed
// are deleted only when no FEC still on its way can claim one: every VRF's
// initial sync is over and every adjacency machine has reviewed every FEC.
// Before that, deleting one would break traffic that its FEC is about to
// take over again. Each adjacency machine tells when its queues run empty,
// and the end-of-sync announcements and VRF deletions check again, so the
// last of these events ends the helper's sync on whatever loop runs it.
void VrfRootSm::doMaybeEndL2AdjSync() {
  auto const& helper = in_.l2AdjHelper;
  if (!helper || helper->syncEnded() || !endOfV4SyncSent_ || !endOfV6SyncSent_) return;
  for (auto const& [name, root] : vrfRootMap()) {
    auto const& adjSm = root->korAdjSm();
    if (!adjSm || !adjSm->routingSyncInitialized() || adjSm->adjsForReview()) return;
  }
  KOR_TRACE(3, "Every adjacency reviewed: ending the L2 adjacency sync");
  helper->handleEndOfSync();
}

void VrfRootSm::updateTimeSlices() {
  size_t n = vrfRootSize();
  if (n == 0) return;
  Vix::Seconds slice = std::clamp(totalTimeForRouteUpdates_ / double(n), minTimeSlice, maxTimeSlice);
  for (auto const& [name, root] : vrfRootMap()) {
    if (pendingDeleteHas(name)) {
      KOR_TRACE(5, "Skip vrf pending deletion " << name);
      continue;
    }
    if (!root->korRouteSm()->routeStatus()) korAssert("korRouteSm()->routeStatus()");
    if (!root->korRoute6Sm()->routeStatus()) korAssert("korRoute6Sm()->routeStatus()");
    if (!root->korAdjSm()->forwardingStatus()) korAssert("korAdjSm()->forwardingStatus()");
    root->korRouteSm()->quillYieldTimeIs(slice);
    root->korRoute6Sm()->quillYieldTimeIs(slice);
    KOR_TRACE(5, "set routesm yield time to " << slice << ", nVrfs " << n);
    root->korAdjSm()->quillYieldTimeIs(slice);
    KOR_TRACE(5, " set yield time to " << slice);
  }
}

void VrfRootSm::fbuPriorityProcessingStateIs(FbuPriorityProcessingState s) {
  if (s == fbuPriorityProcessingState_) return;
  bool kickstart = fbuPriorityProcessingState_ == FbuPriorityProcessingState::fbuPPInit;
  fbuPriorityProcessingState_ = s;
  notify(&Notifiee::handleFbuPriorityProcessingState);
  if (kickstart) fbuPriorityProcessingTimer_.timeMinIs(acsd()->activityLoop()->now());
}

void VrfRootSm::handleFbuPriorityProcessingTimer() {
  using S = FbuPriorityProcessingState;
  KOR_TRACE(1, " Current state " << fbuPriorityProcessingState_);
  fbuPriorityProcessingTimer_.timeMinIs(Vix::kNever);
  Vix::Seconds now = acsd()->activityLoop()->now();
  switch (fbuPriorityProcessingState_) {
    case S::fbuPPInit:
      KOR_TRACE(1, " kickstart fbu processing");
      if (acsd()->fbuRenice()) {
        errno = 0;
        int normal = getpriority(PRIO_PROCESS, 0);
        if (errno == 0) reniceValueIs(normal);
        renice(acsd()->fbuReniceValue());
        reniceIs(true);
      }
      fbuPriorityProcessingStateIs(S::fbuPPStarted);
      break;
    case S::fbuPPStarted:
      if (!acsd()->fbuFastBoot()) korAssert("acsd()->fbuFastBoot()");
      for (auto const& [name, root] : vrfRootMap()) {
        root->korRouteSm()->quillYieldTimeIs(fbuRouteProcessQuantaMax_);
        root->korRoute6Sm()->quillYieldTimeIs(fbuRouteProcessQuantaMin_);
        root->korAdjSm()->quillYieldTimeIs(fbuAdjProcessQuantaMin_);
      }
      fbuPriorityProcessingStateIs(S::fbuPPV4First);
      fbuPriorityProcessingTimer_.timeMinIs(now + fbuPriorityProcessingV4First_);
      break;
    case S::fbuPPV4First:
      for (auto const& [name, root] : vrfRootMap()) {
        root->korRouteSm()->quillYieldTimeIs(fbuRouteProcessQuantaMin_);
        root->korRoute6Sm()->quillYieldTimeIs(fbuRouteProcessQuantaMax_);
      }
      fbuPriorityProcessingStateIs(S::fbuPPEnd);
      fbuPriorityProcessingTimer_.timeMinIs(now + fbuPriorityProcessingEndInterval_);
      break;
    case S::fbuPPEnd:
      if (acsd()->fbuRenice()) {
        KOR_TRACE(1, " Resetting priority");
        renice(reniceValue_);
        reniceIs(false);
      }
      updateTimeSlices();
      break;
  }
  KOR_TRACE(1, " New state " << fbuPriorityProcessingState_);
}

bool VrfRootSm::renice(int value) {
  if (setpriority(PRIO_PROCESS, 0, value) != 0) {
    KOR_TRACE(0, ": Renice failed " << value);
    KOR_TRACE(0, " Failed");
    return false;
  }
  KOR_TRACE(1, ": Renice " << value);
  return true;
}

void VrfRootSm::handleArpQuillVrfId(uint32_t id) {
  auto const& map = in_.arpVrfIdMap;
  if (map && map->vrfNameHas(id)) {
    VrfName name;
    try {
      name = VrfName(map->vrfName(id));
    } catch (Vix::RangeError const&) {
      KOR_TRACE(0, " could not find vrfName");
      return;
    }
    auto old = arpQuillVrfIdToNameCache(id);
    if (!old.empty() && old != name) {
      arpQuillVrfNameToIdDel(old);
      if (auto oldRoot = vrfRoot(old)) {
        doDeferServedRequests(*oldRoot);
        oldRoot->arpQuillVrfIdIs(VrfRoot::noArpQuillVrfId);
      }
    }
    arpQuillVrfNameToIdIs(name, id);
    arpQuillVrfIdToNameCacheIs(id, name);
    vrfInfoIs(id, VrfRootInfo{name, true, true});
    KOR_TRACE(1, " add vrfId: " << id << " vrfName: " << name);
    auto root = vrfRoot(name);
    if (!root) {
      KOR_TRACE(1, " VrfRoot for vrf '" << name << "' not found.");
      return;
    }
    if (root->arpQuillVrfId() != id) doDeferServedRequests(*root);
    root->arpQuillVrfIdIs(id);
    populateArpInfoOnVrfs({name});
    doDrainDeferredRequests(name);
    return;
  }
  KOR_TRACE(1, " delete vrfId: " << id);
  if (!arpQuillVrfIdToNameCacheHas(id)) {
    KOR_TRACE(1, " could not find vrfName");
    return;
  }
  VrfName name = arpQuillVrfIdToNameCache(id);
  arpQuillVrfIdToNameCacheDel(id);
  arpQuillVrfNameToIdDel(name);
  vrfInfoDel(id);
  if (auto root = vrfRoot(name)) {
    doDeferServedRequests(*root);
    root->arpQuillVrfIdIs(VrfRoot::noArpQuillVrfId);
  }
}

template <class AF>
bool VrfRootSm::doServeRequest(VrfName const& vrfName, typename AF::Addr const& addr) {
  auto root = vrfRoot(vrfName);
  if (!root || !root->korArpSm() || root->arpQuillVrfId() == VrfRoot::noArpQuillVrfId) return false;
  NeighSmT<AF>& sm = [&]() -> NeighSmT<AF>& {
    if constexpr (std::is_same_v<AF, Nollo::Ipv4>) return *root->korArpSm();
    else return *root->korIp6NeighSm();
  }();
  if (sm.doRequestResolution(addr) && resolutionRequestHandler_)
    resolutionRequestHandler_(root->arpQuillVrfId(), Nollo::IpGenAddr(addr));
  return true;
}

void VrfRootSm::doRequestResolution(VrfName const& vrfName, Nollo::IpGenAddr const& addr) {
  // Requests come from users of next hops, which may run before this root
  // started (the lists are made then) or name a VRF nobody announced.
  if (!arpDef_ || !announced(vrfName)) {
    KOR_TRACE(1, "Resolution of " << addr << " requested in unknown vrf " << vrfName);
    return;
  }
  auto defer = [&](auto& list, auto const& a) {
    if (list.requestHas({vrfName, a})) return;
    KOR_TRACE(5, "Resolution of " << addr << " deferred, vrf: " << vrfName);
    list.requestIs({vrfName, a}, true);
  };
  if (addr.isV4()) {
    if (!doServeRequest<Nollo::Ipv4>(vrfName, addr.v4())) defer(*arpDef_, addr.v4());
  } else if (!doServeRequest<Nollo::Ipv6>(vrfName, addr.v6())) {
    defer(*neighDef_, addr.v6());
  }
}

void VrfRootSm::doDrainDeferredRequests(VrfName const& vrfName) {
  auto drain = [&]<class AF>(KorArpDef<AF>& list) {
    std::vector<typename KorArpDef<AF>::DefReq> served;
    for (auto it = list.requestMap().lower_bound({vrfName, {}});
         it != list.requestMap().end() && it->first.vrfName == vrfName; ++it)
      if (doServeRequest<AF>(vrfName, it->first.addr)) served.push_back(it->first);
    if (!served.empty()) KOR_TRACE(5, "Drained " << served.size() << " deferred requests, vrf: " << vrfName);
    for (auto const& r : served) list.requestDel(r);
  };
  if (!arpDef_) return;
  drain(*arpDef_);
  drain(*neighDef_);
}

void VrfRootSm::doDeferServedRequests(VrfRoot const& root) {
  if (!arpDef_) return;
  if (auto const& sm = root.korArpSm())
    for (auto const& a : sm->resolutionRequests()) arpDef_->requestIs({root.vrfName(), a}, true);
  if (auto const& sm = root.korIp6NeighSm())
    for (auto const& a : sm->resolutionRequests()) neighDef_->requestIs({root.vrfName(), a}, true);
}

void VrfRootSm::doDropDeferredRequests(VrfName const& vrfName) {
  auto drop = [&](auto& list) {
    std::vector<typename std::remove_reference_t<decltype(list)>::DefReq> gone;
    for (auto const& [r, waiting] : list.requestMap())
      if (r.vrfName == vrfName) gone.push_back(r);
    if (!gone.empty()) KOR_TRACE(5, "Dropping " << gone.size() << " deferred requests of withdrawn vrf " << vrfName);
    for (auto const& r : gone) list.requestDel(r);
  };
  if (!arpDef_) return;
  drop(*arpDef_);
  drop(*neighDef_);
}

void VrfRootSm::populateArpInfoOnVrfs(std::vector<VrfName> const& vrfNames) {
  std::vector<Vix::Ptr<VrfRoot>> roots;
  for (auto const& name : vrfNames) {
    auto root = vrfRoot(name);
    if (root && root->arpQuillVrfId() != VrfRoot::noArpQuillVrfId) roots.push_back(root);
  }
  if (roots.empty()) {
    KOR_TRACE(5, "No vrfs of interest for ARP population.");
    return;
  }
  for (auto const& root : roots) {
    uint32_t id = root->arpQuillVrfId();
    if (in_.arpTableStatus)
      for (auto const& [key, entry] : in_.arpTableStatus->arpEntryMap()) {
        if (key.vrfId() != id) continue;
        KOR_TRACE(5, "Adding arp entry " << key << " (vrf '" << root->vrfName() << "')");
        root->korArpSm()->arpEntryIs(key, entry);
      }
    if (in_.neighTableStatus)
      for (auto const& [key, entry] : in_.neighTableStatus->arpEntryMap()) {
        if (key.vrfId() != id) continue;
        KOR_TRACE(5, "Adding neigh entry " << key << " (vrf '" << root->vrfName() << "')");
        root->korIp6NeighSm()->arpEntryIs(key, entry);
      }
  }
}

template <class AF>
void VrfRootSm::handleNeighEntry(Quill::Arp::ArpKeyT<AF> const& key) {
  constexpr bool isV4 = std::is_same_v<AF, Nollo::Ipv4>;
  char const* what = isV4 ? "Arp entry " : "Neigh entry ";
  if (!arpQuillVrfIdToNameCacheHas(key.vrfId())) return;
  VrfName name = arpQuillVrfIdToNameCache(key.vrfId());
  auto root = vrfRoot(name);
  if (!root || root->arpQuillVrfId() != key.vrfId()) return;
  Vix::Ptr<Quill::Arp::ArpTableT<AF> const> table;
  if constexpr (isV4) table = in_.arpTableStatus;
  else table = in_.neighTableStatus;
  auto& sm = [&]() -> NeighSmT<AF>& {
    if constexpr (isV4) return *root->korArpSm();
    else return *root->korIp6NeighSm();
  }();
  if (table->arpEntryHas(key)) {
    KOR_TRACE(5, what << key << " (vrf '" << name << "') updated in arp quill");
    sm.arpEntryIs(key, table->arpEntry(key));
  } else {
    KOR_TRACE(5, what << key << " (vrf '" << name << "') deleted from arp quill");
    sm.arpEntryDel(key);
  }
}

template void VrfRootSm::handleNeighEntry<Nollo::Ipv4>(Quill::Arp::ArpKeyT<Nollo::Ipv4> const&);
template void VrfRootSm::handleNeighEntry<Nollo::Ipv6>(Quill::Arp::ArpKeyT<Nollo::Ipv6> const&);

std::string VrfRootSm::doCommand(int socket, std::string const& text) {
  if (!cliCallback_) return "";
  return cliCallback_->doCommand(socket, text);
}

template <class AF>
void VrfRootSm::doShowUnprogrammed(std::ostream& out, bool allVrf, std::string const& vrf) const {
  auto show = [&](VrfRoot const& root) {
    if constexpr (std::is_same_v<AF, Nollo::Ipv4>) root.korRouteSm()->doShowRoutesUnprogrammedInVrf(out, root.vrfName());
    else root.korRoute6Sm()->doShowRoutesUnprogrammedInVrf(out, root.vrfName());
  };
  if (allVrf) {
    for (auto const& [name, root] : vrfRootMap()) show(*root);
    return;
  }
  Vix::Ptr<VrfRoot> root;
  if (vrf.size() <= VrfName::maxBytes) root = vrfRoot(VrfName(vrf));
  if (!root) {
    KOR_TRACE(1, "Vrf " << vrf.substr(0, VrfName::maxBytes) << " not found");
    return;
  }
  show(*root);
}

void VrfRootSm::doShowRoutesUnprogrammed(std::ostream& out, bool allVrf, std::string const& vrf) const {
  doShowUnprogrammed<Nollo::Ipv4>(out, allVrf, vrf);
}

void VrfRootSm::doShowRoutes6Unprogrammed(std::ostream& out, bool allVrf, std::string const& vrf) const {
  doShowUnprogrammed<Nollo::Ipv6>(out, allVrf, vrf);
}

Vix::Ptr<VrfRootSm> vrfRootSmFactory(VrfRootSmInputs const& inputs) {
  Vix::ValidPtr<KorCommonSmData> acsd(inputs.acsd);
  Vix::ValidPtr<L3Status> l3Status(inputs.l3Status);
  Vix::ValidPtr<Ip::VrfCapability const> cap(inputs.vrfCapability);
  Vix::ValidPtr<Routing::PackedArgs const> packed(inputs.packedArgs);
  Vix::ValidPtr<Routing::Hardware::RouteStatus const> hw(inputs.routingHwRouteStatus);
  Vix::ValidPtr<Routing6::Hardware::RouteStatus const> hw6(inputs.routing6HwRouteStatus);
  Vix::ValidPtr<Routing::VrfInfoDir const> dir(inputs.routingVrfInfoDir);
  Vix::ValidPtr<Routing6::VrfInfoDir const> dir6(inputs.routing6VrfInfoDir);
  Vix::ValidPtr<Ledra::EntityManager> em(inputs.entityManager);
  auto sm = Vix::makePtr<VrfRootSm>(inputs);
  // Created after the agent declared its inputs complete: start at once.
  if (acsd->initialized()) sm->initializedIs(true);
  return sm;
}

VrfRoot* getKorVrfRootFromVrfId(Vix::Ptr<VrfRootSm> const& vrfRootSm, VrfId vrfId) {
  return vrfRootSm ? vrfRootSm->getKorVrfRootFromVrfId(vrfId) : nullptr;
}

// The root's invariants: a VRF has a root exactly while L3Status has its
// VrfL3Status and its name/id pair, and an id is either in use or free.
void VrfRootSm::handleVerify() {
  auto const& l3 = *in_.l3Status;
  std::string faults;
  auto fault = [&faults](std::string const& what) { faults += (faults.empty() ? "" : "; ") + what; };
  std::set<uint32_t> used;
  for (auto const& [name, root] : vrfRootMap()) {
    used.insert(root->vrfId().value());
    if (!l3.vrfL3Status(name)) fault("vrf " + name.str() + " has a root but no VrfL3Status");
    if (!l3.vrfIdHas(name) || l3.vrfId(name) != root->vrfId())
      fault("vrf " + name.str() + " root id " + std::to_string(root->vrfId().value()) + " is not its L3Status id");
  }
  for (auto const& [name, status] : l3.vrfL3StatusMap())
    if (!vrfRootHas(name) && !pendingDeleteHas(name)) fault("vrf " + name.str() + " has a VrfL3Status but no root");
  for (auto const& id : freeVrfIndexQueue())
    if (used.count(id.value())) fault("vrf id " + std::to_string(id.value()) + " is in use and free");
  if (faults.empty())
    KOR_VERIFY_REPORT(KorTypes::verifySuccess, std::to_string(vrfRootSize()) + " vrf roots consistent");
  else
    KOR_VERIFY_REPORT(KorTypes::verifyFail, faults);
}

}  // namespace Kor
