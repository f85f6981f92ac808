#pragma once
// Coalesces VLAN update triggers. A trigger marks its VLAN pending and, when
// the updater is idle, makes it busy and arms its clock deferredTime ahead;
// when the clock fires (handleTimeout) the updater goes back to idle and
// hands every pending VLAN, in VLAN order, to the owner's handler
// (VlanHelper::maybeTriggerHwVlanUpdate). A burst of membership changes made
// within deferredTime thus becomes one update per VLAN.
//
// deferredTime is 10 ms: long enough to gather the changes one
// configuration pass makes (a trunk's allowed list touches hundreds of
// VLANs in one notification cascade), short against the time a chip takes
// to program a VLAN. A trigger with a delay of its own (the retry after a
// refused update) moves the clock only earlier, never later.
// A pass hands over at most passQuanta VLANs (in VLAN order) and, when more
// are pending, arms the clock for now again: the loop is never held for a
// whole table of VLANs, and other work (the chip's answers) runs between
// the passes. The VLANs left stay pending, so a trigger meanwhile still
// makes one update per VLAN.
// Invariant: state() is busy exactly while the clock is armed.
#include <cstddef>
#include <functional>
#include <set>

#include "kor/common/KorExport.h"
#include "kor/common/VlanId.h"
#include "kor/l2/VlanUpdaterState.h"
#include "vix/ActivityLoop.h"
#include "vix/Clock.h"

namespace Kor {

class KOR_EXPORT VlanUpdater {
 public:
  static constexpr Vix::Seconds defaultDeferredTime = 0.01;
  static constexpr size_t defaultPassQuanta = 128;
  using Handler = std::function<void(VlanId)>;

  VlanUpdater(Vix::ActivityLoop* loop, Handler handler);

  VlanUpdaterState state() const { return state_; }
  Vix::Seconds deferredTime() const { return deferredTime_; }
  void deferredTimeIs(Vix::Seconds t) { deferredTime_ = t; }
  size_t passQuanta() const { return passQuanta_; }
  void passQuantaIs(size_t n) { passQuanta_ = n ? n : 1; }
  Vix::Clock const& clockInput() const { return clock_; }
  std::set<VlanId> const& pending() const { return pending_; }

  // The VLAN is looked at in the next pass, at most deferredTime from now.
  void doTrigger(VlanId vlan) { doTriggerAfter(vlan, deferredTime_); }
  // The same, at most `delay` from now.
  void doTriggerAfter(VlanId vlan, Vix::Seconds delay);
  void handleTimeout();

 private:
  Handler handler_;
  Vix::Seconds deferredTime_ = defaultDeferredTime;
  size_t passQuanta_ = defaultPassQuanta;
  VlanUpdaterState state_ = VlanUpdaterState::idle;
  std::set<VlanId> pending_;
  Vix::Clock clock_;
};

}  // namespace Kor
