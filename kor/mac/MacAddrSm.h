#pragma once
// The switch's MAC address table (trace "KorMacAddrSm"). Merges every source
// of MAC entries into one decision per key and owns the result: the bridging
// status (Bridging::Status, one FdbStatus per VLAN) that the rest of the
// system reads, and the chip's MAC table, driven through the platform helper
// (KorHelperMacAddrSm: add, remove, flush, learning per port, aging time).
//
// Sources: the learned table (KorTypes::MacTable the platform fills from the
// chip's learn and age events), the static entries of the bridging
// configuration (one FdbConfig per VLAN), the router MAC table (read-only).
// Other inputs: the configured learning per port, the MLAG status (its peer link), the flush request directory and the
// common data's LAG maps.
//
// Invariants: a key has at most one queued decision (the update list keeps
// the newest); a configured entry (static, router MAC) is never replaced by
// a learned one and comes back when the hardware ages it; FdbStatus holds
// exactly the executed decisions, and a VLAN without entries has no
// FdbStatus. Nothing the chip refused for a full table is dropped: it waits
// in the retry lane and is tried again when room may have come back - after
// every flush and every removal - not by a timed sweep.
//
// Work is never done inside a notification: learned-table notifications
// only queue the key (macTableUpdateList, deferMacTableUpdate), decisions
// queue a ModifyMacEntry (updateList), and flush requests only arm
// flushReqTimer so that every request of one loop turn is merged into the
// CondensedFlushRequest and executed once. The review of learned keys, the
// execution of the update list and the retries are three lanes of the one
// review loop (quantum macTableReviewQuanta, 0.01 s): a pass evaluates
// first, then executes, so a key learned and aged within one slice yields
// only the state found when it is evaluated.
//
// Flushes act on the table as it is when they execute: the platform removes
// the flushed dynamic entries from the chip and writes them out of the
// learned table, and those ages come back through the review lane like any
// other. A learn that arrives between a request and its execution is
// therefore flushed with the rest, in the chip and in FdbStatus alike.
//
// Learning per port: on unless configured off (a port the chip was never
// told about learns: that is the chip's state after reset). The MLAG
// peer link never learns: hosts behind the peer reach this switch through
// the peer's host table, and a learn on the peer link would pin to it hosts
// that are local to an MLAG interface here. An entry that was learned on the
// peer link anyway (before the port became the peer link) is deleted.
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "kor/common/KorBaseSm.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/helpers/KorHelperMacAddrSm.h"
#include "kor/mac/CondensedFlushRequest.h"
#include "kor/mac/ConfiguredEntry.h"
#include "kor/mac/EntryEvaluationAction.h"
#include "kor/mac/ModifyMacEntry.h"
#include "kor/mac/Seqno32.h"
#include "kor/records/MacTable.h"
#include "models/bridging/Config.h"
#include "models/bridging/HostTableFlushRequestDir.h"
#include "models/bridging/Status.h"
#include "models/mlag/Status.h"
#include "nollo/IntfId.h"
#include "vix/Clock.h"
#include "vix/Log.h"
#include "vix/ReactorSet.h"
#include "vix/ReviewLoop.h"

namespace Kor {

class KOR_EXPORT MacAddrSm : public KorBaseSm {
 public:
  using Key = KorTypes::MacAddressTableEntry::Key;
  using Review = Vix::ReviewLoop<Key, ModifyMacEntry>;
  static constexpr Vix::Seconds macTableReviewQuanta = 0.01;

  MacAddrSm(Vix::Ptr<KorCommonSmData> const& acsd, Vix::Ptr<KorTypes::MacTable const> const& macTable,
            Vix::Ptr<KorTypes::MacTable const> const& routerMacTable,
            Vix::Ptr<Bridging::Config const> const& bridgingConfig,
            Vix::Ptr<Mlag::Status const> const& mlagStatus,
            Vix::Ptr<Bridging::HostTableFlushRequestDir const> const& flushRequestDir,
            Vix::Ptr<Bridging::Status> const& bridgingStatus, Vix::Ptr<KorHelper::KorHelperMacAddrSm> const& korHelper);
  ~MacAddrSm() override;

  Vix::Ptr<KorTypes::MacTable const> const& macTable() const { return macTable_; }
  Vix::Ptr<Bridging::Status> const& bridgingStatus() const { return bridgingStatus_; }
  Vix::Ptr<KorHelper::KorHelperMacAddrSm> const& korHelper() const { return korHelper_; }
  CondensedFlushRequest const& condensedFlushRequest() const { return *condensedFlushRequest_; }
  bool deferMacTableUpdate() const { return deferMacTableUpdate_; }
  void deferMacTableUpdateIs(bool d) { deferMacTableUpdate_ = d; }
  Nollo::IntfId peerLinkIntf() const { return peerLinkIntf_; }
  // The move count last written for the key (0 when it has none).
  Seqno32 moveCount(Key const& key) const;
  // Whether hardware learning is on for the port, as last told to the chip
  // (none: never told, the chip's default, on).
  std::optional<bool> learning(Nollo::IntfId const& intf) const;
  // Keys the chip refused for a full table, waiting for a retry.
  size_t unprogrammedCount() const { return review_.size(kFullLane); }
  bool unprogrammed(Key const& key) const { return review_.contains(kFullLane, key); }
  uint64_t execFlushCount() const { return execFlushCount_; }
  // Remote entries of the VLAN, and those behind one tunnel.
  uint32_t remoteMacCount(uint16_t vlan) const;
  uint32_t remoteNextHopIdCount(uint32_t tunnelId) const;
  Review const& review() const { return review_; }

