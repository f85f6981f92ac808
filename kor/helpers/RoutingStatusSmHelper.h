#pragma once
// Platform hook of the routing status machines. For a hitless restart the
// VRF root asks it whether routing is on in a VRF as the chip still has it,
// and restores that into the VRF's L3 status before the first pass.
#include <string>

#include "kor/common/KorBaseHelper.h"
#include "kor/common/KorExport.h"
#include "kor/common/VrfName.h"

namespace KorHelper {

class KOR_EXPORT RoutingStatusSmHelper : public Kor::KorBaseHelper {
 public:
  explicit RoutingStatusSmHelper(std::string name = "RoutingStatusSmHelper") : KorBaseHelper(std::move(name)) {}
  virtual bool routingEnabled(Kor::VrfName const& vrfName) const {
    unimplemented("RoutingStatusSmHelper", "routingEnabled");
    return false;
  }
  virtual bool routing6Enabled(Kor::VrfName const& vrfName) const {
    unimplemented("RoutingStatusSmHelper", "routing6Enabled");
    return false;
  }
};

}  // namespace KorHelper
