#pragma once
// The software chip's answer to "is routing on in this VRF, as the chip has
// it" (asked on a hitless restart): on for every VRF the chip's "vrf" table
// holds, off otherwise.
#include "kor/helpers/RoutingStatusSmHelper.h"
#include "softchip/SoftChip.h"

namespace SoftChip {

class SoftRoutingStatusSmHelper : public KorHelper::RoutingStatusSmHelper {
 public:
  explicit SoftRoutingStatusSmHelper(SoftChip* chip) : chip_(chip) {}
  bool routingEnabled(Kor::VrfName const& vrfName) const override;
  bool routing6Enabled(Kor::VrfName const& vrfName) const override;

 private:
  SoftChip* chip_;
};

}  // namespace SoftChip
