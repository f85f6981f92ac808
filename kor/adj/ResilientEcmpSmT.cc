#include "kor/adj/ResilientEcmpSmT.h"

#include <algorithm>
#include <set>
#include <sstream>
#include <string>

#include "kor/adj/AdjSm.h"
#include "kor/adj/L2AdjHelper.h"
#include "kor/common/KorAssert.h"
#include "kor/records/L2Adjacency.h"
#include "nollo/Ip6Hdr.h"

namespace Kor {

template <class AF>
class ResilientEcmpSmT<AF>::VixConfig : public Vix::NestedReactor<ResilientEcmpSmT<AF>, ResilientEcmpConfig::Notifiee> {
 public:
  void handlePrefix(ResilientEcmpConfig::Key const& k) override {
    if constexpr (AF::version == 4)
      if (k.first == this->sm_->vrfName_) this->sm_->handlePrefix(k.second);
  }
  void handlePrefix6(ResilientEcmpConfig::Key6 const& k) override {
    if constexpr (AF::version == 6)
      if (k.first == this->sm_->vrfName_) this->sm_->handlePrefix(k.second);
  }
};

template <class AF>
class ResilientEcmpSmT<AF>::VixHwStatus
    : public Vix::NestedReactor<ResilientEcmpSmT<AF>, Routing::Hardware::Status::Notifiee> {
 public:
  void handleResilientEcmpSupported() override { this->sm_->handleResilientEcmpSupported(); }
};

template <class AF>
ResilientEcmpSmT<AF>::ResilientEcmpSmT(Vix::Ptr<KorCommonSmData> const& acsd, VrfName const& vrfName, AdjSm* adjSm,
                                       Vix::Ptr<ResilientEcmpConfig const> const& config,
                                       Vix::Ptr<Routing::Hardware::Status const> const& routingHwStatus)
    : KorBaseSm(acsd, AF::version == 6 ? "KorIp6ResilientEcmpSm" : "KorResilientEcmpSm"), vrfName_(vrfName),
      adjSm_(adjSm), config_(config), routingHwStatus_(routingHwStatus) {
  vixReactors_.template watch<VixConfig>(config_);
  vixReactors_.template watch<VixHwStatus>(routingHwStatus_);
}

// The adjacencies stay with the adjacency machine, which is being deleted
// with this machine (the chip keeps their L2 adjacencies for a restart).
template <class AF>
ResilientEcmpSmT<AF>::~ResilientEcmpSmT() = default;

template <class AF>
std::optional<ResilientEcmpParams> ResilientEcmpSmT<AF>::configured(Prefix const& prefix) const {
  if (!config_) return std::nullopt;
  std::optional<ResilientEcmpParams> p;
  if constexpr (AF::version == 6) {
    if (config_->prefix6Has({vrfName_, prefix})) p = config_->prefix6({vrfName_, prefix});
  } else {
    if (config_->prefixHas({vrfName_, prefix})) p = config_->prefix({vrfName_, prefix});
  }
  if (p && !p->valid()) p.reset();
  return p;
}

template <class AF>
bool ResilientEcmpSmT<AF>::isResilient(Prefix const& prefix) const {
  return routingHwStatus_ && routingHwStatus_->resilientEcmpSupported() && configured(prefix);
}

template <class AF>
typename ResilientEcmpSmT<AF>::Entry const* ResilientEcmpSmT<AF>::entry(Prefix const& prefix) const {
  auto it = entry_.find(prefix);
  return it == entry_.end() ? nullptr : &it->second;
}

template <class AF>
uint64_t ResilientEcmpSmT<AF>::handleResilientEcmpRoute(Prefix const& prefix, FecId const& fecId,
                                                        uint64_t plainL2Index) {
  KOR_TRACE(8, "handleResilientEcmpRoute " << prefix << ", fecId: " << fecId);
  auto params = isResilient(prefix) ? configured(prefix) : std::nullopt;
  if (!params || !fecId.isValid()) {
    doReleaseEntry(prefix);
    return plainL2Index;
  }
  auto it = entry_.find(prefix);
  if (it != entry_.end() && !(it->second.params == *params)) {
    // A new size is a new table: the old adjacency goes after this hand-over.
    doReleaseEntry(prefix);
    it = entry_.end();
  }
  if (it == entry_.end()) {
    FecId adjId = FecId::make(kAdjType, nextAdjIndex_++);
    it = entry_.emplace(prefix, Entry{*params, fecId, adjId, Table(params->buckets()), 0}).first;
    adjPrefix_[adjId] = prefix;
    KOR_TRACE(5, "Resilient prefix " << prefix << " gets adj " << adjId << ", buckets: " << params->buckets());
  }
  it->second.fecId = fecId;
  if (!doUpdateEntry(prefix, it->second)) {
    doReleaseEntry(prefix);
    return plainL2Index;
  }
  auto adj = adjSm_->adjEntry(it->second.adjId.value());
  return adj && adj->l2Adj() ? adj->l2Adj()->index() : 0;
}

// Builds the entry's adjacency from its FEC's adjacency: false when that
// has no primary via (the prefix is then plain ECMP).
template <class AF>
bool ResilientEcmpSmT<AF>::doUpdateEntry(Prefix const& prefix, Entry& e, bool reviewed) {
  auto fecAdj = adjSm_->adjEntry(e.fecId.value());
  auto const& fecVia = fecAdj ? fecAdj->template adjViaOf<AF>() : nullptr;
  bool spreadable = fecAdj && (fecAdj->routeType() == RouteType::forwardRoute ||
                               fecAdj->routeType() == RouteType::nexthopGroupRoute);
  // Primary vias, a repeated via weighing its repetitions.
  std::map<Via, uint32_t> members;
  if (spreadable && fecVia) {
    for (auto const& v : fecVia->viaList())
      if (!v.isBackupVia()) ++members[v];
    for (auto const& kv : fecVia->viaBitmapMap())
      if (!kv.first.isBackupVia()) ++members[kv.first];
  }
  if (members.empty()) {
    KOR_TRACE(5, "Fec " << e.fecId << " of " << prefix << " has no vias to spread, plain ECMP");
    return false;
  }
  e.weights = members;
  members = forwarding(*fecAdj, members);
  if (e.fresh) doAdoptHeldTable(prefix, e, members);
  e.fresh = false;
  uint32_t moved = e.table.weightsIs(members);
  e.bucketMoves += moved;
  KOR_TRACE(8, "Prefix " << prefix << ": " << members.size() << " vias, " << moved << " buckets moved");
  auto adjVia = Vix::makePtr<AdjViaT<AF>>();
  adjVia->noAdjSharingIs(true);
  for (auto const& [via, buckets] : e.table.bucketsByMember()) {
    ViaBitmap bitmap;
    for (uint32_t b : buckets) bitmap.bitIs(ViaIndex(b), true);
    adjVia->viaBitmapIs(via, bitmap);
  }
  auto adj = adjSm_->adjEntry(e.adjId.value());
  if (!adj) {
    adj = Vix::makePtr<AdjEntry>(e.adjId);
    adj->vrfIdIs(adjSm_->vrfId());
    adj->routeTypeIs(RouteType::forwardRoute);
    if constexpr (AF::version == 6) adj->resilientAdj6EntrysIs(1);
    else adj->resilientAdjEntrysIs(1);
    adjSm_->vrfL3Status()->adjEntryListIs(e.adjId, adj);
  }
  // Unchanged vias need no new L2 data - unless the adjacency is reviewed:
  // what its vias resolve to (a tunnel's L2 adjacency, a neighbour, a link)
  // may have changed under them, and the helper rewrites only what differs.
  auto const& old = adj->template adjViaOf<AF>();
  if (!reviewed && old && *old == *adjVia && adj->l2Adj()) return true;
  adjSm_->template doUpdateResilientAdjEntry<AF>(adj, adjVia);
  return true;
}

// A table of the chip's earlier run with this entry's size whose buckets
// name exactly the members' next hops becomes the entry's table; what
// rebalancing then moves (a weight changed across the restart) is minimal
// from there. Without one the table is built from empty.
template <class AF>
void ResilientEcmpSmT<AF>::doAdoptHeldTable(Prefix const& prefix, Entry& e, std::map<Via, uint32_t> const& members) {
  auto const& helper = adjSm_->l2AdjHelper();
  if (!helper) return;
  std::map<Nollo::IpGenAddr, Via> byNextHop;
  for (auto const& kv : members) byNextHop.emplace(Nollo::IpGenAddr(kv.first.nextHop()), kv.first);
  if (byNextHop.size() != members.size()) return;  // one next hop over two paths: not told apart
  for (auto const& coll : helper->unclaimedBucketTables()) {
    std::vector<std::optional<Via>> bucket(e.table.buckets());
    std::set<Nollo::IpGenAddr> named;
    bool fits = true;
    for (auto const& [key, info] : coll.nextHopBitmap()) {
      auto m = byNextHop.find(key.first);
      if (m == byNextHop.end()) fits = false;
      for (uint32_t w = 0; fits && w < key.second.size(); ++w)
        for (uint32_t b = 0; fits && b < 32; ++b) {
          if (!((key.second[w] >> b) & 1u)) continue;
          uint32_t i = w * 32 + b;
          if (i >= bucket.size() || bucket[i]) fits = false;
          else bucket[i] = m->second;
        }
      if (!fits) break;
      named.insert(key.first);
    }
    if (!fits || named.size() != byNextHop.size()) continue;
    if (std::any_of(bucket.begin(), bucket.end(), [](auto const& b) { return !b; })) continue;
    for (uint32_t i = 0; i < bucket.size(); ++i) e.table.bucketIs(i, bucket[i]);
    KOR_TRACE(5, "Resilient prefix " << prefix << " adopts the chip's table of " << bucket.size() << " buckets");
    return;
  }
}

// The members that can forward - their next hop resolved (or their tunnel)
// in the L2 adjacency of the FEC's own adjacency: one waiting for its
// neighbour, or whose link is down, holds no bucket; its buckets are spread
// over the others and it takes its share back once it forwards (the FEC's
// adjacency keeps it, so its resolution goes on as for any route). When none
// can forward, all of them hold buckets, as the plain adjacency holds them.
template <class AF>
std::map<ViaT<AF>, uint32_t> ResilientEcmpSmT<AF>::forwarding(AdjEntry const& fecAdj,
                                                              std::map<Via, uint32_t> const& members) {
  if (!fecAdj.l2Adj()) return members;
  auto const& coll = fecAdj.l2Adj()->via();
  auto forwards = [](NextHopL2Info const& info) {
    return info.type() == NextHopEntryType::nextHopArpResolved || info.type() == NextHopEntryType::nextHopTunnel;
  };
  std::set<Nollo::IpGenAddr> ready;
  for (auto const& [nh, info] : coll.nextHop())
    if (forwards(info)) ready.insert(nh);
  for (auto const& [key, info] : coll.nextHopBitmap())
    if (forwards(info)) ready.insert(key.first);
  std::map<Via, uint32_t> out;
  for (auto const& [via, weight] : members)
    if (ready.count(Nollo::IpGenAddr(via.nextHop()))) out.emplace(via, weight);
  return out.empty() ? members : out;
}

// The entry goes; its adjacency, no longer counted, is deleted by the next
// adjacency review (after the caller's hand-over moved the route off it).
template <class AF>
void ResilientEcmpSmT<AF>::doReleaseEntry(Prefix const& prefix) {
  auto it = entry_.find(prefix);
  if (it == entry_.end()) return;
  FecId adjId = it->second.adjId;
  KOR_TRACE(5, "Resilient prefix " << prefix << " releases adj " << adjId);
  if (auto adj = adjSm_->adjEntry(adjId.value())) {
    if constexpr (AF::version == 6) adj->resilientAdj6EntrysIs(0);
    else adj->resilientAdjEntrysIs(0);
  }
  adjPrefix_.erase(adjId);
  entry_.erase(it);
  adjSm_->doQueueResilientAdjReview(adjId, AF::version == 6 ? Nollo::Ip6Hdr::ipVersion6() : Nollo::Ip6Hdr::ipVersion4());
}

template <class AF>
bool ResilientEcmpSmT<AF>::handleUpdatePrefixAdjEntry(Prefix const& prefix, uint64_t oldAdjIndex,
                                                      uint64_t newAdjIndex) {
  KOR_TRACE(8, "handleUpdatePrefixAdjEntry " << prefix << ", old: " << Quill::Fib::FecId(oldAdjIndex) << ", new: " << Quill::Fib::FecId(newAdjIndex));
  return true;
}

template <class AF>
std::vector<Quill::Fib::FecId> ResilientEcmpSmT<AF>::resilientAdjsOf(FecId const& fecId) const {
  std::vector<FecId> out;
  for (auto const& [prefix, e] : entry_)
    if (e.fecId == fecId) out.push_back(e.adjId);
  return out;
}

template <class AF>
bool ResilientEcmpSmT<AF>::reviewResilientAdj(FecId const& adjId) {
  auto adj = adjSm_->adjEntry(adjId.value());
  auto p = adjPrefix_.find(adjId);
  if (p == adjPrefix_.end()) {
    if (!adj) return false;
    uint32_t users = AF::version == 6 ? adj->resilientAdj6Entrys() : adj->resilientAdjEntrys();
    if (users != 0) korAssert("adj->resilientAdjEntrys() == 0");
    KOR_TRACE(5, "Deleting resilient adj " << adjId);
    adjSm_->removeAdjEntryFromL2Adj(adj);
    return true;
  }
  Prefix prefix = p->second;
  Entry& e = entry_.at(prefix);
  uint64_t oldL2 = adj && adj->l2Adj() ? adj->l2Adj()->index() : 0;
  if (!doUpdateEntry(prefix, e, true)) {
    // The FEC lost its vias: the route goes plain on its next review.
    if (routeReviewHandler_) routeReviewHandler_(prefix);
    return true;
  }
  adj = adjSm_->adjEntry(adjId.value());
  uint64_t newL2 = adj && adj->l2Adj() ? adj->l2Adj()->index() : 0;
  if (newL2 != oldL2 && routeReviewHandler_) routeReviewHandler_(prefix);
  return true;
}

template <class AF>
void ResilientEcmpSmT<AF>::handlePrefix(Prefix const& prefix) {
  KOR_TRACE(5, "Resilient config of " << prefix << " changed");
  if (routeReviewHandler_) routeReviewHandler_(prefix);
}

template <class AF>
void ResilientEcmpSmT<AF>::handleResilientEcmpSupported() {
  std::set<Prefix> prefixes;
  for (auto const& kv : entry_) prefixes.insert(kv.first);
  if (config_) {
    if constexpr (AF::version == 6) {
      for (auto const& kv : config_->prefix6Map())
        if (kv.first.first == vrfName_) prefixes.insert(kv.first.second);
    } else {
      for (auto const& kv : config_->prefixMap())
        if (kv.first.first == vrfName_) prefixes.insert(kv.first.second);
    }
  }
  KOR_TRACE(5, "Resilient ECMP supported: " << (routingHwStatus_ && routingHwStatus_->resilientEcmpSupported())
                                            << ", prefixes: " << prefixes.size());
  if (routeReviewHandler_)
    for (auto const& p : prefixes) routeReviewHandler_(p);
}

template <class AF>
void ResilientEcmpSmT<AF>::handleVerify() {
  std::string faults;
  for (auto const& [prefix, e] : entry_) {
    auto adj = adjSm_->adjEntry(e.adjId.value());
    if (!adj || !adj->l2Adj()) faults += "resilient prefix " + prefix.str() + " has no L2 adjacency; ";
    for (auto const& b : e.table.bucketList())
      if (!b) {
        faults += "resilient prefix " + prefix.str() + " has an empty bucket; ";
        break;
      }
  }
  if (faults.empty()) KOR_VERIFY_REPORT(KorTypes::verifySuccess, "vrf " + vrfName_.str() + " resilient tables consistent");
  else KOR_VERIFY_REPORT(KorTypes::verifyFail, faults);
}

template <class AF>
void ResilientEcmpSmT<AF>::tableShowsAdd(std::vector<ResilientTableShow>& out) const {
  for (auto const& [prefix, e] : entry_) {
    auto adj = adjSm_->adjEntry(e.adjId.value());
    ResilientTableShow t;
    t.prefix = prefix.str();
    t.fec = e.fecId.value();
    t.adj = e.adjId.value();
    t.l2Adj = adj && adj->l2Adj() ? adj->l2Adj()->index() : 0;
    t.buckets = e.table.buckets();
    t.params = e.params;
    t.moves = e.bucketMoves;
    for (auto const& [via, buckets] : e.table.bucketsByMember()) {
      ViaBitmap bitmap;
      for (uint32_t b : buckets) bitmap.bitIs(ViaIndex(b), true);
      std::ostringstream text;
      text << bitmap;
      auto w = e.weights.find(via);
      t.members.push_back({via.nextHop().str(), w == e.weights.end() ? 1 : w->second, buckets, text.str()});
    }
    for (auto const& b : e.table.bucketList()) t.bucketList.push_back(b ? b->nextHop().str() : std::string());
    out.push_back(std::move(t));
  }
}

template class ResilientEcmpSmT<Nollo::Ipv4>;
template class ResilientEcmpSmT<Nollo::Ipv6>;

}  // namespace Kor
