#pragma once
// Applies what zebra sends over FPM - routes and next-hop objects - to the
// agent: next-hop sets become FECs in the FIB FEC tables of the route's VRF,
// routes go straight into the VRF's FIB route table.
//
// Owns the bookkeeping between the two: every route it wrote (its FEC, its
// metric and the connection generation that last sent it), the FECs it made
// and the next-hop objects zebra announced. FECs: one per (VRF, family,
// inline next-hop set), one per (VRF, family, next-hop object id), one drop
// FEC per (VRF, family); ids from FibModule::kRouteSourceFecBase up, never
// reused. Invariants:
//  - a prefix it holds is in the VRF's FIB table with the FEC of its lowest
//    metric entry; every FEC a held route uses is in the FIB;
//  - a FEC left without routes is removed after kFecGrace (zebra replaces a
//    route by a delete and an add: the FEC outlives the gap and is taken
//    again), unless a route took it in the meantime;
//  - a message applies whole or not at all: bad input is counted, logged
//    with what it names, and changes nothing;
//  - an identical re-add writes nothing, so a replay after a reconnect
//    leaves the FIB (and the chip) untouched.
// Replay rule: each connection is a generation. Routes and next-hop objects
// the current connection re-sent carry its generation; once it has sent its
// first message and then been quiet (no message) for staleQuiet(), whatever
// is older is removed. A connection that sends nothing removes nothing, and
// while zebra is away nothing is removed: the switch keeps forwarding.
//
// Next-hop groups: while the hardware publishes nexthopGroupSupported, a
// zebra group object (RTM_NEWNEXTHOP with members) whose members forward is
// handed to the library as a next-hop group instead of being expanded
// (FpmGroupPublisher names and publishes it), members resolved as any via
// with their weights (FpmNexthopResolver). A route naming it goes over the
// group's FEC (adjacency type nextHopGroupAdj, index the group id), one per
// VRF and family like any object FEC. Invariants:
//  - a group is published while a group FEC built from its object exists
//    (routes, shadowed entries or the grace hold it) and withdrawn with the
//    last one; a replaced object republishes it under the same id, so its
//    routes do not move;
//  - single next-hop objects, blackhole groups and routes with inline next
//    hops are expanded into FECs in either mode: a group of one path buys
//    nothing over the object's FEC, which its routes share already;
//  - the flag changing re-expresses every route over an object FEC of the
//    other kind: the change queues those prefixes on a ReviewLoop, whose
//    passes (one quantum of the loop each) move each to its object's FEC of
//    the new kind; the old FECs go after kFecGrace as any unused FEC.
//
// A route naming an object not announced (or deleted) is held in
// FpmHeldRoutes until the object comes, then applied.
//
// Fed by FpmServer (decoded messages, connection up and down); interface and
// VRF names come through the lookups main wires to the kernel's maps; the
// hardware flag through the chip module's hardware status.
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "agent/Agent.h"
#include "agent/fib/FibModule.h"
#include "agent/fpm/FpmFault.h"
#include "agent/fpm/FpmGroupPublisher.h"
#include "agent/fpm/FpmHeldRoutes.h"
#include "agent/fpm/FpmNexthopResolver.h"
#include "agent/fpm/FpmPrefixTable.h"
#include "feeds/NlNexthopObject.h"
#include "feeds/NlRoute.h"
#include "kor/common/VrfName.h"
#include "nollo/IntfId.h"
#include "nollo/IpPrefix.h"
#include "quill/FecType.h"
#include "quill/RouteStatus.h"
#include "vix/Clock.h"
#include "vix/HashMap.h"
#include "vix/Log.h"
#include "vix/ReviewLoop.h"

// Raised once per second at most for skipped routes (the counters have them all).
VIX_LOG_EXTERN(FPM_ROUTE_SKIPPED);
VIX_LOG_EXTERN(FPM_NEXTHOP_SKIPPED);

namespace KorAgent {

class FpmRouteSource {
 public:
  using IntfLookup = FpmNexthopResolver::IntfLookup;
  using VrfLookup = std::function<std::optional<Kor::VrfName>(uint32_t table)>;
  static constexpr uint32_t kMainTable = 254;  // zebra's main table: VRF default
  static constexpr Vix::Seconds kFecGrace = 1.0;
  // The default quiet period before the stale sweep (staleQuietIs()).
  static constexpr Vix::Seconds kStaleQuiet = 5.0;
  // Stale routes removed per loop turn, so a sweep never holds the loop.
  static constexpr size_t kSweepBatch = 10000;

