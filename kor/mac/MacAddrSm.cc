#include "kor/mac/MacAddrSm.h"

#include <vector>

#include "vix/ActivityLoop.h"

namespace Kor {

// The explanation and the recommended action are kept on one line each:
// they are the event's texts as operators search for them.
// clang-format off
VIX_LOG_EVENT(ETH_MACADDRBANKFULL, 3,
              "Unable to program %s host table entry for MAC address %s in VLAN %d due to hardware resource exhaustion",
              "The specified MAC address could not be programmed into the switching ASIC due to hash collisions in a bucket. Packets destined to the address will be flooded.",
              "Reduce the number of host table entries that need to be programmed into the switching ASIC. One or more of the following steps might be helpful: 1. Reduce the number of static mac entries. 2. Clear dynamic mac table entries. 3. Introduce additional layer 3 boundaries to reduce the number of MAC addresses. Please contact your technical support representative if you need additional assistance.",
              60);
// clang-format on

namespace {

using Bridging::EntryType;

bool isRemote(EntryType t) {
  return t == EntryType::learnedRemoteMac || t == EntryType::configuredRemoteMac ||
         t == EntryType::peerLearnedRemoteMac;
}
bool isConfigured(EntryType t) { return t == EntryType::configuredStaticMac || t == EntryType::configuredRemoteMac; }

}  // namespace

class MacAddrSm::VixMacTable : public Vix::NestedReactor<MacAddrSm, KorTypes::MacTable::Notifiee> {
 public:
  void handleMacEntry(Key const& key) override { sm_->handleMacTableNotification(key); }
};

class MacAddrSm::VixRouterMacTable : public Vix::NestedReactor<MacAddrSm, KorTypes::MacTable::Notifiee> {
 public:
  void handleMacEntry(Key const& key) override { sm_->handleRouterMacEntry(key); }
};

class MacAddrSm::VixBridgingConfig : public Vix::NestedReactor<MacAddrSm, Bridging::Config::Notifiee> {
 public:
  void handleFdbConfig(uint16_t const& fid) override { sm_->handleFdbConfig(fid); }
  void handleHostAgingTime() override { sm_->handleHostAgingTime(); }
  void handleMacLearning(Nollo::IntfId const& intf) override {
    if (sm_->initialized()) sm_->configureMacLearningOnPort(intf);
  }
};

// The static entries of one filtering database.
class MacAddrSm::VixFdbConfig : public Vix::NestedReactor<MacAddrSm, Bridging::FdbConfig::Notifiee> {
 public:
  VixFdbConfig(MacAddrSm* sm, uint16_t fid) : fid_(fid) { sm_ = sm; }
  void handleConfiguredHost(Nollo::EthAddr const& mac) override { sm_->handleConfiguredHost(fid_, mac); }

