#pragma once
// The routing status machine of one VRF (trace "KorRoutingStatusSm"), created
// and owned by the VRF's VrfRoot. For now it holds its inputs; following the
// routing information into the VRF's routing state is the routing status
// work still to come.
#include "kor/common/KorBaseSm.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/common/VrfName.h"
#include "kor/helpers/RoutingStatusSmHelper.h"
#include "models/routing/RoutingInfo.h"

namespace Kor {

class RoutingStatusSm : public KorBaseSm {
 public:
  RoutingStatusSm(Vix::Ptr<KorCommonSmData> const& acsd, VrfName const& vrfName,
                  Vix::Ptr<Routing::RoutingInfo const> const& routingInfo,
                  Vix::Ptr<Routing::RoutingInfo const> const& routing6Info,
                  Vix::Ptr<KorHelper::RoutingStatusSmHelper> const& statusHelper)
      : KorBaseSm(acsd, "KorRoutingStatusSm"), vrfName_(vrfName), routingInfo_(routingInfo),
        routing6Info_(routing6Info), statusHelper_(statusHelper) {}

  VrfName const& vrfName() const { return vrfName_; }
  Vix::Ptr<Routing::RoutingInfo const> const& routingInfo() const { return routingInfo_; }
  Vix::Ptr<Routing::RoutingInfo const> const& routing6Info() const { return routing6Info_; }

 private:
  VrfName vrfName_;
  Vix::Ptr<Routing::RoutingInfo const> routingInfo_;
  Vix::Ptr<Routing::RoutingInfo const> routing6Info_;
  Vix::Ptr<KorHelper::RoutingStatusSmHelper> statusHelper_;
};

}  // namespace Kor
