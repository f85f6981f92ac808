#pragma once
// The adjacency machine of one VRF (trace "KorAdjSm"), created and owned by the
// VRF's VrfRoot. It reads the VRF's FEC tables of both address families in
// slices of quillYieldTime (set by the VRF root's time sharing and fast-boot
// schedule). For now it holds its inputs and answers the diagnostic dumps
// with nothing; adjacency review, L2 adjacency resolution and the dumps'
// contents are the adjacency work still to come.
#include <cstdint>
#include <optional>
#include <ostream>

#include "kor/adj/L2AdjHelper.h"
#include "kor/common/KorBaseSm.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/common/VrfName.h"
#include "nollo/Ipv4.h"
#include "nollo/Ipv6.h"
#include "quill/FecId.h"
#include "quill/ForwardingStatus.h"
#include "vix/Time.h"

namespace Kor {

class AdjSm : public KorBaseSm {
 public:
  AdjSm(Vix::Ptr<KorCommonSmData> const& acsd, VrfName const& vrfName,
        Vix::Ptr<Quill::Fib::ForwardingStatus const> const& forwardingStatus,
        Vix::Ptr<Quill::Fib6::ForwardingStatus const> const& forwarding6Status, Vix::Ptr<L2AdjHelper> const& l2AdjHelper)
      : KorBaseSm(acsd, "KorAdjSm"), vrfName_(vrfName), forwardingStatus_(forwardingStatus),
        forwarding6Status_(forwarding6Status), l2AdjHelper_(l2AdjHelper) {}

  VrfName const& vrfName() const { return vrfName_; }
  Vix::Ptr<Quill::Fib::ForwardingStatus const> const& forwardingStatus() const { return forwardingStatus_; }
  Vix::Ptr<Quill::Fib6::ForwardingStatus const> const& forwarding6Status() const { return forwarding6Status_; }

  Vix::Seconds quillYieldTime() const { return quillYieldTime_; }
  void quillYieldTimeIs(Vix::Seconds s) {
    quillYieldTime_ = s;
    KOR_TRACE(5, " Yield time " << s);
  }

  // "FF4" / "FF6": the FIB's FECs (one, or all when fecId is empty).
  void showFibFecs(std::ostream&, bool ipv6, std::optional<Quill::Fib::FecId> fecId) const {}
  // "AA3": the library's adjacency records.
  void showAdjEntries(std::ostream&, std::optional<uint64_t> adjIndex) const {}
  // "AA2": the library's L2 adjacency records.
  void showL2Adjacencies(std::ostream&, std::optional<uint64_t> adjIndex) const {}

 private:
  VrfName vrfName_;
  Vix::Ptr<Quill::Fib::ForwardingStatus const> forwardingStatus_;
  Vix::Ptr<Quill::Fib6::ForwardingStatus const> forwarding6Status_;
  Vix::Ptr<L2AdjHelper> l2AdjHelper_;
  Vix::Seconds quillYieldTime_ = 0.05;
};

}  // namespace Kor
