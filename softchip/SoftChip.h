#pragma once
// The software chip: the "hardware" the reference platform programs. Owns the
// fault injector, every chip table, and the platform helper objects handed to
// the library's factories. The agent owns one SoftChip for its whole life, so
// the tables and counters survive restarts of the library: a restart test
// compares the write counters before and after.
//
// Adding a table for a new helper: one ChipTable member, one tableAdd() line
// in the constructor; `show chip` and `chip capacity` find it by name.
#include <map>
#include <string>
#include <vector>

#include "kor/adj/NextHopL2InfoCollection.h"
#include "kor/helpers/AdjSmHelper.h"
#include "kor/helpers/RouteSmHelperT.h"
#include "kor/helpers/RoutingStatusSmHelper.h"
#include "kor/helpers/VrfHelper.h"
#include "softchip/ChipTable.h"
#include "softchip/FaultInjector.h"
#include "softchip/SoftAdjSmHelper.h"
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

  // A table by name; null when there is none.
  ChipTableBase* table(std::string const& name) const;
  // Every table, in the order they were added.
  std::vector<ChipTableBase*> const& tables() const { return tables_; }

  // VRF name -> VRF id the VRF was programmed with.
  ChipTable<std::string, uint32_t>& vrfTable() { return vrf_; }
  // "<vrf>/v4" / "<vrf>/v6" -> "done": the VRF's initial route sync is over.
  ChipTable<std::string, std::string>& syncTable() { return sync_; }
  // L2 adjacency index -> its rewrite data.
  ChipTable<uint64_t, Kor::NextHopL2InfoCollection>& l2AdjTable() { return l2Adj_; }

  // The platform helpers handed to the library's factories.
  Vix::Ptr<KorHelper::VrfHelper> const& vrfHelper() const { return vrfHelper_; }
  Vix::Ptr<KorHelper::RoutingStatusSmHelper> const& routingStatusSmHelper() const { return routingStatusSmHelper_; }
  Vix::Ptr<KorHelper::RouteSmHelper> const& routeSmHelper() const { return routeSmHelper_; }
  Vix::Ptr<KorHelper::Route6SmHelper> const& route6SmHelper() const { return route6SmHelper_; }
  Vix::Ptr<KorHelper::AdjSmHelper> adjSmHelper() const;
  SoftAdjSmHelper& softAdjSmHelper() const { return *softAdjSmHelper_; }

 private:
  void tableAdd(ChipTableBase* t);

  FaultInjector injector_;
  std::vector<ChipTableBase*> tables_;
  ChipTable<std::string, uint32_t> vrf_{"vrf", &injector_};
  ChipTable<std::string, std::string> sync_{"sync", &injector_};
  ChipTable<uint64_t, Kor::NextHopL2InfoCollection> l2Adj_{"l2adj", &injector_};
  Vix::Ptr<KorHelper::VrfHelper> vrfHelper_;
  Vix::Ptr<KorHelper::RoutingStatusSmHelper> routingStatusSmHelper_;
  Vix::Ptr<KorHelper::RouteSmHelper> routeSmHelper_;
  Vix::Ptr<KorHelper::Route6SmHelper> route6SmHelper_;
  Vix::Ptr<SoftAdjSmHelper> softAdjSmHelper_;
};

}  // namespace SoftChip
