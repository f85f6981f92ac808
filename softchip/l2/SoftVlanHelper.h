#pragma once
// The software chip's VLAN helper: the library's VlanHelper with the
// hardware operations written against the chip's "vlan" table. An update
// is answered asynchronously, VlanChip::updateDelay after doUpdateVlan, by
// writing the VlanHwUpdateStatus with the genId it programmed: succeeded
// when the table took the row, programmingFailed when it refused it (fault
// rule or capacity), leaving the row as it was. One helper per library
// life; pending answers die with it.
#include <map>
#include <memory>

#include "kor/l2/VlanHelper.h"
#include "softchip/l2/VlanChip.h"
#include "vix/Clock.h"

namespace SoftChip {

class SoftVlanHelper : public Kor::VlanHelper {
 public:
  SoftVlanHelper(Vix::Ptr<Kor::KorCommonSmData> const& acsd, VlanChip* chip);
  ~SoftVlanHelper() override;

  void doCreateHwVlan(Kor::VlanId vlan) override;
  void doUpdateVlan(Kor::VlanId vlan) override;
  void doUpdateVlanFid(Kor::VlanId, uint32_t) override {}
  void verify() override {}

 private:
  void doAnswer(Kor::VlanId vlan);

  VlanChip* chip_;
  Vix::ActivityLoop* loop_;
  std::map<Kor::VlanId, std::unique_ptr<Vix::Clock>> answer_;
};

}  // namespace SoftChip
