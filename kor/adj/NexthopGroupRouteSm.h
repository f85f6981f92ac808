#pragma once
// The next-hop-group route machine of one VRF (trace "KorNexthopGroupRouteSm"),
// created and owned by the VRF's VrfRoot. For now it holds the VRF's watched
// next-hop-group configuration; resolving next-hop-group routes is the
// next-hop-group work still to come.
#include "kor/common/KorBaseSm.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/common/VrfName.h"
#include "models/nexthopgroup/WatchedNexthopGroupConfig.h"

namespace Kor {

class NexthopGroupRouteSm : public KorBaseSm {
 public:
  NexthopGroupRouteSm(Vix::Ptr<KorCommonSmData> const& acsd, VrfName const& vrfName,
                      Vix::Ptr<NexthopGroup::WatchedNexthopGroupConfig> const& watched)
      : KorBaseSm(acsd, "KorNexthopGroupRouteSm"), vrfName_(vrfName), watched_(watched) {}

  VrfName const& vrfName() const { return vrfName_; }
  // Holds no route yet: nothing can disagree.
  void handleVerify() override {
    KOR_VERIFY_REPORT(KorTypes::verifySuccess, "vrf " + vrfName_.str() + " next-hop-group routes consistent");
  }

 private:
  VrfName vrfName_;
  Vix::Ptr<NexthopGroup::WatchedNexthopGroupConfig> watched_;
};

}  // namespace Kor