 private:
  uint16_t fid_;
};

class MacAddrSm::VixMlagStatus : public Vix::NestedReactor<MacAddrSm, Mlag::Status::Notifiee> {
 public:
  void handleActive() override { sm_->handleMlagStateOrPeerLinkIntf(); }
  void handlePeerLink() override { sm_->handleMlagStateOrPeerLinkIntf(); }
};

class MacAddrSm::VixFlushRequestDir
    : public Vix::NestedReactor<MacAddrSm, Bridging::HostTableFlushRequestDir::Notifiee> {
 public:
  void handleHostTableFlushRequest(std::string const& name) override { sm_->handleFlushRequest(name); }
};

class MacAddrSm::VixCommonData : public Vix::NestedReactor<MacAddrSm, KorCommonSmData::Notifiee> {
 public:
  void handleLagToPort(Nollo::IntfId const& lag) override { sm_->handleLagToPort(lag); }
};

MacAddrSm::MacAddrSm(Vix::Ptr<KorCommonSmData> const& acsd, Vix::Ptr<KorTypes::MacTable const> const& macTable,
                     Vix::Ptr<KorTypes::MacTable const> const& routerMacTable,
                     Vix::Ptr<Bridging::Config const> const& bridgingConfig,
                     Vix::Ptr<Mlag::Status const> const& mlagStatus,
                     Vix::Ptr<Bridging::HostTableFlushRequestDir const> const& flushRequestDir,
                     Vix::Ptr<Bridging::Status> const& bridgingStatus,
                     Vix::Ptr<KorHelper::KorHelperMacAddrSm> const& korHelper)
    : KorBaseSm(Vix::ValidPtr<KorCommonSmData>(acsd), "KorMacAddrSm"),
      macTable_(Vix::ValidPtr<KorTypes::MacTable const>(macTable)),
      routerMacTable_(Vix::ValidPtr<KorTypes::MacTable const>(routerMacTable)),
      bridgingConfig_(Vix::ValidPtr<Bridging::Config const>(bridgingConfig)),
      mlagStatus_(Vix::ValidPtr<Mlag::Status const>(mlagStatus)),
      flushRequestDir_(Vix::ValidPtr<Bridging::HostTableFlushRequestDir const>(flushRequestDir)),
      bridgingStatus_(Vix::ValidPtr<Bridging::Status>(bridgingStatus)),
      korHelper_(Vix::ValidPtr<KorHelper::KorHelperMacAddrSm>(korHelper)),
      condensedFlushRequest_(Vix::makePtr<CondensedFlushRequest>()),
      review_(acsd->activityLoop().ptr(), [this] { runReview(); }, macTableReviewQuanta),
      flushReqTimer_(acsd->activityLoop().ptr(), [this] { execFlush(); }) {
  // Lanes in pass order: evaluate the learned keys, then carry out what was
  // decided (removals and adds alike, in queue order), then retry what the
  // chip refused for a full table.
  review_.laneAdd([this](Key const& k, ModifyMacEntry&) {
    handleMacEntry(k);
    return Vix::ReviewAction::done;
  });
  review_.laneAdd([this](Key const&, ModifyMacEntry& m) { return doExecute(m); });
  review_.laneAdd(
      [this](Key const&, ModifyMacEntry& m) {
        return doProgram(m, fdbEntry(m.key).has_value()) ? Vix::ReviewAction::done : Vix::ReviewAction::keep;
      },
      Vix::LaneKind::retry);
  // Refused entries are retried when room may have come back (retryNow
  // after a removal or a flush), never by a timed round: a round starts
  // only when asked.
  review_.retryPeriodIs(kRetryOnlyWhenAsked);
  vixReactors_.watch<VixMacTable>(macTable_);
  vixReactors_.watch<VixRouterMacTable>(routerMacTable_);
  vixReactors_.watch<VixBridgingConfig>(bridgingConfig_);
  vixReactors_.watch<VixMlagStatus>(mlagStatus_);
  vixReactors_.watch<VixFlushRequestDir>(flushRequestDir_);
  vixReactors_.watch<VixCommonData>(acsd);
}

MacAddrSm::~MacAddrSm() {
  for (auto& [fid, r] : fdbConfig_) reactorDel(r.get());
}

Vix::Ptr<MacAddrSm> macAddrSmFactory(
    Vix::Ptr<KorCommonSmData> const& acsd, Vix::Ptr<KorTypes::MacTable const> const& macTable,
    Vix::Ptr<KorTypes::MacTable const> const& routerMacTable, Vix::Ptr<Bridging::Config const> const& bridgingConfig,
    Vix::Ptr<Mlag::Status const> const& mlagStatus,
    Vix::Ptr<Bridging::HostTableFlushRequestDir const> const& flushRequestDir,
    Vix::Ptr<Bridging::Status> const& bridgingStatus, Vix::Ptr<KorHelper::KorHelperMacAddrSm> const& korHelper) {
  return Vix::makePtr<MacAddrSm>(acsd, macTable, routerMacTable, bridgingConfig, mlagStatus,
                                 flushRequestDir, bridgingStatus, korHelper);
}

Seqno32 MacAddrSm::moveCount(Key const& key) const {
  auto it = moveCount_.find(key);
  return it == moveCount_.end() ? Seqno32() : it->second;
}

uint32_t MacAddrSm::remoteMacCount(uint16_t vlan) const {
  auto it = vlanRemoteMacRefcount_.find(vlan);
  return it == vlanRemoteMacRefcount_.end() ? 0 : it->second;
}

uint32_t MacAddrSm::remoteNextHopIdCount(uint32_t tunnelId) const {
  auto it = remoteNextHopIdRefcount_.find(tunnelId);
  return it == remoteNextHopIdRefcount_.end() ? 0 : it->second;
}

std::optional<bool> MacAddrSm::learning(Nollo::IntfId const& intf) const {
  auto it = learning_.find(intf);
  if (it == learning_.end()) return std::nullopt;
  return it->second;
}

ModifyMacEntry const* MacAddrSm::pendingUpdate(Key const& key) const {
  return const_cast<Review&>(review_).find(kUpdateLane, key);
}

void MacAddrSm::handleInitialized() {
  KOR_TRACE_FUNC();
  korHelper_->hwInit();
  handleHostAgingTime();
  peerLinkIntf_ = mlagStatus_->active() ? mlagStatus_->peerLink() : Nollo::IntfId();
  for (auto const& [intf, on] : bridgingConfig_->macLearningMap()) configureMacLearningOnPort(intf);
  if (!peerLinkIntf_.isNone()) configureMacLearningOnPort(peerLinkIntf_);
  for (auto const& [fid, cfg] : bridgingConfig_->fdbConfigMap()) handleFdbConfig(fid);
  // Every key any source or the status of a previous run names is evaluated
  // once: what no source holds any longer leaves the status.
  auto queue = [this](Key const& k) { review_.enqueue(kReviewLane, k); };
  for (auto const& [k, e] : macTable_->macEntryMap()) queue(k);
  for (auto const& [k, e] : routerMacTable_->macEntryMap()) queue(k);
  for (auto const& [fid, cfg] : bridgingConfig_->fdbConfigMap())
    if (fdbConfig_.count(fid))
      for (auto const& [mac, host] : cfg->configuredHostMap()) queue(Key(mac, VlanId(fid)));
  for (auto const& [fid, fdb] : bridgingStatus_->fdbStatusMap())
    for (auto const& [mac, host] : fdb->learnedHostMap()) queue(Key(mac, VlanId(fid)));
  review_.schedule();
}

void MacAddrSm::runReview() { review_.runPass(); }

void MacAddrSm::handleMacTableNotification(Key const& key) {
  if (!initialized()) return;
  if (!deferMacTableUpdate_) {
    handleMacEntry(key);
    return;
  }
  review_.enqueue(kReviewLane, key);
  review_.schedule();
}

void MacAddrSm::handleMacEntry(Key const& key) {
  auto entry = macTable_->macEntry(key);
  if (entry) {
    KOR_TRACE(7, " Learnt: addr:" << key.macaddr() << " vid:" << key.vlanId() << " on:" << entry->intf());
    handleAddressLearnt(*entry);
  } else {
    KOR_TRACE(7, " Aged: addr:" << key.macaddr() << " vid:" << key.vlanId());
    handleAddressAged(key);
  }
}

void MacAddrSm::handleAddressLearnt(KorTypes::MacAddressTableEntry const& entry) {
  if (!initialized()) korAssert("initialized()");
  evaluateEntry(entry.key(), entry.intf(), entry.tunnelId(), entry.entryType(), true, false,
                acsd()->activityLoop()->now(), entry.moves());
}

void MacAddrSm::handleAddressAged(Key const& key) {
  if (!initialized()) korAssert("initialized()");
  evaluateEntry(key, Nollo::IntfId(), 0, EntryType::learnedDynamicMac, false, true, acsd()->activityLoop()->now());
}

void MacAddrSm::handleRouterMacEntry(Key const& key) {
  if (initialized()) reevaluateEntry(key);
}

void MacAddrSm::handleFdbConfig(uint16_t fid) {
  if (fid < VlanId::min || fid > VlanId::max) {
    KOR_TRACE(3, "fdbConfig " << fid << ": VlanId::value < 1 or > 4094 not allowed");
    return;
  }
  auto cfg = bridgingConfig_->fdbConfig(fid);
  auto& r = fdbConfig_[fid];
  if (r && r->notifier() == cfg) return;
  // The hosts of the old and the new configuration are evaluated again.
  std::vector<Nollo::EthAddr> touched;
  if (r) {
    if (auto old = r->notifier())
      for (auto const& [mac, h] : old->configuredHostMap()) touched.push_back(mac);
  }
  if (!cfg) {
    if (r) reactorDel(r.get());
    fdbConfig_.erase(fid);
  } else {
    if (!r) {
      r = std::make_unique<VixFdbConfig>(this, fid);
      reactorAdd(r.get());
    }
    r->notifierIs(cfg);
    for (auto const& [mac, h] : cfg->configuredHostMap()) touched.push_back(mac);
  }
  for (auto const& mac : touched) handleConfiguredHost(fid, mac);
}

void MacAddrSm::handleConfiguredHost(uint16_t fid, Nollo::EthAddr const& mac) {
  if (!initialized()) return;
  reevaluateEntry(Key(mac, static_cast<int64_t>(fid)));
}

void MacAddrSm::handleHostAgingTime() {
  if (!initialized()) return;
  auto const t = bridgingConfig_->hostAgingTime();
  KOR_TRACE(5, "Set host aging time to " << t << " sec");
  korHelper_->configureAgingTime(static_cast<int>(t));
}

std::optional<ConfiguredEntry> MacAddrSm::configuredEntry(Key const& key) const {
  // A configured entry wins over every dynamic one; the static
  // configuration comes first, then the router MACs.
  if (auto cfg = bridgingConfig_->fdbConfig(key.vlanId().value())) {
    if (cfg->configuredHostHas(key.macaddr())) {
      auto const h = cfg->configuredHost(key.macaddr());
      if (isRemote(h.entryType)) KOR_TRACE(8, "configured remote host entry type " << h.entryType);
      else KOR_TRACE(8, "configured host entry type " << h.entryType);
      ConfiguredEntry c;
      c.key = key;
      c.intf = h.intf;
      c.entryType = h.entryType;
      return c;
    }
  }
  if (auto r = routerMacTable_->macEntry(key)) {
    KOR_TRACE(8, "configured router entry type " << EntryType::configuredStaticMac);
    ConfiguredEntry c;
    c.key = key;
    c.intf = r->intf();
    c.entryType = EntryType::configuredStaticMac;
    return c;
  }
  KOR_TRACE(8, "entry not configured");
  return std::nullopt;
}

std::optional<Bridging::LearnedHost> MacAddrSm::fdbEntry(Key const& key) const {
  auto fdb = bridgingStatus_->fdbStatus(key.vlanId().value());
  if (!fdb || !fdb->learnedHostHas(key.macaddr())) return std::nullopt;
  return fdb->learnedHost(key.macaddr());
}

bool MacAddrSm::isPeerLink(Nollo::IntfId const& intf) const {
  if (peerLinkIntf_.isNone() || intf.isNone()) return false;
  if (intf == peerLinkIntf_) return true;
  // A member port of a peer-link port channel is on the peer link too.
  return acsd()->portToLagHas(intf) && acsd()->portToLag(intf) == peerLinkIntf_;
}

bool MacAddrSm::checkIgnoreEvent(Key const& key, Nollo::IntfId const& intf, EntryType type) const {
  if (pendingUpdate(key)) return false;
  auto cur = fdbEntry(key);
  if (cur && cur->intf == intf && cur->entryType == type) {
    KOR_TRACE(8, "ignoring event for " << key << " matching fdbType " << type);
    return true;
  }
  return false;
}

void MacAddrSm::detectRemoteLocalMove(Key const& key, bool learnedRemote, ModifyMacEntry& m) const {
  // (1): against what FdbStatus holds; (2): against a decision still queued.
  if (auto p = pendingUpdate(key)) {
    bool const pendingRemote = isRemote(p->entryType) && p->action != removeFromFdbStatusAndHardware;
    if (pendingRemote && !learnedRemote) {
      KOR_TRACE(5, "Detected remote to local move (2). " << key);
      m.movedToLocal = true;
    } else if (!pendingRemote && learnedRemote && p->action != removeFromFdbStatusAndHardware) {
      KOR_TRACE(5, "Detected local to remote move (2). " << key);
      m.movedToRemote = true;
    }
    if (m.movedToLocal || m.movedToRemote) return;
  }
  auto cur = fdbEntry(key);
  if (!cur) return;
  if (isRemote(cur->entryType) && !learnedRemote) {
    KOR_TRACE(5, "Detected remote to local move (1). " << key);
    m.movedToLocal = true;
  } else if (!isRemote(cur->entryType) && learnedRemote) {
    KOR_TRACE(5, "Detected local to remote move (1). " << key);
    m.movedToRemote = true;
  }
}

uint32_t MacAddrSm::maybeUpdateMoveCount(Key const& key, Seqno32 seq) {
  auto cur = fdbEntry(key);
  Seqno32 const fdbMoves(cur ? cur->moves : 0);
  KOR_TRACE(8, "maybeUpdateMoveCount " << key << " fdbMoves " << fdbMoves << " macMoves " << seq);
  Seqno32 const best = fdbMoves.latest(seq);
  return best.value();
}

EntryEvaluationAction MacAddrSm::evaluateEntry(Key const& key, Nollo::IntfId const& intf, uint32_t tunnelId,
                                               EntryType entryType, bool learnedInHardware, bool agedInHardware,
                                               Vix::Seconds lastMoveTime, uint32_t moves) {
  KOR_TRACE(7, "Evaluating MAC entry: " << key << " intf " << intf << " type " << entryType << " learned "
                                        << learnedInHardware << " aged " << agedInHardware);
  ModifyMacEntry m;
  m.key = key;
  m.lastMoveTime = lastMoveTime;
  m.action = ignoreLearnt;
  auto const cand = configuredEntry(key);
  auto const cur = fdbEntry(key);
  if (cand && isConfigured(cand->entryType)) {
    // 1. Configured: wins whatever the hardware says; an age re-installs it.
    bool const remote = isRemote(cand->entryType);
    KOR_TRACE(7, (remote ? "Entry is static remote" : "Entry is static"));
    m.intf = cand->intf;
    m.entryType = cand->entryType;
    m.tunnelIpAddr = cand->tunnelIpAddr;
    m.moves = cur ? cur->moves : 0;
    m.action = remote ? addConfiguredRemote : addConfiguredToFdbStatusAndHardware;
    // Already so in FdbStatus and in the chip: nothing to do, unless the
    // chip aged or learned over it.
    if (cur && cur->intf == m.intf && cur->entryType == m.entryType && !agedInHardware && !learnedInHardware &&
        !pendingUpdate(key) && !unprogrammed(key))
      m.action = ignoreLearnt;
  } else if (learnedInHardware) {
    if (agedInHardware) korAssert("agedInHardware == false");
    if (isPeerLink(intf)) {
      // Before the screen: an entry FdbStatus holds on a port that became
      // the peer link matches its event and must go all the same.
      KOR_TRACE(5, "Entry was learned on peer-link. Deleting this entry.");
      m.action = removeFromFdbStatusAndHardware;
      m.intf = intf;
      m.entryType = entryType;
    } else if (checkIgnoreEvent(key, intf, entryType)) {
      m.action = ignoreLearnt;
    } else {
      bool const remote = isRemote(entryType);
      m.intf = intf;
      m.entryType = entryType;
      m.tunnelId = tunnelId;
      KOR_TRACE(8, "Setting moves from macTableEntry: " << moves);
      m.moves = maybeUpdateMoveCount(key, Seqno32(moves));
      detectRemoteLocalMove(key, remote, m);
      if (m.movedToLocal) {
        m.action = addLearntLocalAndRemoveRemote;
      } else if (remote) {
        m.action = addLearntRemote;
      } else {
        m.action = addLearntToFdbStatus;
        KOR_TRACE(7, " Final action: addLearntToFdbStatus - MAC Entry: " << key << " on " << intf);
      }
    }
  } else if (agedInHardware) {
    m.action = removeFromFdbStatusAndHardware;
    m.entryType = cur ? cur->entryType : EntryType::learnedDynamicMac;
    if (cur || pendingUpdate(key)) KOR_TRACE(7, "Removing entry " << key);
    else KOR_TRACE(7, key << " not in hardware, just cleaning up software state");
  }
  if (m.action == ignoreLearnt) {
    KOR_TRACE(8, " Final action: ignore - MAC entry: " << key);
    return m.action;
  }
  addToUpdateList(m);
  return m.action;
}

void MacAddrSm::reevaluateEntry(Key const& key) {
  if (auto p = pendingUpdate(key))
    KOR_TRACE(8, "Found a pending operation in updateList with action " << p->action);
  if (auto entry = macTable_->macEntry(key)) {
    evaluateEntry(key, entry->intf(), entry->tunnelId(), entry->entryType(), true, false,
                  acsd()->activityLoop()->now(), entry->moves());
    return;
  }
  // No source but the configuration: what the status holds without one goes.
  evaluateEntry(key, Nollo::IntfId(), 0, EntryType::learnedDynamicMac, false, true, acsd()->activityLoop()->now());
}

void MacAddrSm::addToUpdateList(ModifyMacEntry const& m) {
  if (review_.contains(kUpdateLane, m.key)) KOR_TRACE(8, "Entry exists in update list, deleting");
  // A newer decision supersedes a refused add waiting for room.
  review_.erase(kFullLane, m.key);
  review_.enqueue(kUpdateLane, m.key, m);
  review_.schedule();
}

Vix::ReviewAction MacAddrSm::doExecute(ModifyMacEntry const& m) {
  auto const cur = fdbEntry(m.key);
  uint16_t const vlan = m.key.vlanId().value();
  switch (m.action) {
    case addConfiguredToFdbStatusAndHardware:
    case addConfiguredRemote:
      if (!doProgram(m, cur.has_value())) review_.enqueue(kFullLane, m.key, m);
      break;
    case addLearntToFdbStatus:
      if (cur && isRemote(cur->entryType)) cleanupRemoteMac(m.key);
      addToFdbStatus(m.key, m.intf, m.moves, m.entryType);
      break;
    case addLearntRemote:
      if (cur && isRemote(cur->entryType)) cleanupRemoteMac(m.key);
      addToFdbStatus(m.key, m.intf, m.moves, m.entryType);
      incRemoteRefcount(m.key, m.tunnelId, m.entryType);
      break;
    case addLearntLocalAndRemoveRemote:
      cleanupRemoteMac(m.key);
      addToFdbStatus(m.key, m.intf, m.moves, m.entryType);
      korHelper_->addLearntLocalAndRemoveRemoteHost(m.key, m.intf, m.entryType);
      break;
    case removeFromFdbStatusAndHardware: {
      // The chip still holds the entry when it was configured, or when it
      // was learned where it must not stay (the peer link).
      bool const inHw = (cur && isConfigured(cur->entryType)) || macTable_->macEntryHas(m.key);
      if (cur) {
        if (isRemote(cur->entryType)) cleanupRemoteMac(m.key);
        delFromFdbStatus(m.key);
      }
      if (inHw) korHelper_->removeHost(m.key, cur ? cur->entryType : m.entryType);
      // A removal may have made room for what waits.
      review_.retryNow();
      (void)vlan;
      break;
    }
    case ignoreLearnt:
      break;
  }
  return Vix::ReviewAction::done;
}

bool MacAddrSm::doProgram(ModifyMacEntry const& m, bool isUpdate) {
  uint16_t const vlan = m.key.vlanId().value();
  korHelper_->returnAssertIs(KorTypes::TableAddStatus::tableAddSuccess);
  if (m.action == addConfiguredRemote) korHelper_->addRemoteHost(m.key, m.intf, m.tunnelId, vlan, isUpdate, m.entryType, false);
  else korHelper_->addHost(m.key, m.intf, vlan, isUpdate, m.entryType);
  switch (korHelper_->returnAssert()) {
    case KorTypes::TableAddStatus::tableAddSuccess:
      break;
    case KorTypes::TableAddStatus::tableFull:
      doReportFull(m);
      return false;
    case KorTypes::TableAddStatus::tableAddFailed:
      KOR_TRACE(3, "add of " << m.key << " failed");
      return false;
  }
  if (m.action == addConfiguredRemote) {
    cleanupRemoteMac(m.key);
    incRemoteRefcount(m.key, m.tunnelId, m.entryType);
  }
  addToFdbStatus(m.key, m.intf, m.moves, m.entryType);
  return true;
}

void MacAddrSm::doReportFull(ModifyMacEntry const& m) {
  char const* kind = isRemote(m.entryType) ? "remote" : isConfigured(m.entryType) ? "static" : "dynamic";
  std::string const addr = m.key.macaddr().str();
  if (ETH_MACADDRBANKFULL.raise(acsd()->activityLoop()->now(), kind, addr.c_str(),
                                static_cast<int>(m.key.vlanId().value())))
    condensedFlushRequest_->fullLoggedIs(true);
  KOR_TRACE(3, "table full for " << m.key << ", retried when room comes back");
}

void MacAddrSm::addToFdbStatus(Key const& key, Nollo::IntfId const& intf, uint32_t moves, EntryType type) {
  uint16_t const fid = key.vlanId().value();
  auto fdb = bridgingStatus_->fdbStatus(fid);
  if (!fdb) fdb = bridgingStatus_->newFdbStatus(fid);
  fdb->learnedHostIs(key.macaddr(), Bridging::LearnedHost{intf, type, moves});
  moveCount_[key] = Seqno32(moves);
}

void MacAddrSm::delFromFdbStatus(Key const& key) {
  uint16_t const fid = key.vlanId().value();
  if (auto fdb = bridgingStatus_->fdbStatus(fid)) fdb->learnedHostDel(key.macaddr());
  moveCount_.erase(key);
  maybeDeleteFdbStatus(fid);
}

void MacAddrSm::maybeDeleteFdbStatus(uint16_t fid) {
  auto fdb = bridgingStatus_->fdbStatus(fid);
  if (!fdb || fdb->learnedHostSize() != 0) return;
  KOR_TRACE(5, "Deleting Fdb for " << fid);
  bridgingStatus_->fdbStatusDel(fid);
}

void MacAddrSm::incRemoteRefcount(Key const& key, uint32_t tunnelId, EntryType entryType) {
  if (!isRemote(entryType)) korAssert("isRemote( entryType )");
  remoteEntry_[key] = tunnelId;
  ++vlanRemoteMacRefcount_[key.vlanId().value()];
  ++remoteNextHopIdRefcount_[tunnelId];
}

void MacAddrSm::cleanupRemoteMac(Key const& key) {
  auto it = remoteEntry_.find(key);
  if (it == remoteEntry_.end()) return;
  auto dec = [](auto& counts, auto k) {
    auto c = counts.find(k);
    if (c != counts.end() && --c->second == 0) counts.erase(c);
  };
  dec(vlanRemoteMacRefcount_, key.vlanId().value());
  dec(remoteNextHopIdRefcount_, it->second);
  remoteEntry_.erase(it);
}

bool MacAddrSm::macLearningStatusOnPort(Nollo::IntfId const& intf) const {
  bool const enable = !bridgingConfig_->macLearningHas(intf) || bridgingConfig_->macLearning(intf);
  if (isPeerLink(intf)) {
    KOR_TRACE(5, intf << " is peer link of an MLAG hence enable = " << false);
    return false;
  }
  KOR_TRACE(7, intf << " mac learning is " << (enable ? "enabled" : "disabled"));
  return enable;
}

void MacAddrSm::configureMacLearningOnPort(Nollo::IntfId const& intf) {
  enableMacLearningOnPort(intf, macLearningStatusOnPort(intf));
}

void MacAddrSm::enableMacLearningOnPort(Nollo::IntfId const& intf, bool enable) {
  // A port never told learns (the chip's default).
  auto it = learning_.find(intf);
  bool const was = it == learning_.end() ? true : it->second;
  if (was == enable) return;
  learning_[intf] = enable;
  korHelper_->enableLearning(intf, enable);
}

void MacAddrSm::handleMlagStateOrPeerLinkIntf() {
  if (!initialized()) return;
  Nollo::IntfId const next = mlagStatus_->active() ? mlagStatus_->peerLink() : Nollo::IntfId();
  if (next == peerLinkIntf_) return;
  Nollo::IntfId const old = peerLinkIntf_;
  peerLinkIntf_ = next;
  KOR_TRACE(5, "peer link " << old << " -> " << next);
  if (!old.isNone()) configureMacLearningOnPort(old);
  if (!next.isNone()) configureMacLearningOnPort(next);
  // Entries on the new peer link were learned before it became one.
  if (next.isNone()) return;
  std::vector<Key> onPeerLink;
  for (auto const& [fid, fdb] : bridgingStatus_->fdbStatusMap())
    for (auto const& [mac, host] : fdb->learnedHostMap())
      if (isPeerLink(host.intf)) onPeerLink.emplace_back(mac, VlanId(fid));
  for (auto const& k : onPeerLink) reevaluateEntry(k);
}

void MacAddrSm::handleFlushRequest(std::string const& name) {
  if (!initialized() || !flushRequestDir_->hostTableFlushRequestHas(name)) return;
  auto const req = flushRequestDir_->hostTableFlushRequest(name);
  auto& c = *condensedFlushRequest_;
  KOR_TRACE(5, "flush request " << name << ": " << req);
  if (req.vlan != 0 && (req.vlan < VlanId::min || req.vlan > VlanId::max)) {
    KOR_TRACE(3, "flush request " << name << ": VlanId::value < 1 or > 4094 not allowed");
    return;
  }
  // Merged: a wider request swallows a narrower one; two VLANs on one
  // interface flush the interface in every VLAN (dynamic entries come back
  // with the next frame, so flushing more is only slower, never wrong).
  auto merge = [](uint16_t had, uint16_t next) { return had == next ? had : uint16_t(0); };
  if (req.intf.isNone()) {
    if (req.vlan == 0) c.allIs(true);
    else c.vlanIs(req.vlan, true);
  } else if (req.intf.isPortChannel()) {
    c.lagIs(req.intf, c.lagHas(req.intf) ? merge(c.lag(req.intf), req.vlan) : req.vlan);
  } else {
    c.portIs(req.intf, c.portHas(req.intf) ? merge(c.port(req.intf), req.vlan) : req.vlan);
  }
  flushReqTimer_.timeMinEarlierIs(acsd()->activityLoop()->now());
}

void MacAddrSm::execFlush() {
  flushReqTimer_.timeMinIs(Vix::kNever);
  auto& c = *condensedFlushRequest_;
  if (c.empty()) return;
  ++execFlushCount_;
  // Widest first: after the whole table nothing else is left to flush; then
  // whole VLANs, then ports, then LAGs.
  if (c.all()) {
    KOR_TRACE(5, " flushing all macs ");
    korHelper_->flushAll();
  } else {
    for (auto const& [vlan, on] : c.vlanMap()) {
      KOR_TRACE(5, " flushing vlan " << vlan);
      korHelper_->flushVlan(vlan);
    }
    for (auto const& [port, vlan] : c.portMap()) {
      if (!acsd()->intfHas(port)) {
        KOR_TRACE(3, "execFlush: unknown intf " << port);
        continue;
      }
      KOR_TRACE(5, " flushing port " << vlan << " on port " << port);
      korHelper_->flushVlanPort(vlan, port);
    }
    for (auto const& [lag, vlan] : c.lagMap()) {
      if (!acsd()->lagToPortHas(lag)) {
        KOR_TRACE(3, "execFlush: unknown LAG " << lag);
        continue;
      }
      KOR_TRACE(5, " flushing lag " << vlan << " on lag " << lag);
      korHelper_->flushVlanLag(vlan, lag);
    }
  }
  c.allIs(false);
  c.vlanDelAll();
  c.portDelAll();
  c.lagDelAll();
  c.fullLoggedIs(false);
  // The flush made room: what the chip refused gets its chance now.
  review_.retryNow();
}

void MacAddrSm::handleLagToPort(Nollo::IntfId const& lag) {
  if (!initialized() || acsd()->lagToPortHas(lag)) return;
  // The LAG is gone: the chip forgets what it learned on it.
  KOR_TRACE(5, lag << " just left lag, removing its entries");
  korHelper_->removeLag(lag);
}

}  // namespace Kor
