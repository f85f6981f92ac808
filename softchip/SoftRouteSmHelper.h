#pragma once
// The software chip's route hook for one address family: records in the
// chip's "sync" table ("<vrf>/v4" / "<vrf>/v6" -> "done") that
// a VRF's initial route sync is over. A restart that announces it again
// counts as a sync of the same entry, not a new write.
#include <string>
#include <type_traits>

#include "kor/helpers/RouteSmHelperT.h"
#include "softchip/SoftChip.h"

namespace SoftChip {

template <class AF>
class SoftRouteSmHelper : public KorHelper::RouteSmHelperT<AF> {
 public:
  explicit SoftRouteSmHelper(SoftChip* chip) : chip_(chip) {}
  void handleEndOfSync(Kor::VrfName const& vrfName) override {
    chip_->syncTable().write(vrfName.str() + (AF::version == 4 ? "/v4" : "/v6"), "done");
  }

 private:
  SoftChip* chip_;
};

}  // namespace SoftChip
