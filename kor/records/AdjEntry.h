#pragma once
// One adjacency of a VRF: created by the adjacency machine's first review of
// a FEC (adjIndex is the FEC id's value, never 0 for a reviewed FEC), held in
// the VRF's VrfL3Status::adjEntryList, shared by every route of the VRF whose
// FEC resolves to it. It holds the vias of one family (adjVia for IPv4,
// adjVia6 for IPv6; an IPv4 entry holds an adjVia6 only for a next-hop group),
// the shared L2 adjacency the L2 adjacency helper bound it to, and its users:
// the count of prefixes attached by the route machines, the prefixes waiting for its
// review, resilient-ECMP users and policy-routing users. adjToIntf lists the
// interfaces its vias leave by (mirrored in L3Status::intfToAdjEntry).
#include <cstddef>
#include <cstdint>
#include <set>

#include "kor/records/AdjVia.h"
#include "kor/common/KorExport.h"
#include "kor/records/RouteType.h"
#include "kor/records/VrfId.h"
#include "nollo/IntfId.h"
#include "nollo/IpPrefix.h"
#include "quill/FecId.h"
#include "vix/HashMap.h"
#include "vix/Ptr.h"

namespace Kor {

class L2Adjacency;

class KOR_EXPORT AdjEntry : public Vix::PtrInterface {
 public:
  // Hash sets (the value is unused) of the prefixes waiting for a review.
  using PrefixSet = Vix::HashMap<Nollo::IpPrefix, bool>;
  using Prefix6Set = Vix::HashMap<Nollo::Ip6Prefix, bool>;

  explicit AdjEntry(Quill::Fib::FecId fecId);
  ~AdjEntry() override;

  Quill::Fib::FecId fecId() const { return fecId_; }
  uint64_t adjIndex() const { return fecId_.value(); }
  VrfId vrfId() const { return vrfId_; }
  void vrfIdIs(VrfId v) { vrfId_ = v; }
  RouteType routeType() const { return routeType_; }
  void routeTypeIs(RouteType t) { routeType_ = t; }
  // 6 when the entry carries IPv6 vias, else 4.
  uint8_t ipVersion() const { return adjVia6_ && routeType_ != RouteType::nexthopGroupRoute ? 6 : 4; }

  Vix::Ptr<AdjVia> const& adjVia() const { return adjVia_; }
  void adjViaIs(Vix::Ptr<AdjVia> const& v) { adjVia_ = v; }
  Vix::Ptr<AdjVia6> const& adjVia6() const { return adjVia6_; }
  void adjVia6Is(Vix::Ptr<AdjVia6> const& v) { adjVia6_ = v; }
  template <class AF>
  Vix::Ptr<AdjViaT<AF>> const& adjViaOf() const {
    if constexpr (AF::version == 4) return adjVia_;
    else return adjVia6_;
  }

  Vix::Ptr<L2Adjacency> const& l2Adj() const { return l2Adj_; }
  void l2AdjIs(Vix::Ptr<L2Adjacency> const& l2Adj);

  PrefixSet const& reviewPendingPrefixList() const { return reviewPendingPrefix_; }
  Prefix6Set const& reviewPendingPrefix6List() const { return reviewPendingPrefix6_; }
  // Counts, as the review-completion check reads them.
  // Attached prefixes are counted, not listed: the route machines keep the
  // lists their prefix walks need (FecPrefixList), and attach a prefix to
  // one entry at most once.
  size_t prefixs() const { return prefixs_; }
  size_t prefix6s() const { return prefix6s_; }
  size_t reviewPendingPrefixs() const { return reviewPendingPrefix_.size(); }
  size_t reviewPendingPrefix6s() const { return reviewPendingPrefix6_.size(); }
  // Returns true when the set changed.
  void prefixIs(Nollo::IpPrefix const&) { ++prefixs_; }
  void prefixIs(Nollo::Ip6Prefix const&) { ++prefix6s_; }
  bool prefixDel(Nollo::IpPrefix const&) { return prefixs_ ? (--prefixs_, true) : false; }
  bool prefixDel(Nollo::Ip6Prefix const&) { return prefix6s_ ? (--prefix6s_, true) : false; }
  bool reviewPendingPrefixIs(Nollo::IpPrefix const& p) { return reviewPendingPrefix_.try_emplace(p, true).second; }
  bool reviewPendingPrefixIs(Nollo::Ip6Prefix const& p) { return reviewPendingPrefix6_.try_emplace(p, true).second; }
  bool reviewPendingPrefixDel(Nollo::IpPrefix const& p) { return reviewPendingPrefix_.erase(p) != 0; }
  bool reviewPendingPrefixDel(Nollo::Ip6Prefix const& p) { return reviewPendingPrefix6_.erase(p) != 0; }

  uint32_t resilientAdjEntrys() const { return resilientAdjEntrys_; }
  void resilientAdjEntrysIs(uint32_t n) { resilientAdjEntrys_ = n; }
  uint32_t resilientAdj6Entrys() const { return resilientAdj6Entrys_; }
  void resilientAdj6EntrysIs(uint32_t n) { resilientAdj6Entrys_ = n; }
  uint32_t pbr() const { return pbr_; }
  void pbrIs(uint32_t n) { pbr_ = n; }

  std::set<Nollo::IntfId> const& adjToIntf() const { return adjToIntf_; }
  void adjToIntfIs(std::set<Nollo::IntfId> s) { adjToIntf_ = std::move(s); }

  bool intfStatusReviewInProgress() const { return intfStatusReviewInProgress_; }
  void intfStatusReviewInProgressIs(bool b) { intfStatusReviewInProgress_ = b; }
  bool l2AdjWaitingOnReview() const { return l2AdjWaitingOnReview_; }
  void l2AdjWaitingOnReviewIs(bool b) { l2AdjWaitingOnReview_ = b; }

  // Nothing uses the entry: no prefix, no resilient or policy-routing user.
  bool unused() const {
    return prefixs_ == 0 && prefix6s_ == 0 && reviewPendingPrefix_.empty() &&
           reviewPendingPrefix6_.empty() && resilientAdjEntrys_ == 0 && resilientAdj6Entrys_ == 0 && pbr_ == 0;
  }

 private:
  Quill::Fib::FecId fecId_;
  VrfId vrfId_;
  RouteType routeType_ = RouteType::invalidRoute;
  Vix::Ptr<AdjVia> adjVia_;
  Vix::Ptr<AdjVia6> adjVia6_;
  Vix::Ptr<L2Adjacency> l2Adj_;
  uint32_t prefixs_ = 0;
  uint32_t prefix6s_ = 0;
  PrefixSet reviewPendingPrefix_;
  Prefix6Set reviewPendingPrefix6_;
  uint32_t resilientAdjEntrys_ = 0;
  uint32_t resilientAdj6Entrys_ = 0;
  uint32_t pbr_ = 0;
  std::set<Nollo::IntfId> adjToIntf_;
  bool intfStatusReviewInProgress_ = false;
  bool l2AdjWaitingOnReview_ = false;
};

}  // namespace Kor