  void handleInitialized() override;

  // Sources.
  void handleMacTableNotification(Key const& key);
  void handleMacEntry(Key const& key);
  void handleAddressLearnt(KorTypes::MacAddressTableEntry const& entry);
  void handleAddressAged(Key const& key);
  void handleRouterMacEntry(Key const& key);
  void handleFdbConfig(uint16_t fid);
  void handleConfiguredHost(uint16_t fid, Nollo::EthAddr const& mac);
  void handleHostAgingTime();
  void handleMlagStateOrPeerLinkIntf();
  void handleFlushRequest(std::string const& name);
  void handleLagToPort(Nollo::IntfId const& lag);

  // Decisions.
  std::optional<ConfiguredEntry> configuredEntry(Key const& key) const;
  EntryEvaluationAction evaluateEntry(Key const& key, Nollo::IntfId const& intf, uint32_t tunnelId,
                                      Bridging::EntryType entryType, bool learnedInHardware, bool agedInHardware,
                                      Vix::Seconds lastMoveTime, uint32_t moves = 0);
  void reevaluateEntry(Key const& key);
  void addToUpdateList(ModifyMacEntry const& m);
  // The queued decision for the key (null: none).
  ModifyMacEntry const* pendingUpdate(Key const& key) const;

  // Learning per port.
  bool macLearningStatusOnPort(Nollo::IntfId const& intf) const;
  void configureMacLearningOnPort(Nollo::IntfId const& intf);
  void enableMacLearningOnPort(Nollo::IntfId const& intf, bool enable);

  // Flushes.
  void execFlush();

 private:
  class VixMacTable;
  class VixRouterMacTable;
  class VixBridgingConfig;
  class VixFdbConfig;
  class VixMlagStatus;
  class VixFlushRequestDir;
  class VixCommonData;

  static constexpr size_t kReviewLane = 0;
  static constexpr size_t kUpdateLane = 1;
  static constexpr size_t kFullLane = 2;
  static constexpr Vix::Seconds kRetryOnlyWhenAsked = 1e12;

  void runReview();
  Vix::ReviewAction doExecute(ModifyMacEntry const& m);
  // False when the chip refused the add for a full table.
  bool doProgram(ModifyMacEntry const& m, bool isUpdate);
  void addToFdbStatus(Key const& key, Nollo::IntfId const& intf, uint32_t moves, Bridging::EntryType type);
  void delFromFdbStatus(Key const& key);
  void maybeDeleteFdbStatus(uint16_t fid);
  std::optional<Bridging::LearnedHost> fdbEntry(Key const& key) const;
  bool checkIgnoreEvent(Key const& key, Nollo::IntfId const& intf, Bridging::EntryType type) const;
  void detectRemoteLocalMove(Key const& key, bool learnedRemote, ModifyMacEntry& m) const;
  uint32_t maybeUpdateMoveCount(Key const& key, Seqno32 seq);
  void incRemoteRefcount(Key const& key, uint32_t tunnelId, Bridging::EntryType entryType);
  void cleanupRemoteMac(Key const& key);
  void doReportFull(ModifyMacEntry const& m);
  bool isPeerLink(Nollo::IntfId const& intf) const;

  Vix::Ptr<KorTypes::MacTable const> macTable_;
  Vix::Ptr<KorTypes::MacTable const> routerMacTable_;
  Vix::Ptr<Bridging::Config const> bridgingConfig_;
  Vix::Ptr<Mlag::Status const> mlagStatus_;
  Vix::Ptr<Bridging::HostTableFlushRequestDir const> flushRequestDir_;
  Vix::Ptr<Bridging::Status> bridgingStatus_;
  Vix::Ptr<KorHelper::KorHelperMacAddrSm> korHelper_;
  Vix::Ptr<CondensedFlushRequest> condensedFlushRequest_;
  bool deferMacTableUpdate_ = true;
  Nollo::IntfId peerLinkIntf_;
  std::map<Key, Seqno32> moveCount_;
  std::map<Nollo::IntfId, bool> learning_;
  // Remote entries: the tunnel each is behind, and the reference counts per
  // VLAN and per tunnel (the remote next hop) that keep them.
  std::map<Key, uint32_t> remoteEntry_;
  std::map<uint16_t, uint32_t> vlanRemoteMacRefcount_;
  std::map<uint32_t, uint32_t> remoteNextHopIdRefcount_;
  std::map<uint16_t, std::unique_ptr<VixFdbConfig>> fdbConfig_;
  uint64_t execFlushCount_ = 0;
  Review review_;
  Vix::Clock flushReqTimer_;
  Vix::ReactorSet<MacAddrSm> vixReactors_{this};
};

// A null common data, table, configuration, status, directory or helper
// throws "null ValidPtr" before anything is built.
KOR_EXPORT Vix::Ptr<MacAddrSm> macAddrSmFactory(
    Vix::Ptr<KorCommonSmData> const& acsd, Vix::Ptr<KorTypes::MacTable const> const& macTable,
    Vix::Ptr<KorTypes::MacTable const> const& routerMacTable, Vix::Ptr<Bridging::Config const> const& bridgingConfig,
    Vix::Ptr<Mlag::Status const> const& mlagStatus,
    Vix::Ptr<Bridging::HostTableFlushRequestDir const> const& flushRequestDir,
    Vix::Ptr<Bridging::Status> const& bridgingStatus, Vix::Ptr<KorHelper::KorHelperMacAddrSm> const& korHelper);

VIX_LOG_EXTERN(ETH_MACADDRBANKFULL);

}  // namespace Kor
