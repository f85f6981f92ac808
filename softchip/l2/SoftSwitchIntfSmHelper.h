#pragma once
// The software chip's switch-interface helper: writes each port's default
// VLAN, tagging mode and TPID into the "portvlan" table. A refused write
// keeps the port's wanted row and is tried again retryPeriod later until the
// table takes it; refused() lists the ports waiting. One per library life.
//
// A row the chip already holds as wanted is not written again (a re-apply
// with nothing changed, or a restart claiming the row back). The rows the
// chip held when this helper was made are unclaimed until a port applies
// its configuration; doEndSync erases those still unclaimed.
//
// handleVerify compares the table with the rows last written: a row that
// differs, or one no port owns (past the end of the sync), is reported to
// the common data's verification pass; a port waiting for a retry is not
// judged.
#include <map>
#include <set>

#include "kor/common/KorCommonSmData.h"
#include "kor/helpers/SwitchIntfSmHelper.h"
#include "softchip/l2/VlanChip.h"
#include "vix/ActivityLoop.h"
#include "vix/Clock.h"

namespace SoftChip {

class SoftSwitchIntfSmHelper : public KorHelper::SwitchIntfSmHelper {
 public:
  static constexpr Vix::Seconds retryPeriod = 0.5;

  // acsd: where verification reports go (none: handleVerify reports nothing).
  SoftSwitchIntfSmHelper(Vix::ActivityLoop* loop, VlanChip* chip, Vix::Ptr<Kor::KorCommonSmData> acsd = nullptr);

  void doApplyConfig(Nollo::IntfId const& intf) override;
  void doSetDefaultVlan(Nollo::IntfId const& intf, uint16_t vlan) override;
  void doSetPortTagging(Nollo::IntfId const& intf, Bridging::SwitchportConfig::Mode mode) override;
  void doSetPortTpid(Nollo::IntfId const& intf, Kor::KorPortVlanTpidData const& tpid) override;
  void doCleanup(Nollo::IntfId const& intf) override;
  void handleVerify() override;
  void doEndSync() override;

  std::map<Nollo::IntfId, ChipPortVlan> const& refused() const { return refused_; }

 private:
  void doRetry();

  VlanChip* chip_;
  Vix::Ptr<Kor::KorCommonSmData> acsd_;
  // The rows being built by the calls of one apply, written by doApplyConfig.
  std::map<Nollo::IntfId, ChipPortVlan> wanted_;
  std::map<Nollo::IntfId, ChipPortVlan> refused_;
  std::set<Nollo::IntfId> unclaimed_;
  bool syncEnded_ = false;
  Vix::Clock retry_;
};

}  // namespace SoftChip
