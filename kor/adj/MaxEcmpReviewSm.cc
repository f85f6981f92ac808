#include "kor/adj/MaxEcmpReviewSm.h"

#include <algorithm>

namespace Kor {

class MaxEcmpReviewSm::VixRoutingHwStatus
    : public Vix::NestedReactor<MaxEcmpReviewSm, Routing::Hardware::Status::Notifiee> {
 public:
  void handleMaxEcmp() override { this->sm_->handleMaxEcmp(); }
};

MaxEcmpReviewSm::MaxEcmpReviewSm(Vix::Ptr<KorCommonSmData> const& acsd, Vix::Ptr<VrfL3Status> const& vrfL3Status,
                                 Vix::Ptr<Quill::Fib::ForwardingStatus const> const& forwardingStatus,
                                 Vix::Ptr<Quill::Fib6::ForwardingStatus const> const& forwarding6Status,
                                 Vix::Ptr<Routing::Hardware::Status const> const& routingHwStatus)
    : KorBaseSm(acsd, "KorMaxEcmpReviewSm"), vrfL3Status_(vrfL3Status), forwardingStatus_(forwardingStatus),
      forwarding6Status_(forwarding6Status), routingHwStatus_(routingHwStatus),
      lastMaxEcmp_(routingHwStatus ? routingHwStatus->maxEcmp() : 0) {
  vixReactors_.watch<VixRoutingHwStatus>(routingHwStatus_);
}

void MaxEcmpReviewSm::handleMaxEcmp() {
  uint32_t const now = routingHwStatus_ ? routingHwStatus_->maxEcmp() : 0;
  if (now == lastMaxEcmp_) return;
  // 0 is no limit: the lower of two limits is the other one.
  uint32_t const lower = !now ? lastMaxEcmp_ : !lastMaxEcmp_ ? now : std::min(now, lastMaxEcmp_);
  KOR_TRACE(5, "handleMaxEcmp, old: " << lastMaxEcmp_ << ", new: " << now);
  lastMaxEcmp_ = now;
  size_t n = 0;
  if (forwardingStatus_) n += doRequestReviewsOver(*forwardingStatus_, lower);
  if (forwarding6Status_) n += doRequestReviewsOver(*forwarding6Status_, lower);
  KOR_TRACE(5, n << " FECs over " << lower << " paths reviewed again");
}

template <class AF>
size_t MaxEcmpReviewSm::doRequestReviewsOver(Quill::Fib::ForwardingStatusT<AF> const& fecs, uint32_t limit) {
  size_t n = 0;
  for (auto const& [fecId, fec] : fecs.fecMap()) {
    if (!fec || fec->viaCount() <= limit) continue;
    vrfL3Status_->adjEntryReviewListIs(fecId, AdjReviewType::adjReviewUpdate);
    ++n;
  }
  return n;
}

}  // namespace Kor
