#pragma once
// The software chip: the "hardware" the reference platform programs. Owns the
// fault injector, the registry of its tables and helpers, and one part per
// subsystem (softchip/<subsystem>/), each owning its tables and platform
// helpers and registering them by name. The agent owns one SoftChip for its
// whole life, so the tables and counters survive restarts of the library: a
// restart test compares the write counters before and after.
//
// Adding a table: a member of its subsystem's part and one registration
// there; `show chip`, `chip capacity` and `chip fault` find it by name.
// Adding a subsystem: one part, one member here.
#include <string>
#include <vector>

#include "softchip/adj/AdjChip.h"
#include "softchip/common/ChipRegistry.h"
#include "softchip/common/FaultInjector.h"
#include "softchip/l2/LagChip.h"
#include "softchip/l2/StpChip.h"
#include "softchip/l2/VlanChip.h"
#include "softchip/l2/XlateChip.h"
#include "softchip/l3/L3Chip.h"
#include "softchip/mac/MacChip.h"
#include "vix/Ptr.h"

namespace SoftChip {

class SoftChip : public Vix::PtrInterface {
 public:
  SoftChip();
  ~SoftChip() override;
  SoftChip(SoftChip const&) = delete;
  SoftChip& operator=(SoftChip const&) = delete;

  FaultInjector& injector() { return injector_; }
  FaultInjector const& injector() const { return injector_; }
  ChipRegistry const& registry() const { return registry_; }

  // A table by name; null when there is none.
  ChipTableBase* table(std::string const& name) const { return registry_.table(name); }
  // Every table, in the order they were registered.
  std::vector<ChipTableBase*> const& tables() const { return registry_.tables(); }
  // Whether a write of a new entry to the table would be answered "full"
  // now: the table is at capacity, or a rule answers its kind "full". The
  // helpers ask it before they clear a resource-full flag.
  bool refusesNew(ChipTableBase const& table) const;

  L3Chip& l3() { return l3_; }
  L3Chip const& l3() const { return l3_; }
  AdjChip& adj() { return adj_; }
  AdjChip const& adj() const { return adj_; }
  VlanChip& vlan() { return vlan_; }
  VlanChip const& vlan() const { return vlan_; }
  XlateChip& xlate() { return xlate_; }
  XlateChip const& xlate() const { return xlate_; }
  StpChip& stp() { return stp_; }
  StpChip const& stp() const { return stp_; }
  LagChip& lag() { return lag_; }
  LagChip const& lag() const { return lag_; }
  MacChip& mac() { return mac_; }

 private:
  FaultInjector injector_;
  ChipRegistry registry_;
  // Built in this order, so the shows list the tables by subsystem: VRFs and
  // routes, then L2 adjacencies.
  L3Chip l3_;
  AdjChip adj_;
  LagChip lag_;
  VlanChip vlan_;
  XlateChip xlate_;
  StpChip stp_;
  MacChip mac_;
};

}  // namespace SoftChip
