#pragma once
// The software chip's switch-interface helper: writes each port's default
// VLAN, tagging mode and TPID into the "portvlan" table. A refused write
// keeps the port's wanted row and is tried again retryPeriod later until the
// table takes it; refused() lists the ports waiting. One per library life.
#include <map>

#include "kor/helpers/SwitchIntfSmHelper.h"
#include "softchip/l2/VlanChip.h"
#include "vix/ActivityLoop.h"
#include "vix/Clock.h"

namespace SoftChip {

class SoftSwitchIntfSmHelper : public KorHelper::SwitchIntfSmHelper {
 public:
  static constexpr Vix::Seconds retryPeriod = 0.5;

  SoftSwitchIntfSmHelper(Vix::ActivityLoop* loop, VlanChip* chip);

  void doApplyConfig(Nollo::IntfId const& intf) override;
  void doSetDefaultVlan(Nollo::IntfId const& intf, uint16_t vlan) override;
  void doSetPortTagging(Nollo::IntfId const& intf, Bridging::SwitchportConfig::Mode mode) override;
  void doSetPortTpid(Nollo::IntfId const& intf, Kor::KorPortVlanTpidData const& tpid) override;
  void doCleanup(Nollo::IntfId const& intf) override;
  void handleVerify() override {}

  std::map<Nollo::IntfId, ChipPortVlan> const& refused() const { return refused_; }

 private:
  void doRetry();

  VlanChip* chip_;
  // The rows being built by the calls of one apply, written by doApplyConfig.
  std::map<Nollo::IntfId, ChipPortVlan> wanted_;
  std::map<Nollo::IntfId, ChipPortVlan> refused_;
  Vix::Clock retry_;
};

}  // namespace SoftChip
