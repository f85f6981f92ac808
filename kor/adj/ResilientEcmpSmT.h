#pragma once
// The resilient ECMP machine of one VRF and address family
// (resilientEcmpSm / resilientEcmp6Sm), owned by the VRF's adjacency machine.
// It keeps one fixed bucket table per resilient prefix: a prefix configured
// in ResilientEcmpConfig, while the hardware publishes
// resilientEcmpSupported, is routed through an adjacency of its own - an
// index of the resilient id space (FEC ids of adjacency type kAdjType) -
// whose vias carry bucket bitmaps (AdjVia::viaBitmap: bucket i is via index
// i). The members of the table are the distinct primary vias of the
// adjacency of the FEC the route points at, whatever kind of FEC that is; a
// FEC whose adjacency has none (drop, attached, not yet reviewed) leaves the
// prefix plain ECMP. A via repeated in that adjacency weighs its
// repetitions; only members that can forward (resolved, or over a resolved
// tunnel, in the FEC adjacency's L2 adjacency) hold buckets - all of them
// when none can. The table is ResilientBucketTable: a next hop that goes
// frees only its buckets, one that comes takes the fewest.
//
// Invariants: an entry exists only for a prefix its route machine routed
// as resilient (handleResilientEcmpRoute); its adjacency counts the entry in
// resilientAdjEntrys (resilientAdj6Entrys) and is deleted by the adjacency
// machine's review once the entry is gone. A prefix whose configuration or
// hardware support goes is re-reviewed by its route machine
// (routeReviewHandler), which hands the plain adjacency over before the
// resilient one is released, so the chip's route never names a deleted L2
// adjacency.
//
// Restart: a new entry first adopts a bucket table the chip kept from an
// earlier run (read back through the L2 adjacency helper) of its size over
// exactly its members, so a table rebalanced before the restart keeps its
// buckets and is claimed back with no bucket write. The chip's L2 data does
// not name its prefix: two prefixes of equal size and members may swap
// their kept tables (each still balanced, no bucket rewritten).
//
// Fed by: the route machine (handleResilientEcmpRoute), the adjacency machine
// (doMaybeHandleResilientFec, reviewResilientAdj), the configuration and
// the hardware status.
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <ostream>

#include "kor/adj/ResilientBucketTable.h"
#include "kor/adj/ResilientTableShow.h"
#include "kor/common/KorBaseSm.h"
#include "kor/common/VrfName.h"
#include "kor/records/AdjEntry.h"
#include "kor/records/ResilientEcmpConfig.h"
#include "kor/records/ViaT.h"
#include "models/routing/hardware/Status.h"
#include "nollo/IpPrefix.h"
#include "nollo/Ipv4.h"
#include "nollo/Ipv6.h"
#include "quill/FecId.h"
#include "vix/ReactorSet.h"

namespace Kor {

class AdjSm;

template <class AF>
class KOR_EXPORT ResilientEcmpSmT : public KorBaseSm {
 public:
  using Prefix = Nollo::IpPrefixT<AF>;
  using Via = ViaT<AF>;
  using Table = ResilientBucketTable<Via>;
  using FecId = Quill::Fib::FecId;
  using RouteReviewHandler = std::function<void(Prefix const&)>;
  // The adjacency types of the resilient id spaces (IPv4, IPv6): beyond
  // every type the FIB writes, so no FEC id can collide with them.
  static constexpr Quill::Fib::AdjType kAdjType = Quill::Fib::AdjType(AF::version == 6 ? 0x41 : 0x40);
  static bool isResilientAdjIndex(uint64_t adjIndex) { return FecId(adjIndex).adjType() == kAdjType; }

  struct Entry {
    ResilientEcmpParams params;
    FecId fecId;     // the FEC the route points at
    FecId adjId;     // the resilient adjacency
    Table table;
    uint64_t bucketMoves = 0;  // buckets that changed member since creation
    std::map<Via, uint32_t> weights{};  // the FEC's primary vias, with their repetitions
    bool fresh = true;         // not filled yet: may adopt a table the chip kept
  };

  ResilientEcmpSmT(Vix::Ptr<KorCommonSmData> const& acsd, VrfName const& vrfName, AdjSm* adjSm,
                   Vix::Ptr<ResilientEcmpConfig const> const& config,
                   Vix::Ptr<Routing::Hardware::Status const> const& routingHwStatus);
  ~ResilientEcmpSmT() override;

  void routeReviewHandlerIs(RouteReviewHandler h) { routeReviewHandler_ = std::move(h); }

  // Configured with valid parameters and supported by the hardware.
  bool isResilient(Prefix const& prefix) const;
  bool hasResilientEntry(Prefix const& prefix) const { return entry_.count(prefix) != 0; }
  Entry const* entry(Prefix const& prefix) const;
  std::map<Prefix, Entry> const& entries() const { return entry_; }

  // The route of `prefix` points at `fecId` (invalid: at no FEC, or the
  // route is gone). Returns the L2 adjacency index to hand over: that of the
  // prefix's resilient adjacency, or `plainL2Index` when the prefix is not
  // (or no longer) resilient or its FEC has no vias to spread.
  uint64_t handleResilientEcmpRoute(Prefix const& prefix, FecId const& fecId, uint64_t plainL2Index);
  // Asked by the adjacency machine before a prefix leaves an adjacency:
  // true lets it go on (a resilient prefix stays attached to its FEC's
  // adjacency as any route; its own adjacency is kept by the entry).
  bool handleUpdatePrefixAdjEntry(Prefix const& prefix, uint64_t oldAdjIndex, uint64_t newAdjIndex);
  // The resilient adjacencies built from `fecId` (reviewed after it).
  std::vector<FecId> resilientAdjsOf(FecId const& fecId) const;
  // Rebuilds a resilient adjacency from its FEC's adjacency; one whose entry
  // is gone is deleted. False when the adjacency is unknown.
  bool reviewResilientAdj(FecId const& adjId);

  // Reacting to the inputs.
  void handlePrefix(Prefix const& prefix);
  void handleResilientEcmpSupported();
  void handleVerify() override;

  // The bucket tables, one per prefix, for the shows.
  void tableShowsAdd(std::vector<ResilientTableShow>& out) const;

 private:
  class VixConfig;
  class VixHwStatus;

  bool doUpdateEntry(Prefix const& prefix, Entry& e, bool reviewed = false);
  void doReleaseEntry(Prefix const& prefix);
  void doAdoptHeldTable(Prefix const& prefix, Entry& e, std::map<Via, uint32_t> const& members);
  static std::map<Via, uint32_t> forwarding(AdjEntry const& fecAdj, std::map<Via, uint32_t> const& members);
  std::optional<ResilientEcmpParams> configured(Prefix const& prefix) const;

  VrfName vrfName_;
  AdjSm* adjSm_;
  Vix::Ptr<ResilientEcmpConfig const> config_;
  Vix::Ptr<Routing::Hardware::Status const> routingHwStatus_;
  RouteReviewHandler routeReviewHandler_;
  std::map<Prefix, Entry> entry_;
  std::map<FecId, Prefix> adjPrefix_;
  uint64_t nextAdjIndex_ = 1;
  Vix::ReactorSet<ResilientEcmpSmT> vixReactors_{this};
};

using ResilientEcmpSm = ResilientEcmpSmT<Nollo::Ipv4>;
using ResilientEcmp6Sm = ResilientEcmpSmT<Nollo::Ipv6>;

extern template class ResilientEcmpSmT<Nollo::Ipv4>;
extern template class ResilientEcmpSmT<Nollo::Ipv6>;

}  // namespace Kor