  struct Counters {
    uint64_t routeWrites = 0;      // RTM_NEWROUTE written to the FIB (new prefix or new FEC)
    uint64_t routeUnchanged = 0;   // RTM_NEWROUTE the FIB already held: nothing written
    uint64_t routeShadowed = 0;    // RTM_NEWROUTE of a higher metric than the one in the FIB
    uint64_t routeDels = 0;
    uint64_t routeDelUnknown = 0;  // RTM_DELROUTE of nothing held
    uint64_t routeStale = 0;       // removed: not re-sent by a new connection
    uint64_t nexthopAdds = 0, nexthopUpdates = 0, nexthopUnchanged = 0, nexthopDels = 0;
    uint64_t nexthopDelUnknown = 0, nexthopStale = 0;
    uint64_t fecAdds = 0, fecUpdates = 0, fecReuses = 0, fecDels = 0;
    // Skipped routes / next-hop objects, by cause.
    uint64_t unknownTable = 0, unknownNexthop = 0, unknownIntf = 0, familyMismatch = 0;
    uint64_t unsupported = 0, refused = 0;
    uint64_t connections = 0;
    // Changes of the flag; routes moved between FEC kinds by them.
    uint64_t modeChanges = 0, routeMoves = 0;
  };
  // The library group a zebra group object becomes in group mode.
  static std::string groupName(uint32_t nhId) { return FpmGroupPublisher::groupName(nhId); }
  static uint64_t groupId(uint32_t nhId) { return FpmGroupPublisher::groupId(nhId); }

  FpmRouteSource(Agent* agent, IntfLookup intfLookup, VrfLookup vrfLookup);
  FpmRouteSource(FpmRouteSource const&) = delete;
  FpmRouteSource& operator=(FpmRouteSource const&) = delete;
  ~FpmRouteSource();

  void handle(KorFeeds::NlRoute const& r);
  void handle(KorFeeds::NlNexthopObject const& o);
  // A new zebra connection: a new generation; its first message starts the
  // quiet timer of the stale sweep. A lost one stops a pending sweep.
  void handleConnectionUp();
  void handleConnectionDown();
  // The table -> VRF map changed: table lookups are asked again.
  void handleTablesChanged();
  // How long a new connection must be quiet before the stale sweep (tests
  // shorten it).
  void staleQuietIs(Vix::Seconds s) { staleQuiet_ = s; }
  Vix::Seconds staleQuiet() const { return staleQuiet_; }

  Counters const& counters() const { return counters_; }
  size_t routes() const;
  size_t fecs() const { return fecs_.size(); }
  size_t nexthopObjects() const { return objects_.size(); }
  // Group objects go to the library as next-hop groups (the hardware's
  // nexthopGroupSupported, as last applied).
  bool groupMode() const { return publisher_.groupMode(); }
  size_t groups() const { return publisher_.groups(); }
  FpmGroupPublisher const& publisher() const { return publisher_; }
  // Routes waiting for their next-hop object (tests lower the bound).
  FpmHeldRoutes& held() { return held_; }
  // Routes a change of the flag queued to move, not moved yet; the moves'
  // review loop (tests slice it finer).
  size_t routesToMove() const { return moves_.size(); }
  auto& moveLoop() { return moves_; }
  // A connection's replay may still remove stale routes: it has sent
  // nothing yet, or its sweep has not run.
  bool sweepPending() const { return replayAwaited_ || sweepClock_.armed(); }
  std::string show(bool json) const;

 private:
  struct FecEntry;
  struct VrfState;
  struct NhObject;
  template <class AF>
  using Table = FpmPrefixTable<AF, FecEntry, FpmRouteSource>;
  template <class, class, class>
  friend class FpmPrefixTable;
  // An inline next-hop set (sorted) of one VRF and family; empty: the drop FEC.
  struct SetKey {
    uint32_t vrf = 0;
    bool v6 = false;
    std::vector<KorFeeds::NlNexthop> hops;
    bool operator==(SetKey const&) const = default;
  };
  struct SetKeyHash {
    size_t operator()(SetKey const& k) const noexcept;
  };
  using Fault = FpmFault;
  // A prefix of a VRF a change of the flag may move.
  struct MoveKey {
    VrfState* vrf = nullptr;
    FibModule::Prefix prefix;
    bool operator==(MoveKey const&) const = default;
  };
  struct MoveKeyHash {
    size_t operator()(MoveKey const& k) const noexcept;
  };
  struct Idle {
    FecEntry* fec;
    Vix::Seconds due;
  };

