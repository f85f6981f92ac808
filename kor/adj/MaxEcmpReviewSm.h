#pragma once
// Follows the hardware's largest ECMP group (Routing::Hardware::Status::
// maxEcmp) for the adjacencies of one VRF (trace "KorMaxEcmpReviewSm").
// Created and owned by the VRF's AdjSm, which reacts to every request it
// writes.
//
// A FEC is measured against maxEcmp only when it is reviewed: one refused
// (IPv6) or cut (IPv4) under the old limit would stay so until the FEC
// itself changed. When the limit changes, every FEC of the VRF whose vias
// exceed the lower of the old and new limits (0: no limit) gets a
// VrfL3Status::adjEntryReviewList entry (adjReviewUpdate), as any other
// review request: a refused FEC gets its adjacency - and its routes, which
// wait for that adjacency's review, are handed over - a cut one its paths
// back, and one now over a lowered limit is cut or refused.
//
// Invariant: lastMaxEcmp_ is the limit the VRF's FECs were last measured
// against. Fed by: the hardware status, the VRF's FEC tables (read only).
#include <cstdint>

#include "kor/common/KorBaseSm.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/records/VrfL3Status.h"
#include "models/routing/hardware/Status.h"
#include "quill/ForwardingStatus.h"
#include "kor/records/AdjReviewType.h"
#include "vix/ReactorSet.h"

namespace Kor {

class MaxEcmpReviewSm : public KorBaseSm {
 public:
  MaxEcmpReviewSm(Vix::Ptr<KorCommonSmData> const& acsd, Vix::Ptr<VrfL3Status> const& vrfL3Status,
                  Vix::Ptr<Quill::Fib::ForwardingStatus const> const& forwardingStatus,
                  Vix::Ptr<Quill::Fib6::ForwardingStatus const> const& forwarding6Status,
                  Vix::Ptr<Routing::Hardware::Status const> const& routingHwStatus);

  uint32_t lastMaxEcmp() const { return lastMaxEcmp_; }
  void handleMaxEcmp();

 private:
  class VixRoutingHwStatus;
  template <class AF>
  size_t doRequestReviewsOver(Quill::Fib::ForwardingStatusT<AF> const& fecs, uint32_t limit);

  Vix::Ptr<VrfL3Status> vrfL3Status_;
  Vix::Ptr<Quill::Fib::ForwardingStatus const> forwardingStatus_;
  Vix::Ptr<Quill::Fib6::ForwardingStatus const> forwarding6Status_;
  Vix::Ptr<Routing::Hardware::Status const> routingHwStatus_;
  uint32_t lastMaxEcmp_ = 0;
  Vix::ReactorSet<MaxEcmpReviewSm> vixReactors_{this};
};

}  // namespace Kor
