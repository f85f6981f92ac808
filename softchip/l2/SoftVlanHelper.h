#pragma once
// The software chip's VLAN helper: the library's VlanHelper with the
// hardware operations written against the chip's "vlan" table. An update
// is answered asynchronously, VlanChip::updateDelay after doUpdateVlan, by
// writing the VlanHwUpdateStatus with the genId it programmed: succeeded
// when the table took the row, programmingFailed when it refused it (fault
// rule or capacity), leaving the row as it was. One helper per library
// life; pending answers die with it.
//
// It also counts, from the chip's side, what the bench and the tests check
// of the handshake: the updates of one VLAN asked and not yet answered
// (never more than one when the library keeps its promise) and the rows
// written per VLAN.
//
// Restart: hwInit hands every row the chip kept to the library as held
// (VlanHelper::doClaimHwVlan); a VLAN the chip holds is not written again
// when the new run creates it, and doDestroyHwVlan erases a row nobody
// claimed. verify() compares the "vlan" table with the library's cache and
// port memberships and reports the disagreements in one fail report; a
// VLAN with an update in flight or pending is compared once it settles.
#include <cstdint>
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

  void hwInit() override;
  void doCreateHwVlan(Kor::VlanId vlan) override;
  void doDestroyHwVlan(Kor::VlanId vlan) override;
  void doUpdateVlan(Kor::VlanId vlan) override;
  void doUpdateVlanFid(Kor::VlanId, uint32_t) override {}
  void verify() override;

  // The most updates of one VLAN the chip was asked for at once.
  uint32_t maxInFlightPerVlan() const { return maxInFlight_; }
  // The "vlan" rows this helper wrote for the VLAN (updates and creations).
  uint64_t vlanWrites(Kor::VlanId vlan) const;
  std::map<Kor::VlanId, uint64_t> const& vlanWritesMap() const { return writes_; }

 private:
  void doAnswer(Kor::VlanId vlan);

  VlanChip* chip_;
  Vix::ActivityLoop* loop_;
  std::map<Kor::VlanId, std::unique_ptr<Vix::Clock>> answer_;
  std::map<Kor::VlanId, uint32_t> inFlight_;
  uint32_t maxInFlight_ = 0;
  std::map<Kor::VlanId, uint64_t> writes_;
};

}  // namespace SoftChip
