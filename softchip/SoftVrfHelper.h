#pragma once
// The software chip's VRF hook: a VRF the library gives an id is written into
// the chip's "vrf" table (name -> id), and removed when the library deletes
// it (with its entries in the other tables). A write the fault injector refuses leaves the table unchanged; the
// refusals are counted by the injector under "vrf".
#include "kor/helpers/VrfHelper.h"
#include "softchip/SoftChip.h"

namespace SoftChip {

class SoftVrfHelper : public KorHelper::VrfHelper {
 public:
  explicit SoftVrfHelper(SoftChip* chip) : chip_(chip) {}
  void vrfCreated(Kor::VrfName const& vrfName, Kor::VrfId vrfId) override;
  void vrfDeleted(Kor::VrfName const& vrfName, Kor::VrfId vrfId) override;

 private:
  SoftChip* chip_;
};

}  // namespace SoftChip
