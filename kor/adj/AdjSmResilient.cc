// The adjacency machine's side of resilient ECMP: ownership of the VRF's
// resilient machines, the review branch for resilient adjacency indexes,
// and the calls those machines make to program their adjacencies.
#include "kor/adj/AdjSm.h"
#include "kor/adj/ResilientEcmpSmT.h"
#include "nollo/Ip6Hdr.h"

namespace Kor {

void AdjSm::resilientEcmpSmIs(Vix::Ptr<ResilientEcmpSmT<Nollo::Ipv4>> const& sm) { resilientEcmpSm_ = sm; }
void AdjSm::resilientEcmp6SmIs(Vix::Ptr<ResilientEcmpSmT<Nollo::Ipv6>> const& sm) { resilientEcmp6Sm_ = sm; }

template <class AF>
ResilientEcmpSmT<AF>* AdjSm::resilientEcmpSmOf() const {
  if constexpr (AF::version == 6) return resilientEcmp6Sm_.ptr();
  else return resilientEcmpSm_.ptr();
}

template ResilientEcmpSmT<Nollo::Ipv4>* AdjSm::resilientEcmpSmOf<Nollo::Ipv4>() const;
template ResilientEcmpSmT<Nollo::Ipv6>* AdjSm::resilientEcmpSmOf<Nollo::Ipv6>() const;

void AdjSm::doMaybeHandleResilientFec(FecId const& fecId, uint8_t ipVersion) {
  std::vector<FecId> adjs;
  if (ipVersion == Nollo::Ip6Hdr::ipVersion6()) {
    if (resilientEcmp6Sm_) adjs = resilientEcmp6Sm_->resilientAdjsOf(fecId);
  } else if (resilientEcmpSm_) {
    adjs = resilientEcmpSm_->resilientAdjsOf(fecId);
  }
  for (auto const& adjId : adjs) {
    KOR_TRACE(8, "Resilient adj " << adjId << " follows fec " << fecId);
    enqueue(kAdjLane, adjId, AdjForReviewInfo(ipVersion, AdjUpdateType::regularAdjUpdate));
  }
}

void AdjSm::doQueueResilientAdjReview(FecId const& adjId, uint8_t ipVersion) {
  enqueue(kAdjLane, adjId, AdjForReviewInfo(ipVersion, AdjUpdateType::regularAdjUpdate));
  maybeScheduleAdjReview();
}

bool AdjSm::reviewResilientAdj(FecId const& fecId, uint64_t, AdjUpdateType) {
  KOR_TRACE(5, "reviewResilientAdj vrf: " << vrfName_ << ", adj: " << fecId);
  bool ok = resilientEcmpSm_ && resilientEcmpSm_->reviewResilientAdj(fecId);
  review_.erase(kAdjLane, fecId);
  return ok;
}

bool AdjSm::reviewResilientAdj6(FecId const& fecId, uint64_t, AdjUpdateType) {
  KOR_TRACE(5, "reviewResilientAdj6 vrf: " << vrfName_ << ", adj: " << fecId);
  bool ok = resilientEcmp6Sm_ && resilientEcmp6Sm_->reviewResilientAdj(fecId);
  review_.erase(kAdjLane, fecId);
  return ok;
}

// Called from the route machine's hand-over as well as from the review: an
// L2 adjacency the chip refused waits in the retry lane, which is armed here
// since no review pass may be coming to arm it.
template <class AF>
void AdjSm::doUpdateResilientAdjEntry(Vix::Ptr<AdjEntry> const& adjEntry, Vix::Ptr<AdjViaT<AF>> const& adjVia) {
  deleteNextHopMappings(adjEntry);
  addAdjViaToAdjEntry<AF>(adjEntry, adjVia);
  createOrUpdateL2Adj(adjEntry, AdjUpdateType::regularAdjUpdate);
  vrfL3Status_->adjEntryReviewCntIs(adjEntry->fecId(), vrfL3Status_->adjEntryReviewCnt(adjEntry->fecId()) + 1);
  maybeScheduleAdjReview();
}

template void AdjSm::doUpdateResilientAdjEntry<Nollo::Ipv4>(Vix::Ptr<AdjEntry> const&, Vix::Ptr<AdjVia> const&);
template void AdjSm::doUpdateResilientAdjEntry<Nollo::Ipv6>(Vix::Ptr<AdjEntry> const&, Vix::Ptr<AdjVia6> const&);

void AdjSm::resilientTableShowsAdd(std::vector<ResilientTableShow>& out) const {
  if (resilientEcmpSm_) resilientEcmpSm_->tableShowsAdd(out);
  if (resilientEcmp6Sm_) resilientEcmp6Sm_->tableShowsAdd(out);
}

}  // namespace Kor