  template <class AF>
  void doRoute(KorFeeds::NlRoute const& r, Nollo::IpPrefixT<AF> const& prefix);
  template <class AF>
  Fault fecFor(VrfState& vrf, KorFeeds::NlRoute const& r, FecEntry** out, std::string* why);
  template <class AF>
  Fault resolveObject(NhObject const& o, std::vector<FibModule::Via>* vias, Quill::Fib::FecType* type,
                      std::string* why);
  // A route over an unknown object waits for it; false: refused.
  bool doHold(KorFeeds::NlRoute const& r, std::string const& prefix, std::string const& why);
  void doReleaseHeld(uint32_t nhId);
  Fault doCreateFec(VrfState& vrf, bool v6, Quill::Fib::FecType type, std::vector<FibModule::Via> const& vias,
                    FecEntry** out, std::string* why);
  // The FEC of object `id` in the VRF and family, made on first use: a group
  // FEC in group mode for a forwarding group, else an expanded one.
  template <class AF>
  Fault objectFec(VrfState& vrf, NhObject& o, FecEntry** out, std::string* why);
  template <class AF>
  Fault doCreateGroupFec(VrfState& vrf, NhObject& o, FecEntry** out, std::string* why);
  void doModeChange(bool on);
  template <class AF>
  void doQueueMoves(VrfState& vrf);
  void handleMovePass();
  Vix::ReviewAction doMove(MoveKey const& k);
  template <class AF>
  void doMoveRoute(VrfState& vrf, Nollo::IpPrefixT<AF> const& p);
  template <class AF>
  FecEntry* reexpressed(VrfState& vrf, FecEntry* fe);
  void doRebuild(FecEntry& fe);
  void doRefreshObject(NhObject& o);
  void doNexthopAdd(KorFeeds::NlNexthopObject const& o);
  void doNexthopDel(uint32_t id);
  void doMaybeEraseObject(uint32_t id);
  void doParentsIs(uint32_t id, std::vector<KorFeeds::NlNexthopObject::Member> const& members, bool add);
  void doRef(FecEntry* fe);
  void doUnref(FecEntry* fe);
  void doFecDel(FecEntry* fe);
  void doCount(Fault f);
  void doSkip(Fault f, std::string const& prefix, uint32_t table, std::string const& why);
  void doSkip(Fault f, uint32_t nhId, std::string const& why);
  void handleGrace();
  void handleSweep();
  void doReplayStarted();
  template <class AF>
  void doCollectStale(VrfState& vrf);
  VrfState* vrfFor(uint32_t table);
  bool stale(uint32_t gen) const { return gen != gen_; }

  Agent* agent_;
  FpmNexthopResolver resolver_;
  VrfLookup vrfLookup_;
  std::vector<std::unique_ptr<VrfState>> vrfs_;
  Vix::HashMap<uint32_t, VrfState*> tableVrf_;
  // The FECs by index (owning); the inline sets and the objects' FECs by key.
  Vix::HashMap<uint64_t, std::unique_ptr<FecEntry>> fecs_;
  Vix::HashMap<SetKey, FecEntry*, SetKeyHash> setFecs_;
  Vix::HashMap<uint64_t, FecEntry*> objectFecs_;
  Vix::HashMap<uint32_t, std::unique_ptr<NhObject>> objects_;
  // Groups naming an object not announced yet, by that object's id.
  Vix::HashMap<uint32_t, std::vector<uint32_t>> orphans_;
  uint64_t nextFecIndex_ = FibModule::kRouteSourceFecBase;
  // Unreferenced FECs in order of due time (a FEC taken again and released
  // appears twice; only the entry matching its idleUntil counts).
  std::deque<Idle> idle_;
  Vix::Clock graceClock_;
  // Stale sweep: armed at the first message of a connection; runs once no
  // message came for a whole quiet period; then removes stale routes a batch
  // per turn.
  Vix::Clock sweepClock_;
  bool replayAwaited_ = false;  // connected, no message yet
  Vix::Seconds staleQuiet_ = kStaleQuiet;
  uint64_t messages_ = 0;
  uint64_t messagesAtCheck_ = 0;
  bool sweeping_ = false;
  uint64_t staleAtStart_ = 0;
  std::vector<std::pair<VrfState*, Nollo::IpPrefix>> stale4_;
  std::vector<std::pair<VrfState*, Nollo::Ip6Prefix>> stale6_;
  uint32_t gen_ = 0;
  // Scratch storage reused by every route, so the hot path does not allocate.
  SetKey key_;
  std::vector<FibModule::Via> vias_;
  FpmGroupPublisher publisher_;
  FpmHeldRoutes held_;
  // Prefixes a change of the flag moves, a quantum per pass.
  Vix::ReviewLoop<MoveKey, bool, MoveKeyHash> moves_;
  Counters counters_;
};

}  // namespace KorAgent
